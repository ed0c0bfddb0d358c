#include <memory>

#include "app/commands/commands.h"
#include "app/ground_points.h"
#include "app/model_file.h"
#include "app/problem.h"
#include "kelvane/rpc/rpc_batch.h"

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
  job.compute = [&](PointBlock* block) {
    const double* const lat = block->numbers[xy ? 1 : 0].data();
    double* const lon = block->numbers[xy ? 0 : 1].data();
    const double* const h = block->numbers[2].data();
    for (std::size_t i = 0; i < block->count; ++i) {
      lon[i] = InModelsTurn(lon[i], file.data);
      if (const char* const reason = OutOfReach(lat[i], lon[i], h[i], file.data)) block->why[i] = reason;
    }
    double* const line = block->answers[xy ? 1 : 0].data();
    double* const sample = block->answers[xy ? 0 : 1].data();
    SatCommonUtils::CalculateLineSamples(model, block->count, lat, lon, h, line, sample);
    for (std::size_t i = 0; i < block->count; ++i) {
      line[i] += shift;
      sample[i] += shift;
    }
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
