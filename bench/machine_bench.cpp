/// What the machine gives to two threads that share nothing, not even memory: two processors that others use
/// too, or that share their units, are no two. The ratios of threads are to be read beside it.
#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

constexpr int Steps = 1 << 20;

/// Multiplications and additions that keep a processor's units busy.
void Calculate(int steps) {
  constexpr int Chains = 24;
  double x[Chains];
  std::fill_n(x, Chains, 1.5);
  benchmark::DoNotOptimize(x);
  for (int i = 0; i < steps; ++i) {
    for (double& value : x) value = value * 0.75 + 0.25;
  }
  benchmark::DoNotOptimize(x);
}

/// The same work in equal shares.
void Machine(benchmark::State& state) {
  const int threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
#pragma omp parallel num_threads(threads)
    Calculate(Steps / threads);
  }
}
BENCHMARK(Machine)->Name("Machine/threads")->Arg(1)->Arg(2);

}  // namespace
