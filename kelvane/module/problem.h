/// \file
/// How readers and writers say what was wrong (internal).
#pragma once

#include <string>
#include <string_view>

namespace SatCommonUtils {

/// Notes the problem for a caller that wants it; always false, so that it can be returned. Throws
/// nothing: they fail the same when there is no memory left to say why.
inline bool Fail(std::string* problem, std::string_view text) noexcept {
  try {
    if (problem != nullptr) *problem = text;
  } catch (...) {
    problem->clear();
  }
  return false;
}

}  // namespace SatCommonUtils
