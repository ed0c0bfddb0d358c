/// \file
/// What the fuzzers of the fits share: points, and what every fit promises.
#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>

#include "fuzz/fuzzing.h"
#include "fuzz/models.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace fuzz {

/// A grid that a model sees, with noise and blunders; or items that no fit is for. `*exact` (may be null)
/// says that there are neither, and that the grid is one that third degrees show in.
inline SatCommonUtils::TRPCEstimationDataSet FitPoints(const SatCommonUtils::TRPC& model,
                                                       const SatCommonUtils::TRPCData& data, TInput* input,
                                                       bool* exact) {
  constexpr std::size_t Grids[][3] = {{4, 4, 3}, {5, 4, 4}, {3, 4, 4},  {7, 3, 2},
                                      {5, 2, 5}, {7, 6, 1}, {1, 1, 40}, {3, 3, 3}};
  SatCommonUtils::TRPCEstimationDataSet set;
  set.Normalized = input->Choice(4) == 1;
  const std::size_t(&nodes)[3] = Grids[input->Choice(std::size(Grids))];
  const double noise = input->Bool() ? input->Number() : 0.0;
  const auto place = [&](std::size_t i, std::size_t axis) {
    const auto steps = static_cast<double>(nodes[axis] - 1);
    return steps == 0.0 ? 0.0 : 2.0 * static_cast<double>(i) / steps - 1.0;
  };
  for (std::size_t i = 0; i < nodes[0] * nodes[1] * nodes[2]; ++i) {
    const double P = place(i % nodes[0], 0);
    const double L = place(i / nodes[0] % nodes[1], 1);
    const double H = place(i / nodes[0] / nodes[1], 2);
    SatCommonUtils::TRPCEstimationDataItem item = {P, L, H, 0.0, 0.0};
    if (set.Normalized) {
      model.CalculateLineSampleNormalized(P, L, H, &item.Line, &item.Sample, nullptr, nullptr);
    } else {
      item.Latitude = data.LatitudeOffset + P * data.LatitudeScale;
      item.Longitude = data.LongitudeOffset + L * data.LongitudeScale;
      item.Height = data.HeightOffset + H * data.HeightScale;
      model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample, nullptr,
                                nullptr);
    }
    item.Line += noise * std::sin(static_cast<double>(7 * i));
    item.Sample += noise * std::cos(static_cast<double>(5 * i));
    set.Items.push_back(item);
  }
  std::size_t changes = input->Choice(8);
  if (exact != nullptr) {
    *exact = noise == 0.0 && changes == 0 && *std::min_element(std::begin(nodes), std::end(nodes)) >= 4;
  }
  for (; changes > 0; --changes) {
    SatCommonUtils::TRPCEstimationDataItem& item = set.Items[input->Choice(set.Items.size())];
    double* const fields[] = {&item.Latitude, &item.Longitude, &item.Height, &item.Line, &item.Sample};
    double& field = *fields[input->Choice(std::size(fields))];
    field = input->Bool() ? field + input->Number() : input->Number();
  }
  return set;
}

/// The record that a fit is to leave or to replace.
inline SatCommonUtils::TRPCData RecordBeforeFit() { return test::NumberedRecord(); }

inline bool CoefficientsAreFinite(const SatCommonUtils::TRPCData& data) {
  const SatCommonUtils::TRPCValues values = SatCommonUtils::RPCValues(data);
  return std::all_of(values.begin(), values.end() - SatCommonUtils::RPCDataFieldCount,
                     [](double value) { return std::isfinite(value); });
}

/// A result, or what was there before.
inline void CheckFitOutcome(bool fitted, const SatCommonUtils::TRPCData& result, bool normalized) {
  const SatCommonUtils::TRPCData before = RecordBeforeFit();
  if (!fitted) {
    Require(SameRecord(result, before), "a fit that fails leaves the record");
    return;
  }
  Require(CoefficientsAreFinite(result), "coefficients are finite");
  Require(result.LineDenom[0] == 1.0 && result.SampleDenom[0] == 1.0, "denominators begin with 1");
  for (const auto& field : SatCommonUtils::RPCDataFields) {
    const bool kept = result.*field.Value == before.*field.Value;
    Require(kept || !normalized, "normalised items leave offsets and scales");
  }
}

}  // namespace fuzz
