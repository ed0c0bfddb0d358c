/// \file
/// The one table of the record's fields: what each form calls them, and how the rounding forms write
/// them.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>

#include "kelvane/rpc/rpc_data.h"

namespace SatCommonUtils {

/// In what a field is counted.
enum class TE_RPCUnit { Pixels, Angle, Length };

/// An offset or a scale.
struct TRPCDataField {
  const char* Name;         ///< of the field, and its key in XML
  const char* TextKey;      ///< in RPC text
  const char* RPBKey;       ///< in RPB
  bool IsScale;             ///< a scale, which must not be zero; else an offset
  TE_RPCUnit Unit;          ///< in which the texts give the number
  bool TextZeroPadded;      ///< RPC text fills the width with zeros rather than blanks
  int TextWidth;            ///< least width of the number in RPC text, sign and point included
  int TextDecimals;         ///< digits behind the point in RPC text
  int RPBDecimals;          ///< the same in RPB
  double TRPCData::*Value;  ///< where the record holds it
};

/// Offset and scale in turn, in the order of the record.
inline constexpr TRPCDataField RPCDataFields[] = {
    {"LineOffset", "LINE_OFF", "lineOffset", false, TE_RPCUnit::Pixels, true, 10, 2, 2,
     &TRPCData::LineOffset},
    {"LineScale", "LINE_SCALE", "lineScale", true, TE_RPCUnit::Pixels, false, 10, 2, 2, &TRPCData::LineScale},
    {"SampleOffset", "SAMP_OFF", "sampOffset", false, TE_RPCUnit::Pixels, true, 10, 2, 2,
     &TRPCData::SampleOffset},
    {"SampleScale", "SAMP_SCALE", "sampScale", true, TE_RPCUnit::Pixels, false, 10, 2, 2,
     &TRPCData::SampleScale},
    {"LatitudeOffset", "LAT_OFF", "latOffset", false, TE_RPCUnit::Angle, false, 12, 8, 8,
     &TRPCData::LatitudeOffset},
    {"LatitudeScale", "LAT_SCALE", "latScale", true, TE_RPCUnit::Angle, true, 12, 8, 8,
     &TRPCData::LatitudeScale},
    {"LongitudeOffset", "LONG_OFF", "longOffset", false, TE_RPCUnit::Angle, false, 13, 8, 8,
     &TRPCData::LongitudeOffset},
    {"LongitudeScale", "LONG_SCALE", "longScale", true, TE_RPCUnit::Angle, true, 13, 8, 8,
     &TRPCData::LongitudeScale},
    {"HeightOffset", "HEIGHT_OFF", "heightOffset", false, TE_RPCUnit::Length, true, 9, 3, 2,
     &TRPCData::HeightOffset},
    {"HeightScale", "HEIGHT_SCALE", "heightScale", true, TE_RPCUnit::Length, true, 9, 3, 2,
     &TRPCData::HeightScale},
};

inline constexpr std::size_t RPCDataFieldCount = std::size(RPCDataFields);  ///< five offsets and their scales

/// Field i when all offsets stand before all scales, as RPC text and RPB write them.
inline constexpr const TRPCDataField& RPCDataFieldOffsetsFirst(std::size_t i) {
  constexpr std::size_t pairs = RPCDataFieldCount / 2;
  return RPCDataFields[i < pairs ? 2 * i : 2 * (i - pairs) + 1];
}

/// A set of 20 coefficients.
struct TRPCDataCoefficients {
  const char* Name;        ///< of the array, and its section in XML
  const char* OtherName;   ///< another spelling of the section, accepted on reading, or null
  const char* TextPrefix;  ///< in RPC text, before the number of the coefficient, which counts from 1
  const char* RPBKey;      ///< in RPB
  double (TRPCData::*Values)[TRPCData::CoefficientCount];  ///< where the record holds them
};

/// In the order of the record.
inline constexpr TRPCDataCoefficients RPCDataCoefficients[] = {
    {"LineNum", "LineNom", "LINE_NUM_COEFF_", "lineNumCoef", &TRPCData::LineNum},
    {"LineDenom", nullptr, "LINE_DEN_COEFF_", "lineDenCoef", &TRPCData::LineDenom},
    {"SampleNum", "SampleNom", "SAMP_NUM_COEFF_", "sampNumCoef", &TRPCData::SampleNum},
    {"SampleDenom", nullptr, "SAMP_DEN_COEFF_", "sampDenCoef", &TRPCData::SampleDenom},
};

/// All values of a record side by side, in its order: coefficients, then offsets and scales.
using TRPCValues = std::array<double, 4 * TRPCData::CoefficientCount + RPCDataFieldCount>;

static_assert(std::is_standard_layout_v<TRPCData> && std::is_trivially_copyable_v<TRPCData> &&
                  sizeof(TRPCData) == sizeof(TRPCValues),
              "the record is its values and nothing else");

/// The record's 90 numbers as an array, in the order of its fields.
inline TRPCValues RPCValues(const TRPCData& data) {
  TRPCValues values;
  std::memcpy(values.data(), &data, sizeof values);
  return values;
}

/// What value i of `TRPCValues` is called, such as "LineNum[3]" or "HeightScale".
inline std::string RPCValueName(std::size_t i) {
  constexpr std::size_t count = TRPCData::CoefficientCount;
  const std::size_t set = i / count;
  if (set >= std::size(RPCDataCoefficients)) {
    return RPCDataFields[i - count * std::size(RPCDataCoefficients)].Name;
  }
  return RPCDataCoefficients[set].Name + ("[" + std::to_string(i % count) + "]");
}

}  // namespace SatCommonUtils
