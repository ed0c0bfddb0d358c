/// A model fitted to points on a grid or spread through its cube: both forms of the library, and the steps of
/// the first done with Eigen.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cstddef>
#include <vector>

#include "bench/rpc_bench.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using SatCommonUtils::EstimateRPC;
using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;
using SatCommonUtils::TRPCEstimationDataItem;
using SatCommonUtils::TRPCEstimationDataSet;

/// Normalised items on a grid of `nodes` an axis.
TRPCEstimationDataSet Grid(int nodes) {
  const TRPC model(bench::Record(), nullptr);
  const auto node = [nodes](int i) { return 2.0 * i / (nodes - 1) - 1.0; };
  TRPCEstimationDataSet data;
  data.Normalized = true;
  for (int i = 0; i < nodes * nodes * nodes; ++i) {
    TRPCEstimationDataItem item{node(i % nodes), node(i / nodes % nodes), node(i / nodes / nodes), 0.0, 0.0};
    model.CalculateLineSampleNormalized(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample,
                                        nullptr, nullptr);
    data.Items.push_back(item);
  }
  return data;
}

void EstimateDense(benchmark::State& state, int nodes) {
  const TRPCEstimationDataSet data = Grid(nodes);
  TRPCData fitted;
  for (auto _ : state) {
    if (!EstimateRPC(data, &fitted)) state.SkipWithError("no fit");
    benchmark::DoNotOptimize(fitted);
  }
}
BENCHMARK_CAPTURE(EstimateDense, 1331, 11)->Name("Estimate/1331/dense")->Unit(benchmark::kMillisecond);

void EstimateRaw(benchmark::State& state, int nodes, std::size_t count) {
  TRPCEstimationDataSet data = Grid(nodes);
  data.Items.resize(count);
  TRPCData fitted;
  for (auto _ : state) {
    if (!EstimateRPC(data, &fitted, nullptr, nullptr)) state.SkipWithError("no fit");
    benchmark::DoNotOptimize(fitted);
  }
}
BENCHMARK_CAPTURE(EstimateRaw, 1331, 11, 1331)->Name("Estimate/1331/raw")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(EstimateRaw, 100000, 47, 100000)
    ->Name("Estimate/100000/raw")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

constexpr Eigen::Index Terms = 20;
constexpr Eigen::Index Unknowns = 2 * Terms - 1;

MatrixXd Monomials(const TRPCEstimationDataSet& data) {
  MatrixXd monomials(static_cast<Eigen::Index>(data.Items.size()), Terms);
  Eigen::Index row = 0;
  for (const TRPCEstimationDataItem& item : data.Items) {
    const double P = item.Latitude, L = item.Longitude, H = item.Height;
    monomials.row(row++) << 1.0, L, P, H, L * P, L * H, P * H, L * L, P * P, H * H, P * L * H, L * L * L,
        L * P * P, L * H * H, L * L * P, P * P * P, P * H * H, L * L * H, P * P * H, H * H * H;
  }
  return monomials;
}

/// Numerator and denominator of one function.
struct Function {
  VectorXd observed;
  VectorXd numerator;
  VectorXd denominator;

  void Start(const MatrixXd& monomials) {
    MatrixXd a(observed.size(), 7);
    a.leftCols<3>() = monomials.middleCols<3>(1);
    a.col(3).setOnes();
    a.rightCols<3>() = -(observed.asDiagonal() * monomials.middleCols<3>(1));
    MatrixXd normal = MatrixXd::Zero(7, 7);
    normal.selfadjointView<Eigen::Lower>().rankUpdate(a.transpose());
    const VectorXd x = normal.selfadjointView<Eigen::Lower>().llt().solve(a.transpose() * observed);
    numerator = VectorXd::Zero(Terms);
    denominator = VectorXd::Zero(Terms);
    numerator[0] = x[3];
    numerator.segment<3>(1) = x.head<3>();
    denominator[0] = 1.0;
    denominator.segment<3>(1) = x.tail<3>();
  }
  /// The largest change.
  double Step(const MatrixXd& monomials, MatrixXd* a) {
    const VectorXd inverse = (monomials * denominator).cwiseInverse();
    const VectorXd value = (monomials * numerator).cwiseProduct(inverse);
    a->leftCols<Terms>() = inverse.asDiagonal() * monomials;
    a->rightCols<Terms - 1>() = -(value.asDiagonal() * a->middleCols<Terms - 1>(1));
    MatrixXd normal = MatrixXd::Zero(Unknowns, Unknowns);
    normal.selfadjointView<Eigen::Upper>().rankUpdate(a->transpose());
    normal.triangularView<Eigen::StrictlyLower>() = normal.transpose();
    const VectorXd step = normal.partialPivLu().solve(a->transpose() * (observed - value));
    numerator += step.head<Terms>();
    denominator.tail<Terms - 1>() += step.tail<Terms - 1>();
    return step.cwiseAbs().maxCoeff();
  }
};

void EstimateEigen(benchmark::State& state) {
  constexpr double SmallestStep = 1e-11;
  const TRPCEstimationDataSet data = Grid(11);
  Function line, sample;
  const auto count = static_cast<Eigen::Index>(data.Items.size());
  for (auto _ : state) {
    line.observed.resize(count);
    sample.observed.resize(count);
    for (Eigen::Index i = 0; i < count; ++i) {
      line.observed[i] = data.Items[static_cast<std::size_t>(i)].Line;
      sample.observed[i] = data.Items[static_cast<std::size_t>(i)].Sample;
    }
    const MatrixXd monomials = Monomials(data);
    MatrixXd a(count, Unknowns);
    line.Start(monomials);
    sample.Start(monomials);
    bool moves = true;
    for (int i = 0; moves && i < SatCommonUtils::RPCEstimationMostIterations; ++i) {
      const double by_line = line.Step(monomials, &a);
      moves = std::max(by_line, sample.Step(monomials, &a)) >= SmallestStep;
    }
    benchmark::DoNotOptimize(line.numerator.data());
  }
  const MatrixXd monomials = Monomials(data);
  const VectorXd seen = (monomials * line.numerator).cwiseQuotient(monomials * line.denominator);
  if (!(seen - line.observed).isZero(1e-7)) state.SkipWithError("Eigen's fit misses its points");
}
BENCHMARK(EstimateEigen)->Name("Estimate/1331/eigen")->Unit(benchmark::kMillisecond);

}  // namespace
