/// \file
/// Longitudes, in degrees, and their turns (header only). No number but a finite one is changed into one.
#pragma once

#include <cmath>

namespace SatCommonUtils {

/// Longitudes that differ by this are the same meridian.
constexpr double DegreesPerTurn = 360.0;

/// The same meridian in (-180, 180].
inline double WithinHalfTurn(double longitude) {
  const double within = std::remainder(longitude, DegreesPerTurn);
  return within == -DegreesPerTurn / 2.0 ? -within : within;
}

/// The same meridian in the turn that lies within 180 degrees of `centre`. A longitude that lies there
/// already, both ends included, comes back bit for bit.
inline double InTurnOf(double centre, double longitude) {
  const double turns = std::nearbyint((longitude - centre) / DegreesPerTurn);
  return turns == 0.0 ? longitude : longitude - turns * DegreesPerTurn;
}

}  // namespace SatCommonUtils
