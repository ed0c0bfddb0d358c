#include <cstdio>
#include <memory>

#include "app/commands/commands.h"
#include "app/estimation_run.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace app {

namespace {

using SatCommonUtils::TRPCEstimationReport;

struct InvertOptions {
  std::string model;
  std::string out;
  int grid = 20;
  int threads = 1;
  bool json = false;
  bool quiet = false;
};

constexpr int MostSteps = 200;

/// Steps that are taken back when they help no more: the others wander on fine grids of a nearly linear
/// model.
ModelFile InverseOf(const ModelFile& file, const InvertOptions& options, TRPCEstimationReport* report) {
  const EstimationRun run(options.threads, options.quiet);
  const auto control = run.Control(SatCommonUtils::TE_RPCEstimationSteps::Apart);
  ModelFile inverse;
  const bool found =
      SatCommonUtils::EstimateInvertedRPC(*file.model, &inverse.data, options.grid, control, report);
  if (InterruptWatch::IsInterrupted()) throw Problem(file.path + ": interrupted; nothing is written");
  if (!found) {
    throw Problem(file.path +
                  ": no inverse: too little of the ground cube is seen within the image, or the grid of " +
                  std::to_string(options.grid) + " steps is too coarse");
  }
  inverse.path = file.path;
  inverse.format = ModelFormat::Xml;
  inverse.model = std::make_unique<SatCommonUtils::TRPC>(inverse.data, nullptr);
  return inverse;
}

int Invert(const InvertOptions& options) {
  const ModelFile file = ReadModelFile(options.model);
  const SatCommonUtils::TRPC& model = UsableModel(file);
  // The inverse is fitted to polynomials, of which a refinement is no part.
  const ModelFile plain = PlainModel(file, nullptr);
  TRPCEstimationReport estimation;
  const ModelFile inverse = InverseOf(plain, options, &estimation);
  const WrittenModel written = WriteModelFile(inverse, options.out);
  // What is stated must hold between the nodes that were tried, too.
  constexpr double BetweenNodes = 1.25;
  const double difference =
      RoundedUp(BetweenNodes * SatCommonUtils::CalculateMaxInverseDifference(model, *written.model));
  PrintRemarks(file.remarks, options.quiet);
  if (options.json) {
    nlohmann::ordered_json report;
    report["grid"] = options.grid;
    report["iterations"] = estimation.Iterations;
    report["converged"] = estimation.Converged;
    report["rounded"] = written.rounded;
    report["maxDifference"] = difference;
    PrintJson(report);
  } else if (!options.quiet) {
    std::printf("ground from image and height within %.2g degrees (latitude as line, longitude as sample)\n",
                difference);
    PrintEnding(estimation);
    PrintWritten(written, options.out);
  }
  return AllComputed;
}

}  // namespace

void AddInvertCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand(
      "invert", "The inverse as a model: line, sample and height in, latitude and longitude out");
  const auto options = std::make_shared<InvertOptions>();
  AddModelArgument(command, "MODEL", &options->model);
  AddOutputOption(command, &options->out);
  command->add_option("--grid", options->grid, "Steps an axis of the grid that is fitted; default 20")
      ->check(CLI::Range(1, MostSteps).description(""))
      ->type_name("N");
  AddThreadsOption(command, &options->threads);
  AddJsonOption(command, &options->json);
  command->add_flag("--quiet", options->quiet, "No progress bar, no remarks");
  command->callback([=] { *chosen = [=] { return Invert(*options); }; });
}

}  // namespace app
