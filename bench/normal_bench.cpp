/// The normal matrix of many observations of 39 unknowns, as the estimation of a model makes it: the library
/// beside Eigen, each with its own layout of the same numbers.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <cstddef>
#include <random>
#include <vector>

#include "host/runtime.h"
#include "kelvane/numeric/raw_matrix.h"
#include "kelvane/numeric/raw_products.h"

namespace {

using Eigen::MatrixXd;

constexpr std::size_t Observations = 100000;
constexpr std::size_t Unknowns = 39;

int GoOn() { return 0; }

/// The numbers, row after row.
std::vector<double> Numbers() {
  std::mt19937_64 random(20261121);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> numbers(Observations * Unknowns);
  for (double& number : numbers) number = uniform(random);
  return numbers;
}

struct Design {
  double** a = SatCommonUtils::CreateMatrix(Unknowns, Observations);
  double** normal = SatCommonUtils::CreateMatrix(Unknowns, Unknowns);

  Design() {
    const std::vector<double> numbers = Numbers();
    for (std::size_t i = 0; i < numbers.size(); ++i) a[i / Unknowns][i % Unknowns] = numbers[i];
  }
  Design(const Design&) = delete;
  Design& operator=(const Design&) = delete;
  ~Design() {
    SatCommonUtils::ReleaseMatrix(a, Observations);
    SatCommonUtils::ReleaseMatrix(normal, Unknowns);
  }
};

void NormalKelvane(benchmark::State& state) {
  const Design design;
  KaSetThreadsCount(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    SatCommonUtils::CalculateNormalMatrix(design.a, Observations, Unknowns, design.normal, GoOn);
    benchmark::ClobberMemory();
  }
  KaSetThreadsCount(0);
  state.SetItemsProcessed(state.iterations() * static_cast<benchmark::IterationCount>(Observations));
}
BENCHMARK(NormalKelvane)->Name("NormalMatrix/100000x39/kelvane")->Arg(1)->Arg(2);

MatrixXd EigenDesign() {
  const std::vector<double> numbers = Numbers();
  return Eigen::Map<const Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>>(
      numbers.data(), Observations, Unknowns);
}

/// Measures a form that leaves the whole matrix in its second argument.
template <class Multiply>
void NormalEigen(benchmark::State& state, Multiply multiply) {
  const MatrixXd a = EigenDesign();
  MatrixXd normal(Unknowns, Unknowns);
  for (auto _ : state) {
    multiply(a, normal);
    benchmark::DoNotOptimize(normal.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<benchmark::IterationCount>(Observations));

  const Design design;
  SatCommonUtils::CalculateNormalMatrix(design.a, Observations, Unknowns, design.normal, GoOn);
  for (std::size_t i = 0; i < Unknowns; ++i) {
    const Eigen::Map<Eigen::RowVectorXd> row(design.normal[i], Unknowns);
    if (!(row - normal.row(static_cast<Eigen::Index>(i))).isZero(1e-8)) {
      state.SkipWithError("Eigen and Kelvane disagree");
      return;
    }
  }
}

void NormalEigenProduct(benchmark::State& state) {
  NormalEigen(state, [](const MatrixXd& a, MatrixXd& normal) { normal.noalias() = a.transpose() * a; });
}
BENCHMARK(NormalEigenProduct)->Name("NormalMatrix/100000x39/eigen/product");

void NormalEigenRankUpdate(benchmark::State& state) {
  NormalEigen(state, [](const MatrixXd& a, MatrixXd& normal) {
    normal.setZero();
    normal.selfadjointView<Eigen::Upper>().rankUpdate(a.transpose());
    normal.triangularView<Eigen::StrictlyLower>() = normal.transpose();
  });
}
/// The faster of Eigen's forms.
BENCHMARK(NormalEigenRankUpdate)->Name("NormalMatrix/100000x39/eigen/rank_update");

}  // namespace
