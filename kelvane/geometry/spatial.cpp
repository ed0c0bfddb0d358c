#include "kelvane/geometry/spatial.h"

#include <algorithm>
#include <cmath>

#include "kelvane/geometry/principal_axes.h"
#include "kelvane/numeric/rounded.h"

namespace SatCommonUtils {

namespace {

constexpr double Epsilon = std::numeric_limits<double>::epsilon();
constexpr double DegreesPerRadian = 180.0 / M_PI;

TRayCrossings Crossings(int count, double first, double second) {
  if (!std::isfinite(first) || !std::isfinite(second)) return {};
  return {count, std::min(first, second), std::max(first, second)};
}

/// With the last component that is not 0 positive.
T3DPoint Upwards(const T3DPoint& v) {
  const double last = v.Z != 0.0 ? v.Z : v.Y != 0.0 ? v.Y : v.X;
  return last < 0.0 ? -1.0 * v : v;
}

}  // namespace

bool TRayCrossings::Ahead(double* t) const {
  if (Count == 0 || Second < 0.0) return false;
  *t = First >= 0.0 ? First : Second;
  return true;
}

bool IntersectPlane(const TRay& ray, const TPlane& plane, double* t) {
  const T3DPoint normal = Unit(plane.Normal);
  const double length = Length(ray.Direction);
  const T3DPoint along = Unit(ray.Direction);
  const double rate = Dot(normal, along);
  if (!(std::fabs(rate) > 4.0 * Epsilon)) return false;
  const double found = Dot(normal, plane.Point - ray.Origin) / rate / length;
  if (!std::isfinite(found)) return false;
  *t = found;
  return true;
}

TRayCrossings IntersectSphere(const TRay& ray, const T3DPoint& centre, const double& radius) {
  const double length = Length(ray.Direction);
  const T3DPoint along = Unit(ray.Direction);
  const T3DPoint from_centre = ray.Origin - centre;
  const double distance = Length(from_centre);
  const double b = Dot(from_centre, along);
  const double nearest = Length(from_centre - b * along);
  const double depth = radius - nearest;
  const double tangent = TangentTolerance * std::max(distance, radius);
  if (!(radius >= 0.0 && std::isfinite(radius) && depth >= -tangent)) return {};
  if (depth <= tangent) return Crossings(1, -b / length, -b / length);
  const double q = b + std::copysign(std::sqrt(depth) * std::sqrt(radius + nearest), b);
  return Crossings(2, -q / length, -(distance - radius) / q * (distance + radius) / length);
}

TRayCrossings IntersectEllipsoid(const TRay& ray, const TEllipsoid& ellipsoid) {
  const double a = ellipsoid.SemiMajorAxis();
  const double b = ellipsoid.SemiMinorAxis();
  const auto stretched = [a, b](const T3DPoint& p) { return T3DPoint{p.X / a, p.Y / a, p.Z / b}; };
  return IntersectSphere({stretched(ray.Origin), stretched(ray.Direction)}, {}, 1.0);
}

bool FitPlane(const std::vector<T3DPoint>& points, TPlane* plane, double* residual) {
  if (points.size() < 3) return false;
  const TPrincipalAxes spread(points);
  const T3DPoint normal = Upwards({spread.Axes[2][0], spread.Axes[2][1], spread.Axes[2][2]});
  if (!spread.IsWide() || !IsFinite(spread.Centroid) || !IsFinite(normal)) return false;
  // From the distances: the smallest spread is the square of what is sought, and has half its digits.
  double distances = 0.0;
  for (const T3DPoint& p : points) {
    const double distance = Dot(normal, spread.FromCentroid(p));
    distances += distance * distance;
  }
  *plane = {spread.Centroid, normal};
  if (residual != nullptr) {
    *residual = spread.Size * std::sqrt(distances / static_cast<double>(points.size()));
  }
  return true;
}

double ConvergenceAngle(const T3DPoint& a, const T3DPoint& b) {
  const T3DPoint u = Unit(a);
  const T3DPoint v = Unit(b);
  return 2.0 * rounded::atan2(Length(u - v), Length(u + v)) * DegreesPerRadian;
}

double ConvergenceAngle(const TRay& a, const TRay& b) { return ConvergenceAngle(a.Direction, b.Direction); }

}  // namespace SatCommonUtils
