/// Points by the array: the library, with one thread and with two, beside GDAL's RPC transformer given as
/// many points a call. Time per iteration is that of one point.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <random>
#include <vector>

#include "bench/rpc_bench.h"
#include "host/runtime.h"
#include "kelvane/rpc/rpc_batch.h"

namespace {

using namespace bench;

using Numbers = std::vector<double>;

struct Batch {
  Numbers lat, lon, h, line, sample;

  explicit Batch(std::size_t count) : lat(count), lon(count), h(count), line(count), sample(count) {
    const TRPC model(Record(), nullptr);
    for (std::size_t i = 0; i < count; ++i) {
      const Point& point = Points()[i % PointCount];
      lat[i] = point.lat;
      lon[i] = point.lon;
      h[i] = point.h;
    }
    SatCommonUtils::CalculateLineSamples(model, count, lat.data(), lon.data(), h.data(), line.data(),
                                         sample.data());
  }
  std::size_t Count() const { return lat.size(); }
};

/// How often `work`, which is for `count` points, runs a second, told as work a point.
template <class Work>
void Run(benchmark::State& state, std::size_t count, const Work& work) {
  while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(count))) work();
  state.SetItemsProcessed(state.iterations());
}

/// For the time of a measurement.
class Threads {
 public:
  explicit Threads(const benchmark::State& state) { KaSetThreadsCount(static_cast<int>(state.range(0))); }
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;
  ~Threads() { KaSetThreadsCount(0); }
};

void Forward(benchmark::State& state) {
  const Threads threads(state);
  const TRPC model(Record(), nullptr);
  Batch batch(static_cast<std::size_t>(state.range(1)));
  Run(state, batch.Count(), [&] {
    SatCommonUtils::CalculateLineSamples(model, batch.Count(), batch.lat.data(), batch.lon.data(),
                                         batch.h.data(), batch.line.data(), batch.sample.data());
  });
}
BENCHMARK(Forward)
    ->Name("Forward/kelvane/batch")
    ->Args({1, PointCount})
    ->Args({1, 1 << 20})
    ->Args({2, 1 << 20});

void ForwardDerivatives(benchmark::State& state) {
  const Threads threads(state);
  const TRPC model(Record(), nullptr);
  Batch batch(PointCount);
  Numbers by[6];
  for (Numbers& numbers : by) numbers.resize(batch.Count());
  SatCommonUtils::TRPCBatchDerivatives derivatives;
  for (std::size_t x = 0; x < 3; ++x) {
    derivatives.Line[x] = by[x].data();
    derivatives.Sample[x] = by[3 + x].data();
  }
  Run(state, batch.Count(), [&] {
    SatCommonUtils::CalculateLineSamples(model, batch.Count(), batch.lat.data(), batch.lon.data(),
                                         batch.h.data(), batch.line.data(), batch.sample.data(), derivatives);
  });
}
BENCHMARK(ForwardDerivatives)->Name("Forward/kelvane/batch_derivatives")->Arg(1);

void Inverse(benchmark::State& state) {
  const Threads threads(state);
  const TRPC model(Record(), nullptr);
  Batch batch(static_cast<std::size_t>(state.range(1)));
  Run(state, batch.Count(), [&] {
    SatCommonUtils::SolveLatLons(model, batch.Count(), batch.line.data(), batch.sample.data(), batch.h.data(),
                                 batch.lat.data(), batch.lon.data());
  });
}
BENCHMARK(Inverse)
    ->Name("Inverse/kelvane/batch")
    ->Args({1, PointCount})
    ->Args({1, 1 << 20})
    ->Args({2, 1 << 20});

/// GDAL writes its answers over the points, so these are copied first: a few nanoseconds a point are that.
void Gdal(benchmark::State& state, bool forward) {
  const auto transformer = GdalTransformer(forward ? 0.0 : 1e-6);
  Batch batch(PointCount);
  const Numbers& from_x = forward ? batch.lon : batch.sample;
  const Numbers& from_y = forward ? batch.lat : batch.line;
  Numbers x;
  Numbers y;
  Numbers z;
  std::vector<int> success(batch.Count());
  Run(state, batch.Count(), [&] {
    x = from_x;
    y = from_y;
    z = batch.h;
    GDALRPCTransform(transformer.get(), forward ? TRUE : FALSE, static_cast<int>(batch.Count()), x.data(),
                     y.data(), z.data(), success.data());
    benchmark::ClobberMemory();
  });
}
BENCHMARK_CAPTURE(Gdal, forward, true)->Name("Forward/gdal/batch");
BENCHMARK_CAPTURE(Gdal, inverse, false)->Name("Inverse/gdal/batch");

void Intersection(benchmark::State& state) {
  const Threads threads(state);
  const TRPCData data = SampleRecord("pleiades_1.xml");
  const TRPC first(data, nullptr);
  const TRPC second(SampleRecord("pleiades_2.xml"), nullptr);
  const TRPC* const models[] = {&first, &second};
  const auto count = static_cast<std::size_t>(state.range(1));
  Numbers lat(count);
  Numbers lon(count);
  Numbers h(count);
  std::mt19937_64 random(20261121);
  std::uniform_real_distribution<double> in_cube(-1.0, 1.0);
  for (std::size_t i = 0; i < count; ++i) {
    lat[i] = data.LatitudeOffset + data.LatitudeScale * in_cube(random);
    lon[i] = data.LongitudeOffset + data.LongitudeScale * in_cube(random);
    h[i] = data.HeightOffset + data.HeightScale * in_cube(random);
  }
  Numbers images[4];
  const double* lines[2];
  const double* samples[2];
  for (std::size_t m = 0; m < 2; ++m) {
    Numbers& line = images[2 * m];
    Numbers& sample = images[2 * m + 1];
    line.resize(count);
    sample.resize(count);
    SatCommonUtils::CalculateLineSamples(*models[m], count, lat.data(), lon.data(), h.data(), line.data(),
                                         sample.data());
    lines[m] = line.data();
    samples[m] = sample.data();
  }
  Run(state, count, [&] {
    SatCommonUtils::SolveLatLonHs(models, 2, count, lines, samples, lat.data(), lon.data(), h.data());
  });
}
BENCHMARK(Intersection)
    ->Name("Intersection/kelvane/batch")
    ->Args({1, PointCount})
    ->Args({1, 1 << 20})
    ->Args({2, 1 << 20});

}  // namespace
