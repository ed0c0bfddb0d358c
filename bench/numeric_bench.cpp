/// Dense linear algebra of the sizes that the estimation of a model needs: the library beside Eigen. Both
/// decompose and solve the same systems, one of several a call.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <cstddef>
#include <random>
#include <vector>

#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/vector.h"

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using SatCommonUtils::TMatrix;
using SatCommonUtils::TVector;

/// A power of two, so that going round costs no division.
constexpr std::size_t SystemCount = 8;

TMatrix ToMatrix(const MatrixXd& source) {
  TMatrix made(static_cast<std::size_t>(source.cols()), static_cast<std::size_t>(source.rows()));
  for (std::size_t r = 0; r < made.height; ++r) {
    for (std::size_t c = 0; c < made.width; ++c) {
      made.SetElement(c, r, source(static_cast<Eigen::Index>(r), static_cast<Eigen::Index>(c)));
    }
  }
  return made;
}

/// Systems of n equations, in the form of either side.
struct Systems {
  std::vector<MatrixXd> a;
  std::vector<VectorXd> b;
  std::vector<TMatrix> our_a;
  std::vector<TVector> our_b;

  Systems(Eigen::Index n, bool positive_definite) {
    std::mt19937_64 random(20261121);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (std::size_t s = 0; s < SystemCount; ++s) {
      const MatrixXd made = MatrixXd::NullaryExpr(n, n, [&] { return uniform(random); });
      a.push_back(positive_definite ? MatrixXd(made.transpose() * made + MatrixXd::Identity(n, n)) : made);
      b.push_back(VectorXd::NullaryExpr(n, [&] { return uniform(random); }));
      our_a.push_back(ToMatrix(a.back()));
      our_b.emplace_back(static_cast<std::size_t>(n), b.back().data());
    }
  }
};

void GaussKelvane(benchmark::State& state) {
  const Systems systems(state.range(0), false);
  TVector x(systems.our_b[0].size);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Gauss(systems.our_a[i], systems.our_b[i], x));
    i = (i + 1) % SystemCount;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(GaussKelvane)->Name("Gauss/kelvane")->Arg(39);

void GaussEigen(benchmark::State& state) {
  const Systems systems(state.range(0), false);
  Eigen::PartialPivLU<MatrixXd> lu(state.range(0));
  VectorXd x(state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    lu.compute(systems.a[i]);
    x = lu.solve(systems.b[i]);
    benchmark::DoNotOptimize(lu.determinant());
    benchmark::DoNotOptimize(x.data());
    benchmark::ClobberMemory();
    i = (i + 1) % SystemCount;
  }
  state.SetItemsProcessed(state.iterations());

  TVector ours(systems.our_b[0].size);
  Gauss(systems.our_a[0], systems.our_b[0], ours);
  const VectorXd theirs = Eigen::PartialPivLU<MatrixXd>(systems.a[0]).solve(systems.b[0]);
  if (!(Eigen::Map<VectorXd>(ours.data, state.range(0)) - theirs).isZero(1e-9)) {
    state.SkipWithError("Eigen and Kelvane disagree");
  }
}
BENCHMARK(GaussEigen)->Name("Gauss/eigen")->Arg(39);

void CholeskyKelvane(benchmark::State& state) {
  const Systems systems(state.range(0), true);
  TVector x(systems.our_b[0].size);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Cholesky(systems.our_a[i], systems.our_b[i], x));
    i = (i + 1) % SystemCount;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(CholeskyKelvane)->Name("Cholesky/kelvane")->Arg(39);

void CholeskyEigen(benchmark::State& state) {
  const Systems systems(state.range(0), true);
  Eigen::LLT<MatrixXd> llt(state.range(0));
  VectorXd x(state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    llt.compute(systems.a[i]);
    x = llt.solve(systems.b[i]);
    benchmark::DoNotOptimize(x.data());
    benchmark::ClobberMemory();
    i = (i + 1) % SystemCount;
  }
  state.SetItemsProcessed(state.iterations());

  TVector ours(systems.our_b[0].size);
  Cholesky(systems.our_a[0], systems.our_b[0], ours);
  const VectorXd theirs = systems.a[0].llt().solve(systems.b[0]);
  if (!(Eigen::Map<VectorXd>(ours.data, state.range(0)) - theirs).isZero(1e-9)) {
    state.SkipWithError("Eigen and Kelvane disagree");
  }
}
BENCHMARK(CholeskyEigen)->Name("Cholesky/eigen")->Arg(39);

void MatrixProductKelvane(benchmark::State& state) {
  const Systems systems(state.range(0), false);
  std::size_t i = 0;
  for (auto _ : state) {
    const TMatrix product = systems.our_a[i] * systems.our_a[(i + 1) % SystemCount];
    benchmark::DoNotOptimize(product.rows);
    benchmark::ClobberMemory();
    i = (i + 1) % SystemCount;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(MatrixProductKelvane)->Name("MatrixProduct/kelvane")->Arg(200);

void MatrixProductEigen(benchmark::State& state) {
  const Systems systems(state.range(0), false);
  std::size_t i = 0;
  for (auto _ : state) {
    const MatrixXd product = systems.a[i] * systems.a[(i + 1) % SystemCount];
    benchmark::DoNotOptimize(product.data());
    benchmark::ClobberMemory();
    i = (i + 1) % SystemCount;
  }
  state.SetItemsProcessed(state.iterations());

  const MatrixXd theirs = systems.a[0] * systems.a[1];
  const TMatrix ours = systems.our_a[0] * systems.our_a[1];
  for (std::size_t r = 0; r < ours.height; ++r) {
    const Eigen::Map<Eigen::RowVectorXd> row(ours.rows[r].data, state.range(0));
    if (!(row - theirs.row(static_cast<Eigen::Index>(r))).isZero(1e-9)) {
      state.SkipWithError("Eigen and Kelvane disagree");
      return;
    }
  }
}
BENCHMARK(MatrixProductEigen)->Name("MatrixProduct/eigen")->Arg(200);

}  // namespace
