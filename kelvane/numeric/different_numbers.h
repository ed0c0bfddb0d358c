/// \file
/// How many numbers of a list are different (internal).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace SatCommonUtils {

/// True when at least `count` of the n numbers are different. Rounding hides from the elimination that the
/// normal equations are singular; this does not.
inline bool HasDifferent(const double* x, std::size_t n, std::size_t count) {
  if (count > n) return false;
  std::vector<double> different;
  for (std::size_t i = 0; i < n && different.size() < count; ++i) {
    if (std::find(different.begin(), different.end(), x[i]) == different.end()) different.push_back(x[i]);
  }
  return different.size() >= count;
}

}  // namespace SatCommonUtils
