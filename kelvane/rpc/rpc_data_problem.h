/// \file
/// How the record's readers say what was wrong (internal).
#pragma once

#include <string>

namespace SatCommonUtils {

/// Notes the problem for a caller that wants it; always false, so that a reader can return it.
inline bool Fail(std::string* problem, const std::string& text) {
  if (problem != nullptr) *problem = text;
  return false;
}

}  // namespace SatCommonUtils
