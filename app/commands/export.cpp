#include <cstdio>
#include <memory>

#include "app/commands/commands.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "app/problem.h"
#include "kelvane/rpc/model_difference.h"

namespace app {

namespace {

struct ExportOptions {
  std::string model;
  std::string out;
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

int Export(const ExportOptions& options) {
  ModelFile file = ReadModelFile(options.model);
  const SatCommonUtils::TRPC& model = UsableModel(file);
  if (!file.refinement) file.remarks.push_back(file.path + ": there is no refinement to be exported");
  bool exact = false;
  const ModelFile plain = PlainModel(file, &exact);
  const WrittenModel written = WriteModelFile(plain, options.out);
  const double difference = SatCommonUtils::CalculateMaxCubeDifference(model, *written.model);
  PrintRemarks(file.remarks, options.quiet);
  PrintRemarks(written.remarks, options.quiet);
  TellLargeDifference(options.out, difference);
  if (options.json) {
    nlohmann::ordered_json report;
    report["exact"] = exact;
    report["rounded"] = written.rounded;
    report["maxDifference"] = difference;
    PrintJson(report);
  } else if (!options.quiet) {
    if (file.refinement) {
      std::printf(exact ? "the record takes up the refinement exactly, but for the form's rounding\n"
                        : "the coefficients are fitted to the refined model\n");
      std::printf(
          "over the model's whole cube projections differ from the refined model's by up to %.2g pixels\n",
          difference);
    }
    PrintWritten(written, options.out);
  }
  return AllComputed;
}

}  // namespace

void AddExportCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand("export", "A refined model as one plain model");
  const auto options = std::make_shared<ExportOptions>();
  AddModelArgument(command, "REFINED", &options->model);
  AddOutputOption(command, &options->out);
  AddJsonOption(command, &options->json);
  AddQuietOption(command, &options->quiet);
  command->callback([=] { *chosen = [=] { return Export(*options); }; });
}

}  // namespace app
