/// \file
/// A point or a vector of space, with what vectors are made of (header only).
#pragma once

#include <algorithm>
#include <cmath>

namespace SatCommonUtils {

/// In whatever Cartesian system and unit its owner says; for the Earth-centred one, metres.
struct T3DPoint {
  /// For the Earth-centred system: X towards latitude and longitude 0, Z towards the north pole.
  double X = 0.0;
  double Y = 0.0;
  double Z = 0.0;
};

/// Coordinate by coordinate.
inline T3DPoint operator+(const T3DPoint& a, const T3DPoint& b) { return {a.X + b.X, a.Y + b.Y, a.Z + b.Z}; }
inline T3DPoint operator-(const T3DPoint& a, const T3DPoint& b) { return {a.X - b.X, a.Y - b.Y, a.Z - b.Z}; }
inline T3DPoint operator*(double k, const T3DPoint& a) { return {k * a.X, k * a.Y, k * a.Z}; }

/// The sum in the order x, y, z.
inline double Dot(const T3DPoint& a, const T3DPoint& b) { return a.X * b.X + a.Y * b.Y + a.Z * b.Z; }

/// Right-handed: of the axes x and y it is z.
inline T3DPoint Cross(const T3DPoint& a, const T3DPoint& b) {
  return {a.Y * b.Z - a.Z * b.Y, a.Z * b.X - a.X * b.Z, a.X * b.Y - a.Y * b.X};
}

/// Neither overflows nor underflows on the way.
inline double Length(const T3DPoint& a) { return std::hypot(a.X, a.Y, a.Z); }

/// NaNs for a vector without direction: of length 0, infinite or NaN.
inline T3DPoint Unit(const T3DPoint& a) {
  const double length = Length(a);
  return {a.X / length, a.Y / length, a.Z / length};
}

/// The maximum norm.
inline double LargestCoordinate(const T3DPoint& a) {
  return std::max({std::fabs(a.X), std::fabs(a.Y), std::fabs(a.Z)});
}

/// Whether all three coordinates are.
inline bool IsFinite(const T3DPoint& a) {
  return std::isfinite(a.X) && std::isfinite(a.Y) && std::isfinite(a.Z);
}

}  // namespace SatCommonUtils
