/// \file
/// The model, the points and the peer that the measurements of projections share.
#pragma once

#include <gdal_alg.h>

#include <cstddef>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "kelvane/module/host/ini.h"
#include "kelvane/rpc/rpc.h"

namespace bench {

using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;

/// The record of a sample in XML.
inline TRPCData SampleRecord(const char* name) {
  const std::string path = std::string(KELVANE_SOURCE_DIR "/samples/") + name;
  std::ifstream file(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  TKaXIniStreamReader reader(new_a<TKaStringStream>(bytes), true, nullptr);
  TRPCData data;
  if (!data.InitializeFromXML(&reader)) throw std::runtime_error(path + " cannot be read");
  return data;
}

struct Point {
  double lat, lon, h;
};

inline const TRPCData& Record() {
  static const TRPCData record = [] {
    TRPCData data;
    double bias = 0.0;
    double rand = 0.0;
    const std::string path = KELVANE_SOURCE_DIR "/samples/worldview3.RPB";
    if (!data.InitializeFromRPBFile(path, &bias, &rand)) throw std::runtime_error(path + " cannot be read");
    return data;
  }();
  return record;
}

/// A power of two, so that going round costs no division.
constexpr std::size_t PointCount = 8192;

/// Several thousand points, so that neither cache nor branch prediction flatters anyone.
inline const std::vector<Point>& Points() {
  static const std::vector<Point> points = [] {
    std::vector<Point> made(PointCount);
    std::mt19937_64 random(20261121);
    std::uniform_real_distribution<double> in_cube(-1.0, 1.0);
    const TRPCData& data = Record();
    for (Point& point : made) {
      point.lat = data.LatitudeOffset + data.LatitudeScale * in_cube(random);
      point.lon = data.LongitudeOffset + data.LongitudeScale * in_cube(random);
      point.h = data.HeightOffset + data.HeightScale * in_cube(random);
    }
    return made;
  }();
  return points;
}

inline GDALRPCInfoV2 GdalRecord() {
  const TRPCData& data = Record();
  GDALRPCInfoV2 info{};
  info.dfLINE_OFF = data.LineOffset;
  info.dfSAMP_OFF = data.SampleOffset;
  info.dfLAT_OFF = data.LatitudeOffset;
  info.dfLONG_OFF = data.LongitudeOffset;
  info.dfHEIGHT_OFF = data.HeightOffset;
  info.dfLINE_SCALE = data.LineScale;
  info.dfSAMP_SCALE = data.SampleScale;
  info.dfLAT_SCALE = data.LatitudeScale;
  info.dfLONG_SCALE = data.LongitudeScale;
  info.dfHEIGHT_SCALE = data.HeightScale;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    info.adfLINE_NUM_COEFF[k] = data.LineNum[k];
    info.adfLINE_DEN_COEFF[k] = data.LineDenom[k];
    info.adfSAMP_NUM_COEFF[k] = data.SampleNum[k];
    info.adfSAMP_DEN_COEFF[k] = data.SampleDenom[k];
  }
  info.dfMIN_LONG = -180.0;
  info.dfMIN_LAT = -90.0;
  info.dfMAX_LONG = 180.0;
  info.dfMAX_LAT = 90.0;
  return info;
}

/// GDAL's transformer of the same model; its inverse iterates to so many pixels.
inline std::unique_ptr<void, void (*)(void*)> GdalTransformer(double tolerance) {
  GDALRPCInfoV2 info = GdalRecord();
  return {GDALCreateRPCTransformerV2(&info, FALSE, tolerance, nullptr), GDALDestroyRPCTransformer};
}

}  // namespace bench
