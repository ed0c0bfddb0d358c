/// \file
/// Sums of doubles and of products without rounding, and on which side of a line a point lies (internal;
/// header only).
///
/// J. R. Shewchuk, Adaptive Precision Floating-Point Arithmetic and Fast Robust Geometric Predicates,
/// Discrete & Computational Geometry 18 (1997), 305-363: two-sum and two-product (theorems 7 and 18),
/// growing an expansion (theorem 10), and the bound of `Orientation`.
///
/// All of it is exact as long as no product overflows or loses its last bit below the smallest double: for
/// numbers that are 0 or between 1e-130 and 1e150 in magnitude, and for all multiples of 1e-130 up to that.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "kelvane/module/host/transform.h"

namespace SatCommonUtils {

/// A sum kept as doubles that do not overlap, the smallest first, so that the last one has the sum's sign.
class TExactSum {
 public:
  // The components start empty: clearing them would cost more than most sums.
  TExactSum() {}

  void Add(double value) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count_; ++i) {
      const double sum = value + components_[i];
      const double virtual_part = sum - value;
      const double rest = (value - (sum - virtual_part)) + (components_[i] - virtual_part);
      value = sum;
      if (rest != 0.0) components_[kept++] = rest;
    }
    // What is not finite swallows the rest; kept apart, its components would grow without end.
    if (!std::isfinite(value)) kept = 0;
    if (value != 0.0) components_[kept++] = value;
    count_ = kept;
  }

  void AddProduct(double a, double b) {
    const double product = a * b;
    const THalves x = Halves(a);
    const THalves y = Halves(b);
    Add(x.Low * y.Low - (((product - x.High * y.High) - x.Low * y.High) - x.High * y.Low));
    Add(product);
  }

  /// Twice the area of the triangle, positive when it is counter-clockwise.
  void AddTriangle(const xy_d& a, const xy_d& b, const xy_d& c) {
    AddProduct(a.x, b.y);
    AddProduct(-a.y, b.x);
    AddProduct(b.x, c.y);
    AddProduct(-b.y, c.x);
    AddProduct(c.x, a.y);
    AddProduct(-c.y, a.x);
  }

  /// The sum, rounded; its sign is exact.
  double Value() const {
    double value = 0.0;
    for (std::size_t i = 0; i < count_; ++i) value += components_[i];
    return value;
  }

 private:
  struct THalves {
    double High;
    double Low;
  };
  static THalves Halves(double value) {
    constexpr double Splitter = 134217729.0;  // 2^27 + 1
    const double scaled = Splitter * value;
    const double high = scaled - (scaled - value);
    return {high, value - high};
  }

  /// Components are not even adjacent: every second of the 2098 bits that a double's range has.
  std::array<double, 1050> components_;
  std::size_t count_ = 0;
};

/// Twice the area of the triangle: positive when `c` lies left of the line from `a` to `b`, negative to
/// the right of it, 0 exactly when it lies on it.
inline double Orientation(const xy_d& a, const xy_d& b, const xy_d& c) {
  constexpr double Epsilon = 0x1p-53;
  constexpr double Bound = (3.0 + 16.0 * Epsilon) * Epsilon;
  const double left = (a.x - c.x) * (b.y - c.y);
  const double right = (a.y - c.y) * (b.x - c.x);
  const double area = left - right;
  if (std::fabs(area) >= Bound * (std::fabs(left) + std::fabs(right))) return area;
  TExactSum exact;
  exact.AddTriangle(a, b, c);
  return exact.Value();
}

}  // namespace SatCommonUtils
