#include "app/ground_points.h"

#include <cmath>

#include "kelvane/geometry/longitude.h"

namespace app {

namespace {

/// Whether the ground is in degrees. The image of an inverse model's ground, in pixels, hardly fits into
/// them.
bool HasDegrees(const SatCommonUtils::TRPCData& model) {
  return std::fabs(model.LatitudeOffset) <= 90.0 && std::fabs(model.LatitudeScale) <= 90.0 &&
         std::fabs(model.LongitudeScale) <= SatCommonUtils::DegreesPerTurn / 2.0;
}

}  // namespace

double InModelsTurn(double longitude, const SatCommonUtils::TRPCData& model) {
  return HasDegrees(model) ? SatCommonUtils::InTurnOf(model.LongitudeOffset, longitude) : longitude;
}

double ForOutput(double longitude, const SatCommonUtils::TRPCData& model) {
  return HasDegrees(model) ? SatCommonUtils::WithinHalfTurn(longitude) : longitude;
}

const char* OutOfReach(double latitude, double longitude, double height,
                       const SatCommonUtils::TRPCData& model) {
  constexpr double Reach = 10.0;
  constexpr double HeightReach = 100.0;
  const auto is_in_reach = [](double value, double offset, double scale, double reach) {
    return std::fabs(value - offset) <= reach * std::fabs(scale);
  };
  if (!is_in_reach(latitude, model.LatitudeOffset, model.LatitudeScale, Reach)) {
    return "the latitude is out of the model's reach";
  }
  if (!is_in_reach(longitude, model.LongitudeOffset, model.LongitudeScale, Reach)) {
    return "the longitude is out of the model's reach";
  }
  if (!is_in_reach(height, model.HeightOffset, model.HeightScale, HeightReach)) {
    return "the height is out of the model's reach";
  }
  return nullptr;
}

}  // namespace app
