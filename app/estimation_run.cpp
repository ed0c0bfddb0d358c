#include "app/estimation_run.h"

#include <algorithm>
#include <cstdio>

namespace app {

namespace {

/// Two linear solutions, and two steps in each iteration.
constexpr std::size_t MostCalls = 2 * 7 + 2 * 78 * SatCommonUtils::RPCEstimationMostIterations;

EstimationRun* current = nullptr;

}  // namespace

EstimationRun::EstimationRun(int threads, bool quiet) : progress_(MostCalls, !quiet), threads_(threads) {
  current = this;
}

EstimationRun::~EstimationRun() { current = nullptr; }

SatCommonUtils::TRPCEstimationControl EstimationRun::Control(
    SatCommonUtils::TE_RPCEstimationSteps steps) const {
  SatCommonUtils::TRPCEstimationControl control;
  control.Steps = steps;
  control.Threads = threads_;
  control.Cancel = Cancel;
  return control;
}

SatCommonUtils::TRPCFitOptions EstimationRun::FitOptions() const {
  SatCommonUtils::TRPCFitOptions options;
  options.Threads = threads_;
  options.Cancel = IsInterrupted;
  return options;
}

int EstimationRun::IsInterrupted() { return InterruptWatch::IsInterrupted() ? 1 : 0; }

int EstimationRun::Cancel() {
  current->progress_.Update(++current->calls_, 0);
  return IsInterrupted();
}

SatCommonUtils::TRPCEstimationReport EndingOf(const SatCommonUtils::TRPCFitReport& report) {
  using SatCommonUtils::TE_RPCFitEnding;
  return {
      std::max(report.Line.Iterations, report.Sample.Iterations),
      report.Line.Ending != TE_RPCFitEnding::StepLimit && report.Sample.Ending != TE_RPCFitEnding::StepLimit};
}

void PrintEnding(const SatCommonUtils::TRPCEstimationReport& report) {
  std::printf(report.Converged
                  ? "converged after %d iterations\n"
                  : "ended at the limit of %d iterations, before the coefficients came to rest\n",
              report.Iterations);
}

}  // namespace app
