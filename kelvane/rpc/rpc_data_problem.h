/// \file
/// How the record's readers say what was wrong (internal).
#pragma once

#include <string>
#include <string_view>

namespace SatCommonUtils {

/// Notes the problem for a caller that wants it; always false, so that a reader can return it. Throws
/// nothing: a reader fails the same when there is no memory left to say why.
inline bool Fail(std::string* problem, std::string_view text) noexcept {
  try {
    if (problem != nullptr) *problem = text;
  } catch (...) {
    problem->clear();
  }
  return false;
}

}  // namespace SatCommonUtils
