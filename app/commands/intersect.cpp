#include <cmath>
#include <deque>
#include <memory>

#include "app/commands/commands.h"
#include "app/ground_points.h"
#include "app/model_file.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "kelvane/rpc/ground_solution.h"

namespace app {

namespace {

using SatCommonUtils::TGroundSolution;
using SatCommonUtils::TRPCCoordsDataItem;

struct IntersectOptions {
  std::vector<std::string> models;
  PointOptions points;
};

/// Of the last step of an iteration that has found its answer.
constexpr double LargestDegrees = 1e-8;
constexpr double LargestMetres = 1e-3;
/// Far above the rounding that parallel rays leave, far below what the narrowest useful pair has.
constexpr double LeastIndependence = 1e-5;

/// The models, and what is measured in them on one line of the points.
class Intersection {
 public:
  explicit Intersection(const IntersectOptions& options) : points_(options.points) {
    for (const std::string& path : options.models) Add(path);
  }

  std::size_t ModelCount() const { return files_.size(); }

  bool Compute(const double* numbers, double* answer, std::string* why) const {
    std::vector<TRPCCoordsDataItem> images;
    if (!TakeImages(numbers, &images, why)) return false;
    double lat = 0.0;
    double lon = 0.0;
    double h = 0.0;
    const TGroundSolution solution =
        SatCommonUtils::SolveLatLonH(images.data(), images.size(), &lat, &lon, &h);
    if (!IsAnswer(solution, why) || !IsInReach(numbers, lat, lon, h, why)) return false;
    answer[points_.xy ? 1 : 0] = lat;
    answer[points_.xy ? 0 : 1] = ForOutput(lon, files_.front().data);
    answer[2] = h;
    answer[3] = solution.Residual;
    return true;
  }

 private:
  /// The models share their longitudes, so all are brought to the turn of the first; and they are shared by
  /// threads, so they must have their approximations first.
  void Add(const std::string& path) {
    ModelFile& file = files_.emplace_back(ReadModelFile(path));
    UsableModel(file);
    PrintRemarks(file.remarks, points_.quiet);
    const double offset = InModelsTurn(file.data.LongitudeOffset, files_.front().data);
    if (offset != file.data.LongitudeOffset) {
      file.data.LongitudeOffset = offset;
      file.model->SetRPCData(file.data);
    }
    file.model->CreateApproximation(SatCommonUtils::TRPC::ApproximationNodes);
  }

  static bool IsSeen(const double* numbers, std::size_t model) {
    return !std::isnan(numbers[2 * model]) && !std::isnan(numbers[2 * model + 1]);
  }

  bool TakeImages(const double* numbers, std::vector<TRPCCoordsDataItem>* images, std::string* why) const {
    const std::size_t line = points_.xy ? 1 : 0;
    const double shift = points_.PixelShift();
    images->reserve(files_.size());
    for (std::size_t i = 0; i < files_.size(); ++i) {
      const double* const pair = numbers + 2 * i;
      if (std::isnan(pair[0]) != std::isnan(pair[1])) {
        *why = "of model " + std::to_string(i + 1) + " there is only one coordinate";
        return false;
      }
      if (!IsSeen(numbers, i)) continue;
      images->push_back({files_[i].model.get(), pair[line] - shift, pair[1 - line] - shift, 1.0, 1.0});
    }
    if (images->size() >= 2) return true;
    *why = images->empty() ? "no model sees the point" : "only one model sees the point";
    return false;
  }

  static bool IsAnswer(const TGroundSolution& solution, std::string* why) {
    if (!solution.Solved || !(solution.Independence >= LeastIndependence)) {
      *why =
          "no ground point found: the images do not tell its height; their rays are parallel or the same, or "
          "the "
          "point lies far outside the images";
      return false;
    }
    const double* const step = solution.LastStep;
    if (std::fabs(step[0]) <= LargestDegrees && std::fabs(step[1]) <= LargestDegrees &&
        std::fabs(step[2]) <= LargestMetres && std::isfinite(solution.Residual)) {
      return true;
    }
    *why = "no ground point found: after " + std::to_string(solution.Iterations) +
           " iterations the height still moves by " + ShortestNumber(std::fabs(step[2])) + " m";
    return false;
  }

  bool IsInReach(const double* numbers, double lat, double lon, double h, std::string* why) const {
    for (std::size_t i = 0; i < files_.size(); ++i) {
      const char* const reason = IsSeen(numbers, i) ? OutOfReach(lat, lon, h, files_[i].data) : nullptr;
      if (reason == nullptr) continue;
      *why = files_[i].path + ": " + reason;
      return false;
    }
    return true;
  }

  const PointOptions& points_;
  std::deque<ModelFile> files_;
};

int Intersect(const IntersectOptions& options) {
  const Intersection intersection(options);
  PointJob job;
  job.columns = 2 * intersection.ModelCount();
  job.may_be_nan = true;
  job.answers = 4;
  job.compute = [&](const double* numbers, double* answer, std::string* why) {
    return intersection.Compute(numbers, answer, why);
  };
  return AnswerPoints(job, options.points) == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddIntersectCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand(
      "intersect",
      "Images to ground: line sample for each model, nan nan where it does not see the point -> lat lon h "
      "rms, one point a line");
  const auto options = std::make_shared<IntersectOptions>();
  command->add_option("MODEL", options->models, std::string("At least two. Each: ") + ModelText)
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size)
      ->type_name("FILE");
  AddPointOptions(command, &options->points);
  command->callback([=] { *chosen = [=] { return Intersect(*options); }; });
}

}  // namespace app
