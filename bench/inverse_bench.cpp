/// Image to ground, one point a call, over points spread through the model's whole normalised cube: the
/// library beside GDAL's RPC transformer, which is told to be as exact.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "bench/rpc_bench.h"

namespace {

using namespace bench;

constexpr double GdalTolerance = 1e-6;  // pixels

struct ImagePoint {
  double line, sample, h;
};

const std::vector<ImagePoint>& ImagePoints() {
  static const std::vector<ImagePoint> points = [] {
    const TRPC model(Record(), nullptr);
    std::vector<ImagePoint> made;
    for (const Point& ground : Points()) {
      ImagePoint point{0.0, 0.0, ground.h};
      model.CalculateLineSample(ground.lat, ground.lon, ground.h, &point.line, &point.sample, nullptr,
                                nullptr);
      made.push_back(point);
    }
    return made;
  }();
  return points;
}

void InverseKelvane(benchmark::State& state) {
  const TRPC model(Record(), nullptr);
  model.EnsureApproximation();
  const std::vector<ImagePoint>& points = ImagePoints();
  std::size_t i = 0;
  for (auto _ : state) {
    const ImagePoint& point = points[i++ % PointCount];
    double lat = 0.0;
    double lon = 0.0;
    model.SolveLatLon(point.line, point.sample, point.h, &lat, &lon);
    benchmark::DoNotOptimize(lat);
    benchmark::DoNotOptimize(lon);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(InverseKelvane)->Name("Inverse/kelvane/single");

void InverseGdal(benchmark::State& state) {
  const auto transformer = GdalTransformer(GdalTolerance);
  const std::vector<ImagePoint>& points = ImagePoints();
  const auto transform = [&](const ImagePoint& point, double* lat, double* lon) {
    // GDAL counts from the corner of the first pixel.
    double x = point.sample + 0.5;
    double y = point.line + 0.5;
    double z = point.h;
    int success = 0;
    GDALRPCTransform(transformer.get(), FALSE, 1, &x, &y, &z, &success);
    *lon = x;
    *lat = y;
    return success != 0;
  };
  std::size_t i = 0;
  for (auto _ : state) {
    double lat = 0.0;
    double lon = 0.0;
    benchmark::DoNotOptimize(transform(points[i++ % PointCount], &lat, &lon));
    benchmark::DoNotOptimize(lat);
    benchmark::DoNotOptimize(lon);
  }
  state.SetItemsProcessed(state.iterations());
  for (std::size_t k = 0; k < PointCount; k += 64) {
    double lat = 0.0;
    double lon = 0.0;
    const Point& ground = Points()[k];
    // A hundred times the tolerance, in degrees.
    if (!transform(points[k], &lat, &lon) || std::hypot(lat - ground.lat, lon - ground.lon) > 1e-9) {
      state.SkipWithError("GDAL and Kelvane disagree");
    }
  }
}
BENCHMARK(InverseGdal)->Name("Inverse/gdal");

}  // namespace
