/// Both classic fits to any points, and models inverted: refused with the outputs as promised, or finite and
/// the same by every way.
#include <memory>

#include "fuzz/fits.h"

namespace {

using namespace SatCommonUtils;

/// How often a fit may ask before it is cancelled.
int questions_left = 0;
int announced = 0;

int Cancel() { return --questions_left < 0 ? 1 : 0; }
void Announce(int questions) { announced += questions; }

/// A fit that is cancelled leaves the record; one that is not is none the worse for being asked.
void CheckCancelling(const TRPCEstimationDataSet& points, const TRPCEstimationControl& control, bool fitted,
                     const TRPCData& result, int questions) {
  TRPCData again = fuzz::RecordBeforeFit();
  TRPCEstimationControl asking = control;
  asking.Progress = Announce;
  asking.Cancel = Cancel;
  questions_left = questions;
  announced = 0;
  TRPCEstimationReport report;
  const bool fitted_again = EstimateRPC(points, &again, asking, &report);
  const bool cancelled = questions_left < 0;
  fuzz::Require(fitted_again == (fitted && !cancelled), "a cancelled fit is none");
  fuzz::Require(fuzz::SameRecord(again, fitted_again ? result : fuzz::RecordBeforeFit()),
                "a cancelled fit leaves the record");
  fuzz::Require(!fitted_again || announced == questions - questions_left, "questions are announced");
}

/// Both classic fits; the controlled forms, on two threads, give the same.
void CheckEstimation(const TRPCEstimationDataSet& points, TE_RPCEstimationSteps steps, int questions) {
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
  CheckCancelling(points, control, fitted, result, questions);
  fuzz::Require(!(CalculateLeastExtent(points.Items) < 0.0), "no extent is negative");
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
  const std::size_t what = input.Choice(3);
  if (what == 2) {
    CheckInverted(*model, static_cast<int>(input.Choice(6)));
    return 0;
  }
  const TRPCEstimationDataSet points = fuzz::FitPoints(*model, record, &input);
  constexpr int QuestionsOfStep = 78;
  CheckEstimation(points, what == 0 ? TE_RPCEstimationSteps::Together : TE_RPCEstimationSteps::Apart,
                  input.Byte() * QuestionsOfStep / 8);
  return 0;
}
