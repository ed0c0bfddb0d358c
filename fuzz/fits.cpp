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

/// A plain model of usual size that leaves its first degree by no more than `most_bends` in its cube.
bool IsTame(const TRPC& model, const TRPCData& data, double most_bends) {
  if (dynamic_cast<const TAdjustedRPC*>(&model) != nullptr || !fuzz::IsOfUsualSize(data)) return false;
  for (const auto& set : RPCDataCoefficients) {
    const double* const terms = data.*set.Values;
    constexpr std::size_t FirstDegree = 4;
    const bool divides = set.Values == &TRPCData::LineDenom || set.Values == &TRPCData::SampleDenom;
    double bends = 0.0;
    for (std::size_t k = divides ? 1 : FirstDegree; k < TRPCData::CoefficientCount; ++k) {
      bends += std::fabs(terms[k]);
    }
    if (!(bends <= most_bends) || (divides && !(terms[0] >= 0.5))) return false;
  }
  return true;
}

/// How far a fit misses its items, in pixels.
double LargestResidual(const TRPCData& result, const TRPCData& seen_by, const TRPCEstimationDataSet& points) {
  TRPCData whole = result;
  if (!points.Normalized) {
    const TRPCResiduals residuals = CalculateResiduals(TRPC(whole, nullptr), points.Items);
    return std::max(residuals.MaxLine, residuals.MaxSample);
  }
  for (const auto& field : RPCDataFields) whole.*field.Value = seen_by.*field.Value;
  const TRPC model(whole, nullptr);
  double largest = 0.0;
  for (const TRPCEstimationDataItem& item : points.Items) {
    double at[2];
    model.CalculateLineSampleNormalized(item.Latitude, item.Longitude, item.Height, &at[0], &at[1], nullptr,
                                        nullptr);
    const double off[] = {std::fabs((at[0] - item.Line) * whole.LineScale),
                          std::fabs((at[1] - item.Sample) * whole.SampleScale)};
    largest = std::max({largest, off[0], off[1]});
  }
  return largest;
}

/// How far the inverse of a model of first degree, put back into the model, misses the image of its cube, in
/// pixels.
double LargestDetour(const TRPC& model, const TRPCData& inverse) {
  TRPCData data;
  model.GetRPCData(&data);
  const TRPC inverted(inverse, nullptr);
  double largest = 0.0;
  constexpr double Nodes[] = {-1.0, -0.5, 0.0, 0.5, 1.0};
  for (const double P : Nodes) {
    for (const double L : Nodes) {
      for (const double H : Nodes) {
        double seen[2];
        double ground[2];
        double back[2];
        model.CalculateLineSampleNormalized(P, L, H, &seen[0], &seen[1], nullptr, nullptr);
        if (!(std::fabs(seen[0]) <= 1.0 && std::fabs(seen[1]) <= 1.0)) continue;
        inverted.CalculateLineSampleNormalized(seen[0], seen[1], H, &ground[0], &ground[1], nullptr, nullptr);
        model.CalculateLineSampleNormalized(ground[0], ground[1], H, &back[0], &back[1], nullptr, nullptr);
        largest = std::max({largest, std::fabs((back[0] - seen[0]) * data.LineScale),
                            std::fabs((back[1] - seen[1]) * data.SampleScale)});
      }
    }
  }
  return largest;
}

/// Both classic fits; the controlled forms, on two threads, give the same. `seen_by` is the tame model that
/// sees the points exactly, or null.
void CheckEstimation(const TRPCEstimationDataSet& points, const TRPCData* seen_by,
                     TE_RPCEstimationSteps steps, int questions) {
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
  // Steps apart may end at one that helps no more.
  const bool ends_there = fitted && together && report.Converged && seen_by != nullptr;
  fuzz::Require(!ends_there || LargestResidual(result, *seen_by, points) <= 0.001,
                "what converges on an exact model is within a thousandth of a pixel");
  CheckCancelling(points, control, fitted, result, questions);
  fuzz::Require(!(CalculateLeastExtent(points.Items) < 0.0), "no extent is negative");
}

void CheckInverted(const TRPC& model, const TRPCData& data, int steps) {
  TRPCData result = fuzz::RecordBeforeFit();
  const bool fitted = EstimateInvertedRPC(model, &result, steps, nullptr);
  const TRPCValues values = RPCValues(result);
  const TRPCValues before = RPCValues(fuzz::RecordBeforeFit());
  fuzz::Require(fitted ? fuzz::CoefficientsAreFinite(result)
                       : fuzz::SameNumbers(values.data(), before.data(), values.size() - RPCDataFieldCount),
                "an inverse that fails leaves the coefficients");
  fuzz::Require(!fitted || steps >= 1, "a grid has steps");
  constexpr int Enough = 4;
  if (!fitted || steps < Enough || !IsTame(model, data, 0.0)) return;
  // All of the cube is seen, in an image that is more than a line.
  const auto fills = [](const double* num, const double* denom) {
    return std::fabs(num[0]) + std::fabs(num[1]) + std::fabs(num[2]) + std::fabs(num[3]) <= 0.999 * denom[0];
  };
  const double across = data.LineNum[1] * data.SampleNum[2] - data.LineNum[2] * data.SampleNum[1];
  if (!fills(data.LineNum, data.LineDenom) || !fills(data.SampleNum, data.SampleDenom)) return;
  fuzz::Require(std::fabs(across) < 0.1 * data.LineDenom[0] * data.SampleDenom[0] ||
                    LargestDetour(model, result) <= 0.001,
                "an inverse of first degree is within a thousandth of a pixel");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  TRPCData record;
  const std::unique_ptr<TRPC> model = fuzz::Model(&input, &record);
  if (!model) return 0;
  const std::size_t what = input.Choice(3);
  if (what == 2) {
    CheckInverted(*model, record, static_cast<int>(input.Choice(6)));
    return 0;
  }
  bool exact = false;
  const TRPCEstimationDataSet points = fuzz::FitPoints(*model, record, &input, &exact);
  constexpr int QuestionsOfStep = 78;
  CheckEstimation(points, exact && IsTame(*model, record, 0.1) ? &record : nullptr,
                  what == 0 ? TE_RPCEstimationSteps::Together : TE_RPCEstimationSteps::Apart,
                  input.Byte() * QuestionsOfStep / 8);
  return 0;
}
