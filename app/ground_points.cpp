#include "app/ground_points.h"

#include <cmath>

namespace app {

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
