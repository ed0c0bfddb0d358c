/// \file
/// Models out of a few bytes.
#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "fuzz/fuzzing.h"
#include "kelvane/module/host/message.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "tests/support/records.h"

namespace fuzz {

inline bool SameRecord(const SatCommonUtils::TRPCData& a, const SatCommonUtils::TRPCData& b) {
  const SatCommonUtils::TRPCValues left = SatCommonUtils::RPCValues(a);
  const SatCommonUtils::TRPCValues right = SatCommonUtils::RPCValues(b);
  return SameNumbers(left.data(), right.data(), left.size());
}

/// What a form that rounds pixels to 0.01, degrees to 1e-8, metres to `metres` and coefficients to `digits`
/// makes of a record.
inline void RequireRounded(const SatCommonUtils::TRPCData& exact, const SatCommonUtils::TRPCData& rounded,
                           double metres, int digits) {
  using SatCommonUtils::TE_RPCUnit;
  // Half of the last place, and what reading rounds.
  const auto close = [](double a, double b, double place) {
    const double bound = 0.5 * place * (1.0 + 1e-6) + 3e-16 * std::fabs(a);
    return SameNumber(a, b) || std::fabs(a - b) <= bound;
  };
  for (const auto& field : SatCommonUtils::RPCDataFields) {
    const double place = field.Unit == TE_RPCUnit::Pixels  ? 0.01
                         : field.Unit == TE_RPCUnit::Angle ? 1e-8
                                                           : metres;
    Require(close(exact.*field.Value, rounded.*field.Value, place),
            "an offset or scale is rounded as promised");
  }
  for (const auto& set : SatCommonUtils::RPCDataCoefficients) {
    for (std::size_t k = 0; k < SatCommonUtils::TRPCData::CoefficientCount; ++k) {
      const double value = (exact.*set.Values)[k];
      Require(close(value, (rounded.*set.Values)[k], std::fabs(value) * std::pow(10.0, 1 - digits)),
              "a coefficient is rounded as promised");
    }
  }
}

/// One of the samples, or one made up; a few of its numbers multiplied, moved or replaced.
inline SatCommonUtils::TRPCData Record(TInput* input) {
  using SatCommonUtils::TRPCData;
  static const TRPCData Bases[] = {test::SampleRecord("worldview3.RPB"),
                                   test::SampleRecord("pleiades_1.xml"),
                                   test::SampleRecord("pleiades_2.xml"),
                                   test::SampleRecord("skysat.xml"),
                                   test::SteepRecord(),
                                   test::BentRecord(),
                                   test::IdentityRecord(),
                                   test::NumberedRecord()};
  constexpr std::size_t MostChanges = 16;
  TRPCData data = Bases[input->Choice(std::size(Bases))];
  SatCommonUtils::TRPCValues values = SatCommonUtils::RPCValues(data);
  for (std::size_t changes = input->Choice(MostChanges); changes > 0; --changes) {
    double& value = values[input->Choice(values.size())];
    const std::size_t kind = input->Choice(3);
    const double number = input->Number();
    value = kind == 0 ? value * number : kind == 1 ? value + number : number;
  }
  std::memcpy(&data, values.data(), sizeof data);
  return data;
}

/// Scales as the bounds of the library have them, offsets and coefficients that rounding leaves alone.
inline bool IsOfUsualSize(const SatCommonUtils::TRPCData& data) {
  const auto within = [](double value, double least, double most) {
    return std::fabs(value) >= least && std::fabs(value) <= most;
  };
  for (const double scale : {data.LineScale, data.SampleScale}) {
    if (!within(scale, 1.0, 40000.0)) return false;
  }
  for (const double scale : {data.LatitudeScale, data.LongitudeScale}) {
    if (!within(scale, 1e-3, 360.0)) return false;
  }
  const bool offsets = within(data.LineOffset, 0, 1e6) && within(data.SampleOffset, 0, 1e6) &&
                       within(data.LatitudeOffset, 0, 360) && within(data.LongitudeOffset, 0, 360) &&
                       within(data.HeightOffset, 0, 1e6) && within(data.HeightScale, 1.0, 1e6);
  const auto coefficients = SatCommonUtils::RPCValues(data);
  return offsets && std::all_of(coefficients.begin(), coefficients.end() - SatCommonUtils::RPCDataFieldCount,
                                [&](double value) { return within(value, 0, 10); });
}

/// A correction that is none, or near one, or any.
inline SatCommonUtils::TRPCRefinementDataAffine Correction(TInput* input) {
  SatCommonUtils::TRPCRefinementDataAffine correction;
  const double size = input->Bool() ? 1.0 : 1e-3;
  double* const terms[] = {&correction.LineBias,   &correction.LineDrift,   &correction.LineTilt,
                           &correction.SampleBias, &correction.SampleDrift, &correction.SampleTilt};
  for (double* const term : terms) *term = size * input->Number();
  correction.LineDrift += 1.0;
  correction.SampleTilt += 1.0;
  return correction;
}

/// A class that the library does not know.
struct TOtherModel : SatCommonUtils::TRPC {
  using TRPC::TRPC;
};

/// A plain or a refined model, or one of another class. Null where a scale is zero, or the refinement has no
/// way back.
inline std::unique_ptr<SatCommonUtils::TRPC> Model(TInput* input, SatCommonUtils::TRPCData* data) {
  const std::size_t kind = input->Choice(4);
  const bool refined = kind == 3;
  *data = Record(input);
  bool zero = false;
  for (const auto& field : SatCommonUtils::RPCDataFields) {
    zero = zero || (field.IsScale && data->*field.Value == 0.0);
  }
  try {
    std::unique_ptr<SatCommonUtils::TRPC> model;
    if (refined) {
      const SatCommonUtils::TRPCRefinementDataAffine correction = Correction(input);
      model = std::make_unique<SatCommonUtils::TAdjustedRPC>(*data, nullptr, &correction);
    } else if (kind == 2) {
      model = std::make_unique<TOtherModel>(*data, nullptr);
    } else {
      model = std::make_unique<SatCommonUtils::TRPC>(*data, nullptr);
    }
    Require(!zero, "a scale of zero is refused");
    return model;
  } catch (const TKaMessage& failure) {
    Require(zero, failure.what());
  } catch (const std::runtime_error& failure) {
    Require(refined, failure.what());
  }
  return nullptr;
}

}  // namespace fuzz
