/// Ground to image, one point a call, over scattered points: the library beside GDAL's RPC transformer.
#include <benchmark/benchmark.h>
#include <gdal_alg.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "kelvane/rpc/rpc.h"

namespace {

using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;

struct Point {
  double lat, lon, h;
};

const TRPCData& Record() {
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
const std::vector<Point>& Points() {
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

void ForwardKelvane(benchmark::State& state) {
  const TRPC model(Record(), nullptr);
  const std::vector<Point>& points = Points();
  std::size_t i = 0;
  for (auto _ : state) {
    const Point& point = points[i++ % PointCount];
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(point.lat, point.lon, point.h, &line, &sample, nullptr, nullptr);
    benchmark::DoNotOptimize(line);
    benchmark::DoNotOptimize(sample);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ForwardKelvane)->Name("Forward/kelvane/single");

GDALRPCInfoV2 GdalRecord() {
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

void ForwardGdal(benchmark::State& state) {
  GDALRPCInfoV2 info = GdalRecord();
  const std::unique_ptr<void, void (*)(void*)> transformer(
      GDALCreateRPCTransformerV2(&info, FALSE, 0.0, nullptr), GDALDestroyRPCTransformer);
  const TRPC model(Record(), nullptr);
  const std::vector<Point>& points = Points();
  std::size_t i = 0;
  for (auto _ : state) {
    const Point& point = points[i++ % PointCount];
    double x = point.lon;
    double y = point.lat;
    double z = point.h;
    int success = 0;
    GDALRPCTransform(transformer.get(), TRUE, 1, &x, &y, &z, &success);
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(y);
  }
  state.SetItemsProcessed(state.iterations());

  // Both did the same work: GDAL counts from the corner of the first pixel.
  double line = 0.0;
  double sample = 0.0;
  model.CalculateLineSample(points[0].lat, points[0].lon, points[0].h, &line, &sample, nullptr, nullptr);
  double x = points[0].lon;
  double y = points[0].lat;
  double z = points[0].h;
  int success = 0;
  GDALRPCTransform(transformer.get(), TRUE, 1, &x, &y, &z, &success);
  if (success == 0 || std::hypot(x - 0.5 - sample, y - 0.5 - line) > 1e-6) {
    state.SkipWithError("GDAL and Kelvane disagree");
  }
}
BENCHMARK(ForwardGdal)->Name("Forward/gdal");

}  // namespace
