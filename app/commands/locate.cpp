#include <cmath>
#include <memory>
#include <string>

#include "app/commands/commands.h"
#include "app/ground_points.h"
#include "app/model_file.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "kelvane/rpc/rpc_batch.h"

namespace app {

namespace {

using SatCommonUtils::TRPCBatchReport;
using SatCommonUtils::TRPCInverse;

struct LocateOptions {
  std::string model;
  PointOptions points;
};

std::string NoGroundPoint(double residual) {
  if (std::isnan(residual)) return "the model gives no number here";
  return "no ground point found: the image of the nearest is off by " + ShortestNumber(residual) + " pixels";
}

int Locate(const LocateOptions& options) {
  const ModelFile file = ReadModelFile(options.model);
  const SatCommonUtils::TRPC& model = UsableModel(file);
  PrintRemarks(file.remarks, options.points.quiet);
  const bool xy = options.points.xy;
  const double shift = options.points.PixelShift();
  // The threads share the model, so it must have its approximation first; one that a file brought may be
  // that of another model.
  model.CreateApproximation(SatCommonUtils::TRPC::ApproximationNodes);

  PointJob job;
  job.columns = 3;
  job.height_last = true;
  job.answers = 2;
  job.compute = [&](PointBlock* block) {
    double* const line = block->numbers[xy ? 1 : 0].data();
    double* const sample = block->numbers[xy ? 0 : 1].data();
    const double* const h = block->numbers[2].data();
    for (std::size_t i = 0; i < block->count; ++i) {
      line[i] -= shift;
      sample[i] -= shift;
    }
    double* const lat = block->answers[xy ? 1 : 0].data();
    double* const lon = block->answers[xy ? 0 : 1].data();
    double residuals[PointBlock::MostPoints];
    TRPCBatchReport report;
    report.Residual = residuals;
    SatCommonUtils::SolveLatLons(model, block->count, line, sample, h, lat, lon, report);
    for (std::size_t i = 0; i < block->count; ++i) {
      if (!(residuals[i] <= TRPCInverse::LargestResidual)) {
        block->why[i] = NoGroundPoint(residuals[i]);
      } else if (const char* const reason = OutOfReach(lat[i], lon[i], h[i], file.data)) {
        block->why[i] = reason;
      }
      lon[i] = ForOutput(lon[i], file.data);
    }
  };
  return AnswerPoints(job, options.points) == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddLocateCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command =
      program->add_subcommand("locate", "Image to ground: line sample h -> lat lon, one point a line");
  const auto options = std::make_shared<LocateOptions>();
  AddModelArgument(command, "MODEL", &options->model);
  AddPointOptions(command, &options->points);
  AddHeightOption(command, &options->points);
  command->callback([=] { *chosen = [=] { return Locate(*options); }; });
}

}  // namespace app
