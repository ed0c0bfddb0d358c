/// Ground to image, one point a call, over scattered points: the library beside GDAL's RPC transformer.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "bench/rpc_bench.h"

namespace {

using namespace bench;

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

void ForwardGdal(benchmark::State& state) {
  const auto transformer = GdalTransformer(0.0);
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
