/// \file
/// How a text file begins (header only).
#pragma once

#include <string_view>

namespace app {

/// The text without a leading byte-order mark.
inline std::string_view WithoutByteOrderMark(std::string_view text) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  return text.substr(0, mark.size()) == mark ? text.substr(mark.size()) : text;
}

}  // namespace app
