/// \file
/// Records to test with, and an evaluation of the model that shares nothing with the library's.
#pragma once

#include <algorithm>
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

/// A small frame image over heights that reach as far as its ground: line and sample divide by very different
/// polynomials, and latitude is counted downwards.
inline SatCommonUtils::TRPCData SteepRecord() {
  constexpr double Coefficients[4][20] = {
      {4.199125,     0.0906856, -2.540648,     0.03676,      0.07064334,   0.001341651,  -0.1072958,
       -0.001631963, -1.957821, -0.0003613626, 0.001130672,  1.956207e-06, 0.05664137,   -7.993254e-06,
       -0.001340372, -1.53319,  -0.0004101695, 2.154046e-05, -0.08654382,  -1.283652e-06},
      {1,
       -0.004218387,
       0.6165136,
       0.00202608,
       -0.004299963,
       6.139263e-05,
       0.004168101,
       -1.877045e-05,
       0.2972635,
       -2.207231e-05,
       1.214822e-05,
       -3.132762e-07,
       0.0002328002,
       3.727937e-07,
       -6.286281e-05,
       0.0003135042,
       3.637491e-05,
       2.77736e-06,
       -0.001541643,
       -1.109071e-06},
      {-0.003716959,  -2.791606,     -0.03159983,  -0.02024961,  0.0004467963,  -0.001537452,  0.0001038902,
       0.003303242,   1.866101e-05,  0.0005550934, 3.518681e-05, -2.489021e-06, -5.898528e-06, 3.707651e-05,
       -3.500103e-06, -8.879756e-08, 1.502371e-06, 1.553929e-07, 2.718311e-07,  -1.348094e-06},
      {1,
       -0.0007064276,
       -0.003714085,
       -0.004630712,
       -4.523452e-07,
       6.565316e-06,
       -1.392271e-05,
       1.870514e-06,
       3.684712e-06,
       1.106005e-05,
       -1.283758e-08,
       -9.078954e-09,
       1.934009e-08,
       -4.055662e-08,
       1.870152e-08,
       -1.84759e-07,
       6.569142e-08,
       -6.391907e-09,
       -4.494396e-08,
       -5.877783e-08},
  };
  SatCommonUtils::TRPCData data;
  std::copy_n(Coefficients[0], 20, data.LineNum);
  std::copy_n(Coefficients[1], 20, data.LineDenom);
  std::copy_n(Coefficients[2], 20, data.SampleNum);
  std::copy_n(Coefficients[3], 20, data.SampleDenom);
  data.LineOffset = data.LineScale = 675.0;
  data.SampleOffset = data.SampleScale = 1600.0;
  data.LatitudeOffset = -33.0;
  data.LatitudeScale = -0.0234;
  data.LongitudeOffset = 151.5;
  data.LongitudeScale = 0.0357;
  data.HeightOffset = 31.0;
  data.HeightScale = 2511.0;
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
