#include <cmath>
#include <memory>
#include <string>

#include "app/commands/commands.h"
#include "app/ground_points.h"
#include "app/model_file.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "kelvane/rpc/rpc.h"

namespace app {

namespace {

struct LocateOptions {
  std::string model;
  PointOptions points;
};

std::string NoGroundPoint(const SatCommonUtils::TRPCInverse& inverse) {
  if (std::isnan(inverse.Residual)) return "the model gives no number here";
  return "no ground point found: the image of the nearest is off by " + ShortestNumber(inverse.Residual) +
         " pixels";
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
  job.compute = [&](const double* numbers, double* answer, std::string* why) {
    const double line = numbers[xy ? 1 : 0] - shift;
    const double sample = numbers[xy ? 0 : 1] - shift;
    double lat = 0.0;
    double lon = 0.0;
    const SatCommonUtils::TRPCInverse inverse = model.SolveLatLon(line, sample, numbers[2], &lat, &lon);
    if (!inverse.IsAnswer()) {
      *why = NoGroundPoint(inverse);
      return false;
    }
    if (const char* const reason = OutOfReach(lat, lon, numbers[2], file.data)) {
      *why = reason;
      return false;
    }
    answer[xy ? 1 : 0] = lat;
    answer[xy ? 0 : 1] = ForOutput(lon, file.data);
    return true;
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
