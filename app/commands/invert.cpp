#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "app/commands/commands.h"
#include "app/estimation_run.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/robust_estimation.h"

namespace app {

namespace {

using SatCommonUtils::TRPC;
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

/// An inverse as one of the two fits made it; without model where it made none.
struct Inverse {
  ModelFile file;
  const char* method = nullptr;
  TRPCEstimationReport ending;
  double difference = HUGE_VAL;  ///< degrees
};

void Take(const TRPC& model, const char* method, const SatCommonUtils::TRPCData& data,
          const TRPCEstimationReport& ending, Inverse* better) {
  auto inverse = std::make_unique<TRPC>(data, nullptr);
  const double difference = SatCommonUtils::CalculateMaxInverseDifference(model, *inverse);
  if (!(difference < better->difference)) return;
  better->file.data = data;
  better->file.model = std::move(inverse);
  better->method = method;
  better->ending = ending;
  better->difference = difference;
}

/// What comes nearer to the inverse of the model: the inverse is no rational function itself, and either fit
/// may.
Inverse InverseOf(const ModelFile& file, const InvertOptions& options) {
  const EstimationRun run(options.threads, options.quiet);
  const TRPC& model = *file.model;
  Inverse better;
  SatCommonUtils::TRPCData data;
  // Steps that are taken back when they help no more: the others wander on fine grids of a nearly linear
  // model.
  const auto control = run.Control(SatCommonUtils::TE_RPCEstimationSteps::Apart);
  TRPCEstimationReport estimation;
  if (SatCommonUtils::EstimateInvertedRPC(model, &data, options.grid, control, &estimation))
    Take(model, "classic", data, estimation, &better);
  SatCommonUtils::TRPCFitReport report;
  if (!InterruptWatch::IsInterrupted() &&
      SatCommonUtils::FitInvertedRPC(model, options.grid, run.FitOptions(), &data, &report)) {
    Take(model, "robust", data, EndingOf(report), &better);
  }
  if (InterruptWatch::IsInterrupted()) throw Problem(file.path + ": interrupted; nothing is written");
  if (!better.file.model) {
    throw Problem(file.path +
                  ": no inverse: too little of the ground cube is seen within the image, or the grid of " +
                  std::to_string(options.grid) + " steps is too coarse");
  }
  better.file.path = file.path;
  better.file.format = ModelFormat::Xml;
  return better;
}

int Invert(const InvertOptions& options) {
  const ModelFile file = ReadModelFile(options.model);
  const TRPC& model = UsableModel(file);
  // The inverse is fitted to polynomials, of which a refinement is no part.
  const Inverse inverse = InverseOf(PlainModel(file, nullptr), options);
  const WrittenModel written = WriteModelFile(inverse.file, options.out);
  // What is stated must hold between the nodes that were tried, too.
  constexpr double BetweenNodes = 1.25;
  const double difference =
      RoundedUp(BetweenNodes * SatCommonUtils::CalculateMaxInverseDifference(model, *written.model));
  PrintRemarks(file.remarks, options.quiet);
  if (options.json) {
    nlohmann::ordered_json report;
    report["grid"] = options.grid;
    report["method"] = inverse.method;
    report["iterations"] = inverse.ending.Iterations;
    report["converged"] = inverse.ending.Converged;
    report["rounded"] = written.rounded;
    report["maxDifference"] = difference;
    PrintJson(report);
  } else if (!options.quiet) {
    std::printf("ground from image and height within %.2g degrees (latitude as line, longitude as sample)\n",
                difference);
    std::printf("by the %s fit, which comes nearer\n", inverse.method);
    PrintEnding(inverse.ending);
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
