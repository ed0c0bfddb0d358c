#include "app/ground_points.h"

#include <cmath>

namespace app {

namespace {

constexpr double Turn = 360.0;
constexpr double Reach = 10.0;

}  // namespace

double InModelsTurn(double longitude, const SatCommonUtils::TRPCData& model) {
  const double turns = std::round((longitude - model.LongitudeOffset) / Turn);
  return turns == 0.0 ? longitude : longitude - turns * Turn;
}

double WithinHalfTurn(double longitude) {
  const double within = std::remainder(longitude, Turn);
  return within == -Turn / 2.0 ? -within : within;
}

const char* OutOfReach(double latitude, double longitude, const SatCommonUtils::TRPCData& model) {
  const auto is_in_reach = [](double value, double offset, double scale) {
    return std::fabs(value - offset) <= Reach * std::fabs(scale);
  };
  if (!is_in_reach(latitude, model.LatitudeOffset, model.LatitudeScale)) {
    return "the latitude is out of the model's reach";
  }
  if (!is_in_reach(longitude, model.LongitudeOffset, model.LongitudeScale)) {
    return "the longitude is out of the model's reach";
  }
  return nullptr;
}

}  // namespace app
