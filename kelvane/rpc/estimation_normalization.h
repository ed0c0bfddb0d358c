/// \file
/// How items of an estimation are normalised (internal).
#pragma once

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "kelvane/numeric/normalization.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

struct TItemNormalization {
  const char* Name;
  double TRPCEstimationDataItem::*Value;
  double TRPCData::*Offset;
  double TRPCData::*Scale;
  TLinearNormalization Map;

  /// The map that takes the smallest value to -1 and the largest to +1; false when they are the same.
  bool SetUp(const std::vector<TRPCEstimationDataItem>& items) {
    double least = std::numeric_limits<double>::max();
    double most = -std::numeric_limits<double>::max();
    for (const TRPCEstimationDataItem& item : items) {
      least = std::min(least, item.*Value);
      most = std::max(most, item.*Value);
    }
    return Map.Reset(most, least, 1.0, -1.0);
  }
};

/// The five normalisations, in the order in which they are set up.
struct TItemNormalizations : std::array<TItemNormalization, 5> {
  using TItem = TRPCEstimationDataItem;
  /// Where line and ground stand.
  static constexpr std::size_t FirstOfGround = 2;

  TItemNormalizations()
      : array{{{"line", &TItem::Line, &TRPCData::LineOffset, &TRPCData::LineScale, {}},
               {"sample", &TItem::Sample, &TRPCData::SampleOffset, &TRPCData::SampleScale, {}},
               {"latitude", &TItem::Latitude, &TRPCData::LatitudeOffset, &TRPCData::LatitudeScale, {}},
               {"longitude", &TItem::Longitude, &TRPCData::LongitudeOffset, &TRPCData::LongitudeScale, {}},
               {"height", &TItem::Height, &TRPCData::HeightOffset, &TRPCData::HeightScale, {}}}} {}

  std::vector<TItem> Normalized(const std::vector<TItem>& items) const {
    std::vector<TItem> normalized = items;
    for (TItem& item : normalized) {
      for (const TItemNormalization& n : *this) item.*n.Value = n.Map.Initial2Normalized(item.*n.Value);
    }
    return normalized;
  }
  void WriteTo(TRPCData* rpc) const {
    for (const TItemNormalization& n : *this) {
      rpc->*n.Offset = n.Map.Offset();
      rpc->*n.Scale = n.Map.Scale();
    }
  }
};

}  // namespace SatCommonUtils
