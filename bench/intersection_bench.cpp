/// A point seen in a pair of images to the ground, one point a call, over points spread through the scene.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <random>
#include <vector>

#include "bench/rpc_bench.h"

namespace {

using namespace bench;

/// Line and sample in both images.
struct Tie {
  double image[2][2];
};

void IntersectionPair(benchmark::State& state) {
  const TRPCData data = SampleRecord("pleiades_1.xml");
  const TRPC models[2] = {{data, nullptr}, {SampleRecord("pleiades_2.xml"), nullptr}};
  std::mt19937_64 random(20261121);
  std::uniform_real_distribution<double> in_cube(-1.0, 1.0);
  std::vector<Tie> ties(PointCount);
  for (Tie& tie : ties) {
    const double lat = data.LatitudeOffset + data.LatitudeScale * in_cube(random);
    const double lon = data.LongitudeOffset + data.LongitudeScale * in_cube(random);
    const double h = data.HeightOffset + data.HeightScale * in_cube(random);
    for (std::size_t i = 0; i < 2; ++i) {
      models[i].EnsureApproximation();
      models[i].CalculateLineSample(lat, lon, h, &tie.image[i][0], &tie.image[i][1], nullptr, nullptr);
    }
  }
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& image = ties[i++ % PointCount].image;
    double ground[3];
    TRPC::CalculateLatLonH(models[0], image[0][0], image[0][1], models[1], image[1][0], image[1][1],
                           &ground[0], &ground[1], &ground[2]);
    benchmark::DoNotOptimize(ground);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(IntersectionPair)->Name("Intersection/kelvane/pair");

}  // namespace
