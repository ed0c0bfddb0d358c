/// Models fitted to any points, and models inverted: refused with the outputs as promised, or finite, the
/// same by every way, and as good as the report says.
#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz/fuzzing.h"
#include "fuzz/models.h"
#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc_estimation.h"
#include "kelvane/rpc/rpc_polynomials.h"

namespace {

using namespace SatCommonUtils;

bool Same(const TRPCData& a, const TRPCData& b) {
  return fuzz::SameNumbers(RPCValues(a).data(), RPCValues(b).data(), RPCValues(a).size());
}

bool CoefficientsAreFinite(const TRPCData& data) {
  return std::all_of(std::begin(RPCDataCoefficients), std::end(RPCDataCoefficients), [&](const auto& set) {
    return std::all_of(data.*set.Values, data.*set.Values + TRPCData::CoefficientCount,
                       [](double value) { return std::isfinite(value); });
  });
}

/// A grid that a model sees, with noise and blunders; or, once in a while, places without any order.
TRPCEstimationDataSet Points(const TRPC& model, const TRPCData& data, fuzz::TInput* input) {
  TRPCEstimationDataSet set;
  set.Normalized = input->Choice(4) == 1;
  const std::size_t nodes[] = {input->Choice(5) + 1, input->Choice(5) + 1, input->Choice(5) + 1};
  const double noise = input->Bool() ? input->Number() : 0.0;
  const auto place = [&](std::size_t i, std::size_t axis) {
    return nodes[axis] == 1 ? 0.0 : 2.0 * static_cast<double>(i) / static_cast<double>(nodes[axis] - 1) - 1.0;
  };
  for (std::size_t i = 0; i < nodes[0] * nodes[1] * nodes[2]; ++i) {
    TRPCEstimationDataItem item;
    const double P = place(i % nodes[0], 0);
    const double L = place(i / nodes[0] % nodes[1], 1);
    const double H = place(i / nodes[0] / nodes[1], 2);
    item = {P, L, H, 0.0, 0.0};
    if (set.Normalized) {
      model.CalculateLineSampleNormalized(P, L, H, &item.Line, &item.Sample, nullptr, nullptr);
    } else {
      item.Latitude = data.LatitudeOffset + P * data.LatitudeScale;
      item.Longitude = data.LongitudeOffset + L * data.LongitudeScale;
      item.Height = data.HeightOffset + H * data.HeightScale;
      model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample, nullptr,
                                nullptr);
    }
    item.Line += noise * std::sin(static_cast<double>(7 * i));
    item.Sample += noise * std::cos(static_cast<double>(5 * i));
    set.Items.push_back(item);
  }
  for (std::size_t changes = input->Choice(8); changes > 0; --changes) {
    TRPCEstimationDataItem& item = set.Items[input->Byte() % set.Items.size()];
    double* const fields[] = {&item.Latitude, &item.Longitude, &item.Height, &item.Line, &item.Sample};
    double& field = *fields[input->Choice(std::size(fields))];
    field = input->Bool() ? field + input->Number() : input->Number();
  }
  return set;
}

/// The record that a fit is to leave or to replace.
TRPCData Before() { return test::NumberedRecord(); }

/// A result, or what was there before.
void CheckOutcome(bool fitted, const TRPCData& result, bool normalized) {
  if (!fitted) {
    fuzz::Require(Same(result, Before()), "a fit that fails leaves the record");
    return;
  }
  fuzz::Require(CoefficientsAreFinite(result), "coefficients are finite");
  fuzz::Require(result.LineDenom[0] == 1.0 && result.SampleDenom[0] == 1.0, "denominators begin with 1");
  if (!normalized) return;
  for (const TRPCDataField& field : RPCDataFields) {
    fuzz::Require(result.*field.Value == Before().*field.Value, "normalised items leave offsets and scales");
  }
}

/// Both classic fits; the controlled forms, on two threads, give the same.
void CheckEstimation(const TRPCEstimationDataSet& points, TE_RPCEstimationSteps steps) {
  TRPCData result = Before();
  const bool together = steps == TE_RPCEstimationSteps::Together;
  const bool fitted =
      together ? EstimateRPC(points, &result) : EstimateRPC(points, &result, nullptr, nullptr);
  CheckOutcome(fitted, result, points.Normalized);
  fuzz::Require(!fitted || points.Items.size() >= RPCEstimationLeastItems, "too few items are refused");

  TRPCData again = Before();
  TRPCEstimationControl control;
  control.Steps = steps;
  control.Threads = 2;
  TRPCEstimationReport report;
  fuzz::Require(EstimateRPC(points, &again, control, &report) == fitted && Same(again, result),
                "the controlled form gives the same");
  fuzz::Require(report.Iterations <= RPCEstimationMostIterations, "iterations are counted");
}

TRPCFitOptions Options(fuzz::TInput* input) {
  TRPCFitOptions options;
  options.MaxDegree = static_cast<int>(input->Choice(5));
  options.Regularize = input->Bool();
  options.CommonDenominator = input->Bool();
  options.Weights = static_cast<TE_RPCFitWeights>(input->Choice(3));
  options.Threads = static_cast<int>(input->Choice(3));
  return options;
}

void CheckReport(bool fitted, const TRPCFitReport& report, const TRPCFitOptions& options) {
  fuzz::Require(!report.Text.empty(), "a verdict has words");
  fuzz::Require(fitted == (report.Verdict != TE_RPCFitVerdict::NoModel),
                "the verdict says whether there is one");
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
    return std::fabs(a - b) <= 1e-6 * std::fabs(a) + 1e-9 * std::fabs(scale);
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
  TRPCData result = Before();
  TRPCFitReport report;
  const bool fitted = FitRPC(points, options, &result, &report);
  CheckOutcome(fitted, result, points.Normalized);
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
  TRPCData result = Before();
  const bool estimated = EstimateInvertedRPC(model, &result, steps, nullptr);
  fuzz::Require(estimated ? CoefficientsAreFinite(result)
                          : fuzz::SameNumbers(RPCValues(result).data(), RPCValues(Before()).data(),
                                              4 * TRPCData::CoefficientCount),
                "an inverse that fails leaves the coefficients");
  result = Before();
  TRPCFitReport report;
  const bool fitted = FitInvertedRPC(model, steps, options, &result, &report);
  CheckOutcome(fitted, result, false);
  CheckReport(fitted, report, options);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  TRPCData record;
  const std::unique_ptr<TRPC> model = fuzz::Model(&input, &record);
  if (!model) return 0;
  const std::size_t what = input.Choice(4);
  const TRPCFitOptions options = Options(&input);
  if (what == 3) {
    CheckInverted(*model, options, static_cast<int>(input.Choice(6)));
    return 0;
  }
  const TRPCEstimationDataSet points = Points(*model, record, &input);
  if (what == 0) CheckEstimation(points, TE_RPCEstimationSteps::Together);
  if (what == 1) CheckEstimation(points, TE_RPCEstimationSteps::Apart);
  if (what == 2) CheckFit(points, options);
  return 0;
}
