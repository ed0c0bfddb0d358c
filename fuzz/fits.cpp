/// Both classic fits to any points, and models inverted: refused with the outputs as promised, or finite and
/// the same by every way.
#include <memory>

#include "fuzz/fits.h"

namespace {

using namespace SatCommonUtils;

/// Both classic fits; the controlled forms, on two threads, give the same.
void CheckEstimation(const TRPCEstimationDataSet& points, TE_RPCEstimationSteps steps) {
  TRPCData result = fuzz::RecordBeforeFit();
  const bool together = steps == TE_RPCEstimationSteps::Together;
  const bool fitted =
      together ? EstimateRPC(points, &result) : EstimateRPC(points, &result, nullptr, nullptr);
  fuzz::CheckFitOutcome(fitted, result, points.Normalized);
  fuzz::Require(!fitted || points.Items.size() >= RPCEstimationLeastItems, "too few items are refused");

  TRPCData again = fuzz::RecordBeforeFit();
  TRPCEstimationControl control;
  control.Steps = steps;
  control.Threads = 2;
  TRPCEstimationReport report;
  fuzz::Require(EstimateRPC(points, &again, control, &report) == fitted && fuzz::SameRecord(again, result),
                "the controlled form gives the same");
  fuzz::Require(report.Iterations <= RPCEstimationMostIterations, "iterations are counted");
}

void CheckInverted(const TRPC& model, int steps) {
  TRPCData result = fuzz::RecordBeforeFit();
  const bool fitted = EstimateInvertedRPC(model, &result, steps, nullptr);
  const TRPCValues values = RPCValues(result);
  const TRPCValues before = RPCValues(fuzz::RecordBeforeFit());
  fuzz::Require(fitted ? fuzz::CoefficientsAreFinite(result)
                       : fuzz::SameNumbers(values.data(), before.data(), values.size() - RPCDataFieldCount),
                "an inverse that fails leaves the coefficients");
  fuzz::Require(!fitted || steps >= 1, "a grid has steps");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  TRPCData record;
  const std::unique_ptr<TRPC> model = fuzz::Model(&input, &record);
  if (!model) return 0;
  switch (input.Choice(3)) {
    case 0:
      CheckEstimation(fuzz::FitPoints(*model, record, &input), TE_RPCEstimationSteps::Together);
      break;
    case 1:
      CheckEstimation(fuzz::FitPoints(*model, record, &input), TE_RPCEstimationSteps::Apart);
      break;
    default:
      CheckInverted(*model, static_cast<int>(input.Choice(6)));
  }
  return 0;
}
