#include "kelvane/geometry/ellipsoid.h"

#include <limits>
#include <stdexcept>

#include "kelvane/geometry/longitude.h"

namespace SatCommonUtils {

namespace {

// A double holds metres of the Earth's size to 5e-10 only: what comes before the result has more digits.
using TReal = long double;

constexpr TReal Pi = 3.14159265358979323846264338327950288L;
constexpr TReal RadiansPerDegree = Pi / 180.0L;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

struct TAngle {
  TReal Sine;
  TReal Cosine;
};

/// Exact at multiples of 90 degrees.
TAngle AngleOf(double degrees) {
  int quarters = 0;
  const TReal rest = RadiansPerDegree * std::remquo(degrees, 90.0, &quarters);
  const TReal s = std::sin(rest);
  const TReal c = std::cos(rest);
  // Subtracted from zero, so that no zero comes out negative.
  switch (static_cast<unsigned>(quarters) % 4U) {
    case 0:
      return {s, c};
    case 1:
      return {c, 0.0L - s};
    case 2:
      return {0.0L - s, 0.0L - c};
    default:
      return {0.0L - c, s};
  }
}

T3DPoint Rounded(TReal x, TReal y, TReal z) {
  return {static_cast<double>(x), static_cast<double>(y), static_cast<double>(z)};
}

/// A point of a meridian plane: the distance from the axis, and along it.
struct TMeridianPoint {
  TReal Rho;
  TReal Z;
};

/// The latitude's direction, of any length, and the height.
struct TNormal {
  TMeridianPoint Direction;
  TReal Height;
};

/// In the disc of the equator inside the evolute; not for the centre.
TNormal NorthernNormal(TReal a, TReal e2, TReal p) {
  const TReal half =
      std::atan2(std::sqrt(e2 * e2 - p), std::sqrt(e2 * (e2 - p)) + std::sqrt((1.0L - e2) * p));
  return {{std::cos(2.0L * half), std::sin(2.0L * half)}, -a * std::sqrt((1.0L - e2) * (1.0L - p / e2))};
}

/// The names are the paper's.
TNormal NormalThrough(TReal a, TReal e2, const TMeridianPoint& at) {
  const TReal e4 = e2 * e2;
  const TReal p = (at.Rho / a) * (at.Rho / a);
  const TReal q = (1.0L - e2) * (at.Z / a) * (at.Z / a);
  const TReal r = (p + q - e4) / 6.0L;
  const TReal e4pq = e4 * p * q;
  const TReal evolute = 8.0L * r * r * r + e4pq;
  TReal u = 0.0L;
  if (evolute > 0.0L) {
    const TReal sum = std::sqrt(evolute) + std::sqrt(e4pq);
    const TReal root = std::cbrt(sum * sum);
    u = r + root / 2.0L + 2.0L * r * r / root;
  } else if (q == 0.0L) {
    return NorthernNormal(a, e2, p);
  } else {
    const TReal third =
        2.0L / 3.0L * std::atan2(std::sqrt(e4pq), std::sqrt(-evolute) + std::sqrt(-8.0L * r * r * r));
    u = -4.0L * r * std::sin(third) * std::cos(Pi / 6.0L + third);
  }
  const TReal v = std::sqrt(u * u + e4 * q);
  const TReal w = e2 * (u + v - q) / (2.0L * v);
  const TReal k = (u + v) / (std::sqrt(w * w + u + v) + w);
  const TReal d = k * at.Rho / (k + e2);
  return {{d, at.Z}, (k + e2 - 1.0L) / k * std::hypot(d, at.Z)};
}

}  // namespace

TEllipsoid::TEllipsoid(const double& a, const double& f) : a_(a), f_(f) {
  if (!(a > 0.0 && std::isfinite(a) && f >= 0.0 && f <= GreatestFlattening)) {
    throw std::runtime_error("TEllipsoid::TEllipsoid(const double& a, const double& f)");
  }
}

T3DPoint TEllipsoid::ToEarthCentred(const double& lat, const double& lon, const double& h) const {
  if (!IsFinite({lat, lon, h})) return {NaN, NaN, NaN};
  const TReal e2 = f_ * (2.0L - f_);
  const TAngle phi = AngleOf(lat);
  const TAngle lambda = AngleOf(lon);
  const TReal n = a_ / std::sqrt(1.0L - e2 * phi.Sine * phi.Sine);
  const TReal rho = (n + h) * phi.Cosine;
  return Rounded(rho * lambda.Cosine, rho * lambda.Sine, ((1.0L - e2) * n + h) * phi.Sine);
}

T3DPoint TEllipsoid::EarthCentredChange(const double& lat, const double& lon, const double& h,
                                        const double& dlat, const double& dlon, const double& dh) const {
  if (!IsFinite({lat, lon, h})) return {NaN, NaN, NaN};
  const TReal e2 = f_ * (2.0L - f_);
  const TAngle phi = AngleOf(lat);
  const TAngle lambda = AngleOf(lon);
  const TReal w2 = 1.0L - e2 * phi.Sine * phi.Sine;
  const TReal n = a_ / std::sqrt(w2);
  const TReal m = (1.0L - e2) * n / w2;
  const TReal north = (m + h) * RadiansPerDegree * dlat;
  const TReal east = (n + h) * phi.Cosine * RadiansPerDegree * dlon;
  const TReal outwards = phi.Cosine * dh - phi.Sine * north;
  return Rounded(lambda.Cosine * outwards - lambda.Sine * east, lambda.Sine * outwards + lambda.Cosine * east,
                 phi.Cosine * north + phi.Sine * dh);
}

void TEllipsoid::ToGeodetic(const T3DPoint& point, double* lat, double* lon, double* h) const {
  const TReal x = point.X;
  const TReal y = point.Y;
  const TReal e2 = f_ * (2.0L - f_);
  const TMeridianPoint at = {std::hypot(x, y), point.Z};
  TNormal normal = {{NaN, NaN}, NaN};
  if (at.Rho == 0.0L && at.Z == 0.0L) {
    normal = {{0.0L, 1.0L}, -a_ * (1.0L - f_)};
  } else if (IsFinite(point)) {
    normal = NormalThrough(a_, e2, at);
  }
  *lat = static_cast<double>(std::atan2(normal.Direction.Z, normal.Direction.Rho) / RadiansPerDegree);
  *lon = !IsFinite(point) ? NaN
         : at.Rho == 0.0L ? 0.0
                          : WithinHalfTurn(static_cast<double>(std::atan2(y, x) / RadiansPerDegree));
  *h = static_cast<double>(normal.Height);
}

}  // namespace SatCommonUtils
