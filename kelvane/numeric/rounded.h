/// \file
/// Elementary functions with the same bits on every x86-64 processor (internal).
///
/// The C library's own for doubles differ in the last place between processors with and without fused
/// operations, because it chooses among several versions of them when it is loaded. There is one version of
/// those for `long double`, whose eleven bits more leave nearly always the double next to the exact value.
#pragma once

#include <cmath>
#include <limits>

namespace SatCommonUtils::rounded {

static_assert(std::numeric_limits<long double>::digits >= 64, "long double has no bits to spare here");

inline double sin(double x) { return static_cast<double>(std::sin(static_cast<long double>(x))); }
inline double cos(double x) { return static_cast<double>(std::cos(static_cast<long double>(x))); }
inline double asin(double x) { return static_cast<double>(std::asin(static_cast<long double>(x))); }
inline double acos(double x) { return static_cast<double>(std::acos(static_cast<long double>(x))); }
inline double atan(double x) { return static_cast<double>(std::atan(static_cast<long double>(x))); }
inline double atan2(double y, double x) {
  return static_cast<double>(std::atan2(static_cast<long double>(y), static_cast<long double>(x)));
}
inline double pow(double x, double y) {
  return static_cast<double>(std::pow(static_cast<long double>(x), static_cast<long double>(y)));
}

}  // namespace SatCommonUtils::rounded
