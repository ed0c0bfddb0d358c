/// \file
/// Ground points of a model's normalised cube, and where models see them.
#pragma once

#include <random>

#include "kelvane/rpc/rpc_estimation.h"

namespace test {

using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;
using SatCommonUtils::TRPCEstimationDataItem;

/// The same ground point, as a model sees it.
inline TRPCEstimationDataItem SeenBy(const TRPC& model, TRPCEstimationDataItem at) {
  model.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &at.Line, &at.Sample, nullptr, nullptr);
  return at;
}

class GroundCube {
 public:
  explicit GroundCube(const TRPCData& data, unsigned seed = 5) : data_(data), random_(seed) {}
  TRPCEstimationDataItem Anywhere() {
    const double at[] = {in_cube_(random_), in_cube_(random_), in_cube_(random_)};
    return At(at[0], at[1], at[2]);
  }
  TRPCEstimationDataItem Corner(int i) const {
    const auto bit = [i](int k) { return (i >> k & 1) != 0 ? 1.0 : -1.0; };
    return At(bit(0), bit(1), bit(2));
  }
  /// Where the normalised latitude, longitude and height are these.
  TRPCEstimationDataItem At(double P, double L, double H) const {
    return {data_.LatitudeOffset + data_.LatitudeScale * P, data_.LongitudeOffset + data_.LongitudeScale * L,
            data_.HeightOffset + data_.HeightScale * H};
  }

 private:
  TRPCData data_;
  std::mt19937_64 random_;
  std::uniform_real_distribution<double> in_cube_{-1.0, 1.0};
};

}  // namespace test
