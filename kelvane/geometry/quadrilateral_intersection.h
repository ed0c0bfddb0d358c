/// \file
/// What two quadrilaterals have in common: the overlap of two images.
#pragma once

#include <vector>

#include "kelvane/geometry/polygon.h"
#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// How two figures meet.
enum class TE_PlaneContact {
  Apart,       ///< no point in common
  Touching,    ///< points in common, but no area: a corner, a part of an edge, a figure without area
  Overlapping  ///< area in common
};

/// The common figure of two quadrilaterals. Points and lines in common make no piece; `Contact` tells them.
struct TQuadrilateralIntersection {
  /// Exact: lines and points in common are found without tolerance.
  TE_PlaneContact Contact = TE_PlaneContact::Apart;
  /// One polygon for each part. Each is simple, runs counter-clockwise, has an area above 0 and no vertex in
  /// the middle of a straight side; parts share corners at most. Convex quadrilaterals give one at most,
  /// others several. Their order, and with which vertex each begins, is not fixed.
  std::vector<TPolygon> Pieces;
  /// Area of all pieces, in square units of the plane.
  double Area = 0.0;
};

/// Intersects two quadrilaterals, convex or not, running in either sense. One that crosses itself is the two
/// triangles of the even-odd rule (see `TPolygon`); coinciding vertices, vertices on other edges, and
/// figures without area are taken as they are.
///
/// `Contact` between `Apart` and the others is decided without rounding. The pieces are made of rounded
/// corners: a vertex of an operand is kept bit for bit, the crossing of two edges is rounded to doubles
/// within some units in the last place of the largest coordinate, even when the edges are almost parallel.
/// Corners and edges that come closer to each other than that (about 2^-49 of the largest coordinate, 1e-8 m
/// for map coordinates of 5e6 m) are made to meet, and what is so narrow that this closes it makes no piece:
/// such figures count as `Touching`. Edges are led through all corners that they pass so closely (iterated
/// snap rounding: D. Halperin, E. Packer, Computational Geometry 23 (2002), 209-225), after which everything
/// is decided exactly, so that pieces never overlap.
///
/// False, and `*result` is unchanged, unless both have exactly four vertices whose coordinates are 0 or
/// at least 1e-130 and below 1e100 in magnitude. Lets out only `std::bad_alloc`.
KELVANE_API bool IntersectQuadrilaterals(const TPolygon& a, const TPolygon& b,
                                         TQuadrilateralIntersection* result);

}  // namespace SatCommonUtils
