/// \file
/// Records to test with, and an evaluation of the model that shares nothing with the library's.
#pragma once

#include <cmath>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "kelvane/module/host/ini.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace test {

/// All 90 numbers different, none of them round.
inline SatCommonUtils::TRPCData NumberedRecord() {
  SatCommonUtils::TRPCData data;
  double next = 1.0;
  const auto take = [&next] { return std::sqrt(next++) / 3.0; };
  for (const auto& set : SatCommonUtils::RPCDataCoefficients) {
    for (double& value : data.*set.Values) value = take();
  }
  for (const auto& field : SatCommonUtils::RPCDataFields) data.*field.Value = take();
  return data;
}

/// line = latitude, sample = longitude.
inline SatCommonUtils::TRPCData IdentityRecord() {
  SatCommonUtils::TRPCData data;
  for (const auto& set : SatCommonUtils::RPCDataCoefficients) {
    for (double& value : data.*set.Values) value = 0.0;
  }
  for (const auto& field : SatCommonUtils::RPCDataFields) data.*field.Value = field.IsScale ? 1.0 : 0.0;
  data.LineNum[2] = 1.0;
  data.SampleNum[1] = 1.0;
  data.LineDenom[0] = 1.0;
  data.SampleDenom[0] = 1.0;
  return data;
}

/// A model that bends enough to determine all its coefficients; normalised coordinates are its real ones.
inline SatCommonUtils::TRPCData BentRecord() {
  SatCommonUtils::TRPCData data = IdentityRecord();
  std::mt19937 random(7);
  std::uniform_real_distribution<double> small(-0.02, 0.02);
  for (const auto& set : SatCommonUtils::RPCDataCoefficients) {
    for (double& value : data.*set.Values) value += small(random);
  }
  data.LineDenom[0] = data.SampleDenom[0] = 1.0;
  return data;
}

inline std::string SamplePath(const std::string& name) {
  return std::string(KELVANE_SOURCE_DIR) + "/samples/" + name;
}

inline std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// The record of a sample, in RPB or XML.
inline SatCommonUtils::TRPCData SampleRecord(const std::string& name) {
  SatCommonUtils::TRPCData data;
  if (name.back() == 'B') {
    double bias = 0.0;
    double rand = 0.0;
    data.InitializeFromRPBFile(SamplePath(name), &bias, &rand);
  } else {
    TKaXIniStreamReader reader(new_a<TKaStringStream>(FileText(SamplePath(name))), true, nullptr);
    data.InitializeFromXML(&reader);
  }
  return data;
}

/// The same model with the latitude counted downwards: what is odd in P changes its sign.
inline SatCommonUtils::TRPCData WithNegativeLatitudeScale(SatCommonUtils::TRPCData data) {
  data.LatitudeScale = -data.LatitudeScale;
  for (const auto& set : SatCommonUtils::RPCDataCoefficients) {
    for (const int k : {2, 4, 6, 10, 14, 15, 16}) (data.*set.Values)[k] *= -1.0;
  }
  return data;
}

/// Powers of longitude, latitude and height of each term: the model as its standard tabulates it.
inline constexpr int Powers[20][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0},
                                      {1, 0, 1}, {0, 1, 1}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2},
                                      {1, 1, 1}, {3, 0, 0}, {1, 2, 0}, {1, 0, 2}, {2, 1, 0},
                                      {0, 3, 0}, {0, 1, 2}, {2, 0, 1}, {0, 2, 1}, {0, 0, 3}};

inline long double Polynomial(const double* coefficients, long double P, long double L, long double H) {
  long double sum = 0.0L;
  for (std::size_t k = 0; k < 20; ++k) {
    sum +=
        coefficients[k] * std::pow(L, Powers[k][0]) * std::pow(P, Powers[k][1]) * std::pow(H, Powers[k][2]);
  }
  return sum;
}

struct ImagePoint {
  long double line;
  long double sample;
};

/// Ground to image in extended precision.
inline ImagePoint Projected(const SatCommonUtils::TRPCData& d, long double lat, long double lon,
                            long double h) {
  const long double P = (lat - d.LatitudeOffset) / d.LatitudeScale;
  const long double L = (lon - d.LongitudeOffset) / d.LongitudeScale;
  const long double H = (h - d.HeightOffset) / d.HeightScale;
  return {
      Polynomial(d.LineNum, P, L, H) / Polynomial(d.LineDenom, P, L, H) * d.LineScale + d.LineOffset,
      Polynomial(d.SampleNum, P, L, H) / Polynomial(d.SampleDenom, P, L, H) * d.SampleScale + d.SampleOffset};
}

}  // namespace test
