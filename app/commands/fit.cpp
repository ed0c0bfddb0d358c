#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "app/commands/commands.h"
#include "app/correspondences.h"
#include "app/estimation_run.h"
#include "app/ground_points.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "app/point_source.h"
#include "app/problem.h"
#include "kelvane/geometry/longitude.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace app {

namespace {

using SatCommonUtils::TRPCEstimationDataItem;
using SatCommonUtils::TRPCEstimationDataSet;
using SatCommonUtils::TRPCEstimationReport;

struct FitOptions {
  std::string out;
  PointOptions points;
  bool json = false;
};

/// All in the turn of the first: a scene may lie across the 180th meridian.
TRPCEstimationDataSet InOneTurn(std::vector<TRPCEstimationDataItem> items) {
  TRPCEstimationDataSet data;
  data.Items = std::move(items);
  for (TRPCEstimationDataItem& item : data.Items) {
    item.Longitude = SatCommonUtils::InTurnOf(data.Items[0].Longitude, item.Longitude);
  }
  return data;
}

/// Whether the ground points lie in a plane or on a line, so that nothing is known of a model beside it.
bool IsFlat(const TRPCEstimationDataSet& data) {
  constexpr double LeastExtent = 0.01;
  return data.Items.size() >= SatCommonUtils::RPCEstimationLeastItems &&
         SatCommonUtils::CalculateLeastExtent(data.Items) < LeastExtent;
}

/// Why no model came out.
std::string WhyNot(const TRPCEstimationDataSet& data) {
  using SatCommonUtils::RPCEstimationLeastItems;
  if (InterruptWatch::IsInterrupted()) return "interrupted; nothing is written";
  if (data.Items.size() < RPCEstimationLeastItems) {
    return std::to_string(data.Items.size()) + " points; a model needs at least " +
           std::to_string(RPCEstimationLeastItems);
  }
  const struct {
    const char* name;
    double TRPCEstimationDataItem::*value;
  } Fields[] = {{"latitude", &TRPCEstimationDataItem::Latitude},
                {"longitude", &TRPCEstimationDataItem::Longitude},
                {"height", &TRPCEstimationDataItem::Height},
                {"line", &TRPCEstimationDataItem::Line},
                {"sample", &TRPCEstimationDataItem::Sample}};
  for (const auto& field : Fields) {
    const double first = data.Items[0].*field.value;
    if (std::all_of(data.Items.begin(), data.Items.end(),
                    [&](const TRPCEstimationDataItem& item) { return item.*field.value == first; })) {
      return std::string("all points have the same ") + field.name;
    }
  }
  if (IsFlat(data)) {
    return "the points lie in a plane or on a line; a model needs points above and below each other";
  }
  return "the points do not determine a model: too few of them differ, or one is grossly wrong";
}

ModelFile Fit(const TRPCEstimationDataSet& data, const FitOptions& options, TRPCEstimationReport* report) {
  const EstimationRun run(options.points.threads, options.points.quiet);
  const auto control = run.Control(SatCommonUtils::TE_RPCEstimationSteps::Together);
  ModelFile fitted;
  // Also after the last time that the library asked.
  const auto estimate = [&] {
    return EstimateRPC(data, &fitted.data, control, report) && !InterruptWatch::IsInterrupted();
  };
  if (IsFlat(data) || !estimate()) {
    throw Problem(PointSource::NameOf(options.points.path) + ": no model: " + WhyNot(data));
  }
  // The same model, with longitudes as they are given out.
  fitted.data.LongitudeOffset = SatCommonUtils::WithinHalfTurn(fitted.data.LongitudeOffset);
  fitted.format = ModelFormat::Xml;
  fitted.model = std::make_unique<SatCommonUtils::TRPC>(fitted.data, nullptr);
  return fitted;
}

int RunFit(const FitOptions& options) {
  Correspondences read = ReadCorrespondences(options.points);
  TRPCEstimationDataSet data = InOneTurn(std::move(read.items));
  TRPCEstimationReport estimation;
  const ModelFile fitted = Fit(data, options, &estimation);
  const WrittenModel written = WriteModelFile(fitted, options.out);
  for (TRPCEstimationDataItem& item : data.Items) item.Longitude = InModelsTurn(item.Longitude, fitted.data);
  const SatCommonUtils::TRPCResiduals residuals = CalculateResiduals(*written.model, data.Items);
  if (options.json) {
    nlohmann::ordered_json report;
    report["points"] = data.Items.size();
    report["rmsLine"] = residuals.RmsLine;
    report["rmsSample"] = residuals.RmsSample;
    report["maxResidual"] = std::max(residuals.MaxLine, residuals.MaxSample);
    report["maxResidualLine"] = residuals.MaxLine;
    report["maxResidualSample"] = residuals.MaxSample;
    report["iterations"] = estimation.Iterations;
    report["converged"] = estimation.Converged;
    report["rounded"] = written.rounded;
    report["maxDifference"] = written.max_difference;
    PrintJson(report);
  } else if (!options.points.quiet) {
    std::printf("%zu points\nline:   rms %.3g, at most %.3g pixels\nsample: rms %.3g, at most %.3g pixels\n",
                data.Items.size(), residuals.RmsLine, residuals.MaxLine, residuals.RmsSample,
                residuals.MaxSample);
    PrintEnding(estimation);
    PrintWritten(written, options.out);
  }
  return read.bad == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddFitCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command =
      program->add_subcommand("fit", "A model from points: lat lon h line sample, one point a line");
  const auto options = std::make_shared<FitOptions>();
  AddPointInputOptions(command, &options->points);
  AddOutputOption(command, &options->out);
  AddJsonOption(command, &options->json);
  command->callback([=] { *chosen = [=] { return RunFit(*options); }; });
}

}  // namespace app
