/// \file
/// The eight-parameter projective map of the plane.
#pragma once

#include <cstddef>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/transforms/point_pairs.h"

namespace SatCommonUtils {

/// With the elements p0 to p7: X = (p0*x + p1*y + p2) / (p6*x + p7*y + 1), Y = (p3*x + p4*y + p5) /
/// (p6*x + p7*y + 1). The default is the identity.
struct T2DProjectiveParams {
  static constexpr std::size_t Count = 8;                           ///< p0 to p7; the ninth is 1
  double Values[Count] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};  ///< p0 to p7

  /// p of the index, which is not checked.
  double& operator[](std::size_t i) { return Values[i]; }
  const double& operator[](std::size_t i) const { return Values[i]; }
};

/// The map of the pairs by the direct linear transformation (I. E. Sutherland, "Three-dimensional data input
/// by tablet", Proceedings of the IEEE 62(4), 1974): the denominators are cleared, and the linear equations
/// that are left are solved by least squares, unweighted, once. Four pairs, no three on a line, are met
/// exactly. False, with `*params` untouched, for fewer than four. Degenerate pairs are not detected: what
/// `TOverdefinedLinearSystem` makes of a singular system is then written. The unknowns differ much in size
/// where coordinates are large: pairs centred and scaled to about 1 keep more digits.
KELVANE_API bool Calculate2DProjectiveParams(const std::vector<T2DTransformParamsSourceDataItem>& points,
                                             T2DProjectiveParams* params);

}  // namespace SatCommonUtils
