#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "app/commands/commands.h"
#include "app/correspondences.h"
#include "app/ground_points.h"
#include "app/json_report.h"
#include "app/line_problems.h"
#include "app/model_writing.h"
#include "app/number_format.h"
#include "app/point_source.h"
#include "app/problem.h"
#include "app/residual_plot.h"
#include "kelvane/rpc/refinement_estimation.h"

namespace app {

namespace {

using SatCommonUtils::TRefinementEstimate;
using SatCommonUtils::TRPCEstimationDataItem;

struct RefineOptions {
  std::string model;
  std::string out;
  bool affine = false;
  PointOptions points;
  std::string plot;
  bool json = false;
};

TRefinementEstimate Estimate(const SatCommonUtils::TRPC& model, const Correspondences& read,
                             const RefineOptions& options) {
  using SatCommonUtils::TE_RefinementKind;
  TRefinementEstimate estimate;
  const auto kind = options.affine ? TE_RefinementKind::Affine : TE_RefinementKind::Shift;
  if (!EstimateRefinement(model, read.items, kind, &estimate)) {
    throw Problem(PointSource::NameOf(options.points.path) + ": no refinement: " + estimate.Problem);
  }
  return estimate;
}

/// The points that the refinement was fitted to.
std::vector<TRPCEstimationDataItem> Kept(const Correspondences& read, const TRefinementEstimate& estimate) {
  std::vector<TRPCEstimationDataItem> kept;
  for (std::size_t i = 0; i < read.items.size(); ++i) {
    if (!estimate.Points[i].Rejected) kept.push_back(read.items[i]);
  }
  return kept;
}

void TellRejected(const Correspondences& read, const TRefinementEstimate& estimate,
                  const PointOptions& options) {
  LineProblems problems(PointSource::NameOf(options.path));
  for (std::size_t i = 0; i < estimate.Points.size() && !options.quiet; ++i) {
    const auto& point = estimate.Points[i];
    if (!point.Rejected || !problems.TellsMore()) continue;
    char text[96];
    std::snprintf(text, sizeof text, "rejected: %.3g lines and %.3g samples from where it should be seen",
                  point.Line, point.Sample);
    problems.Tell(read.lines[i], text);
  }
  if (!options.quiet) {
    problems.TellCount(read.items.size() - estimate.Kept, read.items.size(), "are rejected");
  }
}

/// What the report's small residuals do not tell.
void TellDoubts(const TRefinementEstimate& estimate, const RefineOptions& options) {
  std::vector<std::string> remarks;
  const std::string source = PointSource::NameOf(options.points.path);
  if (estimate.MostBlunders == 0)
    remarks.push_back(source + ": so few points that no wrong one would be noticed");
  if (options.affine && estimate.Spread < SatCommonUtils::RefinementGoodSpread) {
    remarks.push_back(source + ": the points lie close to a line; away from it the refinement is a guess");
  }
  PrintRemarks(remarks, options.points.quiet);
}

void Report(const Correspondences& read, const TRefinementEstimate& estimate,
            const SatCommonUtils::TRPCResiduals& residuals, const WrittenModel& written,
            const RefineOptions& options) {
  const double largest = std::max(residuals.MaxLine, residuals.MaxSample);
  if (options.json) {
    nlohmann::ordered_json report;
    report["kind"] = options.affine ? "affine" : "shift";
    report["points"] = read.items.size();
    report["rejected"] = nlohmann::json::array();
    for (std::size_t i = 0; i < read.items.size(); ++i) {
      if (estimate.Points[i].Rejected) report["rejected"].push_back(read.lines[i]);
    }
    report["rmsLine"] = residuals.RmsLine;
    report["rmsSample"] = residuals.RmsSample;
    report["maxResidual"] = largest;
    report["rmsBefore"] = estimate.RmsBefore;
    report["rmsAfter"] = estimate.RmsAfter;
    for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
      report["Refinement"][field.Key] = estimate.Refinement.*field.Value;
      report["Deviations"][field.Key] = estimate.Deviations.*field.Value;
    }
    PrintJson(report);
  } else if (!options.points.quiet) {
    std::printf("%zu points, %zu of them rejected\n", read.items.size(), read.items.size() - estimate.Kept);
    std::printf("before: rms %.3g pixels\nafter:  rms %.3g pixels (line %.3g, sample %.3g), at most %.3g\n",
                estimate.RmsBefore, estimate.RmsAfter, residuals.RmsLine, residuals.RmsSample, largest);
    for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
      const double deviation = estimate.Deviations.*field.Value;
      std::printf("  %-12s %s", field.Key, ShortestNumber(estimate.Refinement.*field.Value).c_str());
      // Coefficients that were not estimated have none, nor do those of points without redundancy.
      if (deviation > 0.0) std::printf(" +- %.2g", deviation);
      std::printf("\n");
    }
    PrintWritten(written, options.out);
  }
}

/// The control points whose ground the model may know; of the others standard error says why not, and they
/// count as bad.
Correspondences WithinReach(Correspondences read, const ModelFile& file, const RefineOptions& options) {
  LineProblems problems(PointSource::NameOf(options.points.path));
  Correspondences reached;
  for (std::size_t i = 0; i < read.items.size(); ++i) {
    TRPCEstimationDataItem item = read.items[i];
    item.Longitude = InModelsTurn(item.Longitude, file.data);
    if (const char* const why = OutOfReach(item.Latitude, item.Longitude, item.Height, file.data)) {
      problems.Tell(read.lines[i], why);
      continue;
    }
    reached.items.push_back(item);
    reached.lines.push_back(read.lines[i]);
  }
  const std::size_t bad = read.items.size() - reached.items.size();
  problems.TellCount(bad, read.items.size(), "are left out");
  reached.bad = read.bad + bad;
  return reached;
}

void Plot(const Correspondences& read, const TRefinementEstimate& estimate, const std::string& path) {
  std::vector<ResidualVector> residuals;
  for (std::size_t i = 0; i < read.items.size(); ++i) {
    const auto& point = estimate.Points[i];
    if (point.Rejected) continue;
    residuals.push_back({read.items[i].Line, read.items[i].Sample, point.Line, point.Sample});
  }
  PlotResiduals(path, "control points that were kept, against the refined model", residuals);
}

int Refine(const RefineOptions& options) {
  CheckPlotPath(options.plot);
  for (const std::string& output : {options.out, options.plot})
    PointSource::KeepFrom(options.points.path, output);
  if (FormatOfSuffix(options.out) != ModelFormat::Xml) {
    throw Problem(options.out +
                  ": a refined model is written as .xml; \"kelvane export\" makes a plain one of it");
  }
  ModelFile file = ReadModelFile(options.model);
  UsableModel(file);
  if (file.refinement) file.remarks.push_back(file.path + ": its former refinement is replaced");
  PrintRemarks(file.remarks, options.points.quiet);
  const Correspondences read = WithinReach(ReadCorrespondences(options.points), file, options);
  const TRefinementEstimate estimate = Estimate(SatCommonUtils::TRPC(file.data, nullptr), read, options);
  TellRejected(read, estimate, options.points);
  TellDoubts(estimate, options);
  file.format = ModelFormat::RefinedXml;
  file.refinement = estimate.Refinement;
  file.model = MakeModel(file.data, &estimate.Refinement, *file.model);
  const auto residuals = CalculateResiduals(*file.model, Kept(read, estimate));
  if (!std::isfinite(residuals.RmsLine + residuals.RmsSample)) {
    throw Problem(PointSource::NameOf(options.points.path) +
                  ": no refinement: the measured coordinates are too large");
  }
  Report(read, estimate, residuals, WriteModelFile(file, options.out), options);
  if (!options.plot.empty()) Plot(read, estimate, options.plot);
  return read.bad == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddRefineCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand(
      "refine", "A model corrected by control points: lat lon h line sample, one point a line");
  const auto options = std::make_shared<RefineOptions>();
  AddModelArgument(command, "MODEL", &options->model);
  AddPointInputOptions(command, &options->points);
  command->add_option("-o,--output", options->out, "The refined model to write: .xml")
      ->required()
      ->type_name("FILE");
  command
      ->add_option_function<std::string>(
          "--kind", [o = options.get()](const std::string& kind) { o->affine = kind == "affine"; },
          "What is corrected: a shift of the image, or all that is affine")
      ->check(CLI::IsMember({"shift", "affine"}).description(""))
      ->required()
      ->type_name("shift|affine");
  AddPlotOption(command, &options->plot);
  AddJsonOption(command, &options->json);
  command->callback([=] { *chosen = [=] { return Refine(*options); }; });
}

}  // namespace app
