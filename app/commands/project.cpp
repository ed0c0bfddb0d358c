#include <memory>

#include "app/commands/commands.h"
#include "app/ground_points.h"
#include "app/model_file.h"
#include "app/problem.h"
#include "kelvane/rpc/rpc.h"

namespace app {

namespace {

struct ProjectOptions {
  std::string model;
  PointOptions points;
};

int Project(const ProjectOptions& options) {
  const ModelFile file = ReadModelFile(options.model);
  const SatCommonUtils::TRPC& model = UsableModel(file);
  PrintRemarks(file.remarks, options.points.quiet);
  const bool xy = options.points.xy;
  const double shift = options.points.PixelShift();

  PointJob job;
  job.columns = 3;
  job.height_last = true;
  job.answers = 2;
  job.compute = [&](const double* numbers, double* answer, std::string* why) {
    const double lat = numbers[xy ? 1 : 0];
    const double lon = InModelsTurn(numbers[xy ? 0 : 1], file.data);
    if (const char* const reason = OutOfReach(lat, lon, numbers[2], file.data)) {
      *why = reason;
      return false;
    }
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(lat, lon, numbers[2], &line, &sample, nullptr, nullptr);
    answer[xy ? 1 : 0] = line + shift;
    answer[xy ? 0 : 1] = sample + shift;
    return true;
  };
  return AnswerPoints(job, options.points) == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddProjectCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command =
      program->add_subcommand("project", "Ground to image: lat lon h -> line sample, one point a line");
  const auto options = std::make_shared<ProjectOptions>();
  AddModelArgument(command, "MODEL", &options->model);
  AddPointOptions(command, &options->points);
  AddHeightOption(command, &options->points);
  command->callback([=] { *chosen = [=] { return Project(*options); }; });
}

}  // namespace app
