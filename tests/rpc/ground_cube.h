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
    return {data_.LatitudeOffset + data_.LatitudeScale * in_cube_(random_),
            data_.LongitudeOffset + data_.LongitudeScale * in_cube_(random_),
            data_.HeightOffset + data_.HeightScale * in_cube_(random_), 0.0, 0.0};
  }

 private:
  TRPCData data_;
  std::mt19937_64 random_;
  std::uniform_real_distribution<double> in_cube_{-1.0, 1.0};
};

}  // namespace test
