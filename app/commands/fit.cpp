#include <memory>

#include "app/commands/commands.h"
#include "app/correspondences.h"
#include "app/estimation_run.h"
#include "app/fit_report.h"
#include "app/ground_points.h"
#include "app/point_source.h"
#include "app/problem.h"
#include "app/residual_plot.h"
#include "kelvane/geometry/longitude.h"
#include "kelvane/rpc/robust_estimation.h"

namespace app {

namespace {

using SatCommonUtils::TRPCEstimationDataItem;
using SatCommonUtils::TRPCEstimationDataSet;

struct FitOptions {
  std::string out;
  PointOptions points;
  bool classic = false;
  SatCommonUtils::TE_RPCFitWeights weights = SatCommonUtils::TE_RPCFitWeights::Tukey;
  int degree = 3;
  bool common_denominator = false;
  std::string plot;
  bool json = false;
};

/// All in the turn of the first: a scene may lie across the 180th meridian.
TRPCEstimationDataSet InOneTurn(const std::vector<TRPCEstimationDataItem>& items) {
  TRPCEstimationDataSet data;
  data.Items = items;
  for (TRPCEstimationDataItem& item : data.Items) {
    item.Longitude = SatCommonUtils::InTurnOf(data.Items[0].Longitude, item.Longitude);
  }
  return data;
}

SatCommonUtils::TE_RPCFitWeights WeightsNamed(const std::string& name) {
  using SatCommonUtils::TE_RPCFitWeights;
  if (name == "equal") return TE_RPCFitWeights::Equal;
  return name == "huber" ? TE_RPCFitWeights::Huber : TE_RPCFitWeights::Tukey;
}

bool FitClassically(const TRPCEstimationDataSet& data, const EstimationRun& run, FittedModel* fitted) {
  fitted->report.Text = SatCommonUtils::WhyNoFit(data.Items);
  if (!fitted->report.Text.empty()) return false;
  const auto control = run.Control(SatCommonUtils::TE_RPCEstimationSteps::Together);
  if (EstimateRPC(data, &fitted->file.data, control, &fitted->estimation)) return true;
  fitted->report.Text =
      "the points do not determine a model: too few of them differ, or one is grossly wrong";
  return false;
}

FittedModel Fit(const TRPCEstimationDataSet& data, const FitOptions& options) {
  const EstimationRun run(options.points.threads, options.points.quiet);
  FittedModel fitted;
  fitted.classic = options.classic;
  SatCommonUtils::TRPCFitOptions fit = run.FitOptions();
  fit.Weights = options.weights;
  fit.MaxDegree = options.degree;
  fit.CommonDenominator = options.common_denominator;
  ModelFile& file = fitted.file;
  const bool found =
      options.classic ? FitClassically(data, run, &fitted) : FitRPC(data, fit, &file.data, &fitted.report);
  // Also after the last time that the library asked.
  if (InterruptWatch::IsInterrupted()) fitted.report.Text = "interrupted; nothing is written";
  if (!found || InterruptWatch::IsInterrupted())
    throw Problem(PointSource::NameOf(options.points.path) + ": no model: " + fitted.report.Text);
  // The same model, with longitudes as they are given out.
  file.data.LongitudeOffset = SatCommonUtils::WithinHalfTurn(file.data.LongitudeOffset);
  file.format = ModelFormat::Xml;
  file.model = std::make_unique<SatCommonUtils::TRPC>(file.data, nullptr);
  return fitted;
}

/// All points, down-weighted ones too: they are what a person looks for.
void Plot(const SatCommonUtils::TRPC& model, const Correspondences& points, const std::string& path) {
  std::vector<ResidualVector> residuals;
  for (const TRPCEstimationDataItem& item : points.items) {
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &line, &sample, nullptr, nullptr);
    residuals.push_back({item.Line, item.Sample, item.Line - line, item.Sample - sample});
  }
  PlotResiduals(path, "points against the fitted model", residuals);
}

int RunFit(const FitOptions& options) {
  CheckPlotPath(options.plot);
  for (const std::string& output : {options.out, options.plot})
    PointSource::KeepFrom(options.points.path, output);
  Correspondences read = ReadCorrespondences(options.points);
  const FittedModel fitted = Fit(InOneTurn(read.items), options);
  const WrittenModel written = WriteModelFile(fitted.file, options.out);
  for (TRPCEstimationDataItem& item : read.items)
    item.Longitude = InModelsTurn(item.Longitude, fitted.file.data);
  if (!options.points.quiet) TellDownWeighted(fitted, read, PointSource::NameOf(options.points.path));
  TellDoubts(fitted, options.out);
  if (options.json) {
    PrintFitAsJson(fitted, read, written);
  } else if (!options.points.quiet) {
    PrintFit(fitted, read, written, options.out);
  }
  if (!options.plot.empty()) Plot(*written.model, read, options.plot);
  return read.bad == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddFitCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command =
      program->add_subcommand("fit", "A model from points: lat lon h line sample, one point a line");
  const auto options = std::make_shared<FitOptions>();
  AddPointInputOptions(command, &options->points);
  AddOutputOption(command, &options->out);
  command
      ->add_option_function<std::string>(
          "--method", [o = options.get()](const std::string& method) { o->classic = method == "classic"; },
          "The fit with a verdict, or Gauss-Newton on the normal equations; default robust")
      ->check(CLI::IsMember({"robust", "classic"}).description(""))
      ->type_name("robust|classic");
  command
      ->add_option_function<std::string>(
          "--weights",
          [o = options.get()](const std::string& weights) { o->weights = WeightsNamed(weights); },
          "Of the robust fit: weights against blunders; default tukey")
      ->check(CLI::IsMember({"equal", "huber", "tukey"}).description(""))
      ->type_name("equal|huber|tukey");
  command->add_option("--order", options->degree, "Of the robust fit: the highest order to try; default 3")
      ->check(CLI::Range(1, 3).description(""))
      ->type_name("N");
  command->add_flag("--common-denominator", options->common_denominator,
                    "Of the robust fit: line and sample share their denominator");
  AddPlotOption(command, &options->plot);
  AddJsonOption(command, &options->json);
  command->callback([=] { *chosen = [=] { return RunFit(*options); }; });
}

}  // namespace app
