/// \file
/// How items of an estimation are normalised (internal).
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
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
  double PerUnit;  ///< what is a round number: so many to a pixel, degree or metre
  TLinearNormalization Map;
  double Least = 0.0;
  double Most = 0.0;

  /// The map that takes the smallest value to -1 and the largest to +1; false when they are the same.
  bool SetUp(const std::vector<TRPCEstimationDataItem>& items) {
    Least = std::numeric_limits<double>::max();
    Most = -std::numeric_limits<double>::max();
    for (const TRPCEstimationDataItem& item : items) {
      Least = std::min(Least, item.*Value);
      Most = std::max(Most, item.*Value);
    }
    return Map.Reset(Most, Least, 1.0, -1.0);
  }
  /// Offset and scale become round numbers, which every form of file keeps, where that hardly widens the
  /// range.
  void Round() {
    constexpr double MostWidening = 1.01;
    const double offset = std::nearbyint(Map.Offset() * PerUnit) / PerUnit;
    const double reach = std::max(Most - offset, offset - Least);
    const double scale = std::ceil(reach * PerUnit) / PerUnit;
    if (scale <= MostWidening * Map.Scale()) Map.Reset(offset, scale);
  }
};

/// The five normalisations, in the order in which they are set up.
struct TItemNormalizations : std::array<TItemNormalization, 5> {
  using TItem = TRPCEstimationDataItem;
  /// Where line and ground stand.
  static constexpr std::size_t FirstOfGround = 2;

  TItemNormalizations()
      : array{
            {{"line", &TItem::Line, &TRPCData::LineOffset, &TRPCData::LineScale, 1.0, {}},
             {"sample", &TItem::Sample, &TRPCData::SampleOffset, &TRPCData::SampleScale, 1.0, {}},
             {"latitude", &TItem::Latitude, &TRPCData::LatitudeOffset, &TRPCData::LatitudeScale, 1e6, {}},
             {"longitude", &TItem::Longitude, &TRPCData::LongitudeOffset, &TRPCData::LongitudeScale, 1e6, {}},
             {"height", &TItem::Height, &TRPCData::HeightOffset, &TRPCData::HeightScale, 1e2, {}}}} {}

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
