/// \file
/// Fits that a person waits for.
#pragma once

#include <cstddef>

#include "app/interrupt.h"
#include "app/progress.h"
#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace app {

/// While it lives, a fit with its control shows its progress and ends at an interrupt. The library's
/// callbacks are bare functions: one run at a time.
class EstimationRun {
 public:
  EstimationRun(int threads, bool quiet);
  ~EstimationRun();
  EstimationRun(const EstimationRun&) = delete;
  EstimationRun& operator=(const EstimationRun&) = delete;

  SatCommonUtils::TRPCEstimationControl Control(SatCommonUtils::TE_RPCEstimationSteps steps) const;
  /// Of a fit whose steps nobody can count beforehand: no progress is shown.
  SatCommonUtils::TRPCFitOptions FitOptions() const;

 private:
  static int IsInterrupted();
  static int Cancel();

  InterruptWatch watch_;
  Progress progress_;
  int threads_;
  std::size_t calls_ = 0;
};

/// How a fit of both functions ended.
SatCommonUtils::TRPCEstimationReport EndingOf(const SatCommonUtils::TRPCFitReport& report);

/// Prints how an estimation ended.
void PrintEnding(const SatCommonUtils::TRPCEstimationReport& report);

}  // namespace app
