/// \file
/// Models out of a few bytes.
#pragma once

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
