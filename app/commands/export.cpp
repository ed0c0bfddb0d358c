#include <cstdio>
#include <memory>

#include "app/commands/commands.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "app/problem.h"
#include "app/residual_plot.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/robust_estimation.h"

namespace app {

namespace {

struct ExportOptions {
  std::string model;
  std::string out;
  std::string plot;
  bool json = false;
  bool quiet = false;
};

/// Even when asked to be quiet: such a file is not what its reader takes it for.
void TellLargeDifference(const std::string& out, double difference) {
  constexpr double Large = 1.0;
  if (difference <= Large) return;
  char text[96];
  std::snprintf(text, sizeof text, ": WARNING: its projections are up to %.2g pixels off", difference);
  PrintRemarks({out + text}, false);
}

/// What the plain model sees elsewhere than the refined one, over the cube.
void Plot(const SatCommonUtils::TRPC& refined, const SatCommonUtils::TRPC& plain, const std::string& path) {
  constexpr int Steps = 10;
  const auto node = [](double offset, double scale, int i) {
    return offset + scale * (2.0 * i / Steps - 1.0);
  };
  SatCommonUtils::TRPCData data;
  plain.GetRPCData(&data);
  std::vector<ResidualVector> differences;
  for (int i = 0; i <= Steps; ++i) {
    for (int j = 0; j <= Steps; ++j) {
      for (int k = 0; k <= Steps; ++k) {
        const double lat = node(data.LatitudeOffset, data.LatitudeScale, i);
        const double lon = node(data.LongitudeOffset, data.LongitudeScale, j);
        const double h = node(data.HeightOffset, data.HeightScale, k);
        double was[2];
        double is[2];
        refined.CalculateLineSample(lat, lon, h, &was[0], &was[1], nullptr, nullptr);
        plain.CalculateLineSample(lat, lon, h, &is[0], &is[1], nullptr, nullptr);
        differences.push_back({was[0], was[1], is[0] - was[0], is[1] - was[1]});
      }
    }
  }
  PlotResiduals(path, "the plain model against the refined one, over its cube", differences);
}

/// A model that equals none is adapted to by `PlainModel`, which begins with the raw model's coefficients.
/// Where a fit from nothing comes nearer, that is taken; true then.
bool TakeNearerFit(const SatCommonUtils::TRPC& model, ModelFile* plain) {
  SatCommonUtils::TRPCData data;
  SatCommonUtils::TRPCFitReport report;
  if (!FitRPCToModel(model, SatCommonUtils::TRPCFitOptions(), &data, &report)) return false;
  auto fitted = std::make_unique<SatCommonUtils::TRPC>(data, nullptr);
  if (!(SatCommonUtils::CalculateMaxCubeDifference(model, *fitted) <
        SatCommonUtils::CalculateMaxCubeDifference(model, *plain->model))) {
    return false;
  }
  plain->data = data;
  plain->model = MakeModel(data, nullptr, model);
  return true;
}

const char* MethodText(bool exact, bool fitted) {
  if (exact) return "the record takes up the refinement exactly, but for the form's rounding";
  return fitted ? "the coefficients are fitted to the refined model: nearer than the raw model's, adapted"
                : "the raw model's coefficients are adapted to the refined model: nearer than a fit from "
                  "nothing";
}

int Export(const ExportOptions& options) {
  CheckPlotPath(options.plot);
  ModelFile file = ReadModelFile(options.model);
  const SatCommonUtils::TRPC& model = UsableModel(file);
  if (!file.refinement) file.remarks.push_back(file.path + ": there is no refinement to be exported");
  bool exact = false;
  ModelFile plain = PlainModel(file, &exact);
  const bool fitted = !exact && TakeNearerFit(model, &plain);
  const WrittenModel written = WriteModelFile(plain, options.out);
  const double difference = SatCommonUtils::CalculateMaxCubeDifference(model, *written.model);
  PrintRemarks(file.remarks, options.quiet);
  PrintRemarks(written.remarks, options.quiet);
  TellLargeDifference(options.out, difference);
  if (options.json) {
    nlohmann::ordered_json report;
    report["exact"] = exact;
    report["method"] = exact ? "exact" : fitted ? "fitted" : "adapted";
    report["rounded"] = written.rounded;
    report["maxDifference"] = difference;
    PrintJson(report);
  } else if (!options.quiet) {
    if (file.refinement) {
      std::printf("%s\n", MethodText(exact, fitted));
      std::printf(
          "over the model's whole cube projections differ from the refined model's by up to %.2g pixels\n",
          difference);
    }
    PrintWritten(written, options.out);
  }
  if (!options.plot.empty()) Plot(model, *written.model, options.plot);
  return AllComputed;
}

}  // namespace

void AddExportCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand("export", "A refined model as one plain model");
  const auto options = std::make_shared<ExportOptions>();
  AddModelArgument(command, "REFINED", &options->model);
  AddOutputOption(command, &options->out);
  AddPlotOption(command, &options->plot);
  AddJsonOption(command, &options->json);
  AddQuietOption(command, &options->quiet);
  command->callback([=] { *chosen = [=] { return Export(*options); }; });
}

}  // namespace app
