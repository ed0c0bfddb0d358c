/// \file
/// How points are spread about their centroid (internal).
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "kelvane/geometry/spatial.h"
#include "kelvane/numeric/symmetric_eigen.h"

namespace SatCommonUtils {

struct TPrincipalAxes {
  T3DPoint Centroid;
  double Size = 1.0;  ///< a power of two of the size of the largest distance along a coordinate
  double Squares[3];  ///< sums of squared distances along each axis, in units of `Size`, the largest first
  double Axes[3][3];  ///< the axes: unit rows
  double Rounding;    ///< what rounding of the coordinates can make of the roots of such sums, likewise

  explicit TPrincipalAxes(const std::vector<T3DPoint>& points) {
    const auto count = static_cast<double>(points.size());
    double largest = 0.0;
    for (const T3DPoint& p : points) {
      Centroid = Centroid + p;
      largest = std::max(largest, LargestCoordinate(p));
    }
    Centroid = 1.0 / count * Centroid;
    // Once more from there: the rounding of the first sum grows with the points.
    T3DPoint rest;
    for (const T3DPoint& p : points) rest = rest + (p - Centroid);
    Centroid = Centroid + 1.0 / count * rest;
    // In units of it no square overflows or vanishes, and everything else keeps its bits.
    double extent = 0.0;
    for (const T3DPoint& p : points) extent = std::max(extent, LargestCoordinate(p - Centroid));
    if (extent > 0.0 && std::isfinite(extent)) Size = std::ldexp(1.0, std::max(std::ilogb(extent), -1000));
    double spread[3][3] = {};
    for (const T3DPoint& p : points) {
      const T3DPoint d = FromCentroid(p);
      const double part[3] = {d.X, d.Y, d.Z};
      for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) spread[i][j] += part[i] * part[j];
      }
    }
    SymmetricEigen(spread, Squares, Axes);
    Rounding = 8.0 * std::numeric_limits<double>::epsilon() * (largest / Size) * std::sqrt(count);
  }

  /// In units of `Size`.
  T3DPoint FromCentroid(const T3DPoint& p) const { return 1.0 / Size * (p - Centroid); }

  double Sum() const { return Squares[0] + Squares[1] + Squares[2]; }
  /// False for points coincident or collinear, and for NaNs.
  bool IsWide() const {
    return std::sqrt(Squares[1]) > std::max(NarrowestCloud * std::sqrt(Squares[0]), Rounding);
  }
};

}  // namespace SatCommonUtils
