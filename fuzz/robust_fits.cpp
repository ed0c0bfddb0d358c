/// The fit that reports, to any points: refused with a reason, or as good as the report says.
#include <memory>

#include "fuzz/fits.h"
#include "kelvane/rpc/robust_estimation.h"

namespace {

using namespace SatCommonUtils;

/// How often a fit may ask before it is cancelled.
int questions_left = 0;

int Cancel() { return --questions_left < 0 ? 1 : 0; }

TRPCFitOptions Options(fuzz::TInput* input) {
  TRPCFitOptions options;
  options.MaxDegree = static_cast<int>(input->Choice(5));
  options.Regularize = input->Bool();
  options.CommonDenominator = input->Bool();
  options.Weights = static_cast<TE_RPCFitWeights>(input->Choice(3));
  const int how = input->Byte();
  options.Threads = how % 3;
  questions_left = 4 * (how - 128);
  if (how >= 128) options.Cancel = Cancel;
  return options;
}

void CheckReport(bool fitted, const TRPCFitReport& report, const TRPCFitOptions& options) {
  fuzz::Require(!report.Text.empty(), "a verdict has words");
  fuzz::Require(fitted == (report.Verdict != TE_RPCFitVerdict::NoModel),
                "the verdict says whether there is one");
  fuzz::Require(!fitted || options.Cancel == nullptr || questions_left >= 0, "a cancelled fit is none");
  if (!fitted) return;
  fuzz::Require(options.MaxDegree >= 1 && options.MaxDegree <= 3, "a degree that there is not is refused");
  for (const TRPCFitFunction* function : {&report.Line, &report.Sample}) {
    fuzz::Require(function->Degree >= 1 && function->Degree <= options.MaxDegree,
                  "no degree above that allowed");
  }
  std::size_t previous = 0;
  for (const TRPCFitDownWeighted& point : report.DownWeighted) {
    fuzz::Require(point.Item < report.Points && (previous == 0 || point.Item > previous), "points in order");
    fuzz::Require(point.LineWeight < RPCFitLeastWeight || point.SampleWeight < RPCFitLeastWeight,
                  "a point that is told has little weight");
    previous = point.Item;
  }
}

/// Where no point has lost its weight, the report's residuals are the model's.
void CheckResiduals(const TRPCFitReport& report, const TRPCData& result,
                    const TRPCEstimationDataSet& points) {
  if (points.Normalized || !report.DownWeighted.empty()) return;
  const TRPC model(result, nullptr);
  const TRPCResiduals residuals = CalculateResiduals(model, points.Items);
  const auto same = [](double a, double b, double scale) {
    // Squares may leave the range of a double in one of the two only.
    return std::fabs(a) > 1e150 || std::fabs(a - b) <= 1e-6 * std::fabs(a) + 1e-9 * std::fabs(scale);
  };
  fuzz::Require(same(report.Line.Rms, residuals.RmsLine, result.LineScale) &&
                    same(report.Line.Max, residuals.MaxLine, result.LineScale) &&
                    same(report.Sample.Rms, residuals.RmsSample, result.SampleScale) &&
                    same(report.Sample.Max, residuals.MaxSample, result.SampleScale),
                "the residuals are those of the model");
}

/// No pole at a point, whatever the points.
void CheckDenominators(const TRPCData& result, const TRPCEstimationDataSet& points) {
  constexpr double Least = 0.0099;  // 0.01 but for rounding
  for (const TRPCEstimationDataItem& item : points.Items) {
    double at[] = {item.Latitude, item.Longitude, item.Height};
    if (!points.Normalized) {
      at[0] = (at[0] - result.LatitudeOffset) / result.LatitudeScale;
      at[1] = (at[1] - result.LongitudeOffset) / result.LongitudeScale;
      at[2] = (at[2] - result.HeightOffset) / result.HeightScale;
    }
    const long double line = test::Polynomial(result.LineDenom, at[0], at[1], at[2]);
    const long double sample = test::Polynomial(result.SampleDenom, at[0], at[1], at[2]);
    fuzz::Require(line >= Least && sample >= Least, "denominators stay away from zero");
  }
}

void CheckFit(const TRPCEstimationDataSet& points, const TRPCFitOptions& options) {
  TRPCData result = fuzz::RecordBeforeFit();
  TRPCFitReport report;
  const bool fitted = FitRPC(points, options, &result, &report);
  fuzz::CheckFitOutcome(fitted, result, points.Normalized);
  CheckReport(fitted, report, options);
  fuzz::Require(report.Points == points.Items.size(), "points are counted");
  if (!fitted) return;
  CheckResiduals(report, result, points);
  CheckDenominators(result, points);
  if (options.CommonDenominator) {
    fuzz::Require(fuzz::SameNumbers(result.LineDenom, result.SampleDenom, TRPCData::CoefficientCount),
                  "a common denominator is one");
  }
}

void CheckInverted(const TRPC& model, const TRPCFitOptions& options, int steps) {
  TRPCData result = fuzz::RecordBeforeFit();
  TRPCFitReport report;
  const bool fitted = FitInvertedRPC(model, steps, options, &result, &report);
  fuzz::CheckFitOutcome(fitted, result, false);
  CheckReport(fitted, report, options);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  TRPCData record;
  const std::unique_ptr<TRPC> model = fuzz::Model(&input, &record);
  if (!model) return 0;
  const TRPCFitOptions options = Options(&input);
  if (input.Choice(8) == 7) {
    CheckInverted(*model, options, static_cast<int>(input.Choice(5)));
  } else {
    CheckFit(fuzz::FitPoints(*model, record, &input, nullptr), options);
  }
  return 0;
}
