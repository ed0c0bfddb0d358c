/// \file
/// Rays, and what they meet in space.
///
/// All coordinates are in one Cartesian system and one unit. Nothing keeps state: calls may run at the same
/// time. Numbers that are not finite never make an answer: where a result tells, it says so, and where it is
/// a number, it is NaN.
#pragma once

#include <limits>
#include <vector>

#include "kelvane/geometry/ellipsoid.h"
#include "kelvane/geometry/point_3d.h"
#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// A line with a beginning and a sense: Origin + t · Direction. `Direction` has any length but 0, and t is
/// counted in it; t below 0 lies behind the origin.
struct TRay {
  T3DPoint Origin;     ///< where t is 0
  T3DPoint Direction;  ///< of any length but 0

  /// The point at t, which may be negative.
  T3DPoint At(double t) const { return Origin + t * Direction; }
};

/// The plane through `Point`, across `Normal` of any length but 0.
struct TPlane {
  T3DPoint Point;   ///< any point of it
  T3DPoint Normal;  ///< of any length but 0, to either side
};

/// Where a ray crosses a closed surface.
struct TRayCrossings {
  /// 0 when it misses, 1 when it touches, 2 when it crosses.
  int Count = 0;
  /// t of the crossings, `First` <= `Second`, on the whole line, so also behind the origin: of an origin
  /// inside, `First` is negative and `Second` positive. Equal where the ray touches; NaN where it misses.
  double First = std::numeric_limits<double>::quiet_NaN();
  double Second = std::numeric_limits<double>::quiet_NaN();

  /// The first crossing that is not behind the origin; false, `*t` untouched, when there is none.
  KELVANE_API bool Ahead(double* t) const;
};

/// A ray touches a sphere when its distance from the centre and the radius differ by no more than this part
/// of the larger of radius and distance of the origin, as far as rounding can tell; it touches an ellipsoid
/// when it does the unit sphere that both are stretched to.
constexpr double TangentTolerance = 8.0 * std::numeric_limits<double>::epsilon();

/// Writes t of the point where the line of the ray meets the plane. False, `*t` untouched, for parallels, in
/// the plane or not: when rounding can make up the product of direction and normal.
KELVANE_API bool IntersectPlane(const TRay& ray, const TPlane& plane, double* t);

/// Ray and sphere; a radius of 0 is a point. The roots are found by way of the point of the ray nearest to
/// the centre, and the one nearer to the origin from their product, so that neither suffers from the distance
/// (E. Haines et al., Precision improvements for ray/sphere intersection, Ray Tracing Gems, Apress 2019,
/// chapter 7, doi:10.1007/978-1-4842-4427-2_7).
KELVANE_API TRayCrossings IntersectSphere(const TRay& ray, const T3DPoint& centre, const double& radius);

/// Ray, in the Earth-centred system, and ellipsoid.
KELVANE_API TRayCrossings IntersectEllipsoid(const TRay& ray, const TEllipsoid& ellipsoid);

/// Points narrower than this part of their length do not tell a plane, nor a rotation. Of wider ones, the
/// turn about their length is found to a rounding of 1 times the square of length over width.
constexpr double NarrowestCloud = 1e-7;

/// The plane that has the least sum of squared distances to the points (of three at least): through their
/// centroid, across the direction of their smallest spread (K. Pearson, On lines and planes of closest fit to
/// systems of points in space, Philosophical Magazine 2(11), 1901, doi:10.1080/14786440109462720). `Normal`
/// has length 1, and its last component that is not 0 is positive. `*residual` (may be null) is the root mean
/// square of the distances. False, nothing written, when the points are coincident or collinear: not wider
/// than `NarrowestCloud` of their length or than rounding of the coordinates; and when one is not finite, or
/// their sum overflows. Their size is no matter otherwise.
KELVANE_API bool FitPlane(const std::vector<T3DPoint>& points, TPlane* plane, double* residual);

/// The angle between two directions, degrees from 0 to 180, to rounding for small angles too (W. Kahan, How
/// futile are mindless assessments of roundoff in floating-point computation?, 2006, on mangled angles). NaN
/// when one has no direction.
KELVANE_API double ConvergenceAngle(const T3DPoint& a, const T3DPoint& b);
/// The same of two rays, wherever they begin; they need not meet.
KELVANE_API double ConvergenceAngle(const TRay& a, const TRay& b);

}  // namespace SatCommonUtils
