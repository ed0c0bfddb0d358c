#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>

#include "app/commands/commands.h"
#include "app/ground_points.h"
#include "app/model_file.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "kelvane/rpc/convergence.h"
#include "kelvane/rpc/ground_solution.h"

namespace app {

namespace {

using SatCommonUtils::TGroundSolution;
using SatCommonUtils::TRPCCoordsDataItem;

struct IntersectOptions {
  std::vector<std::string> models;
  PointOptions points;
  bool angle = false;
};

/// Of the last step of an iteration that has found its answer.
constexpr double LargestDegrees = 1e-8;
constexpr double LargestMetres = 1e-3;
/// Far above the rounding that parallel rays leave, far below what the narrowest useful pair has.
constexpr double LeastIndependence = 1e-5;

/// The models, and what is measured in them on one line of the points.
class Intersection {
 public:
  explicit Intersection(const IntersectOptions& options)
      : points_(options.points), with_angle_(options.angle) {
    for (const std::string& path : options.models) Add(path);
  }

  std::size_t ModelCount() const { return files_.size(); }
  std::size_t AnswerCount() const { return with_angle_ ? 5 : 4; }

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
    return !with_angle_ || CalculateAngle(images, lat, lon, h, &answer[4], why);
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

  /// The widest angle between two of the models that see the point.
  static bool CalculateAngle(const std::vector<TRPCCoordsDataItem>& images, double lat, double lon, double h,
                             double* widest, std::string* why) {
    *widest = 0.0;
    for (auto a = images.begin(); a != images.end(); ++a) {
      for (auto b = a + 1; b != images.end(); ++b) {
        double angle = 0.0;
        if (!SatCommonUtils::CalculateConvergenceAngle(*a->Model, *b->Model, lat, lon, h, &angle)) {
          *why = "no convergence angle: a model has no ray there";
          return false;
        }
        *widest = std::max(*widest, angle);
      }
    }
    return true;
  }

  const PointOptions& points_;
  bool with_angle_;
  std::deque<ModelFile> files_;
};

int Intersect(const IntersectOptions& options) {
  const Intersection intersection(options);
  PointJob job;
  job.columns = 2 * intersection.ModelCount();
  job.may_be_nan = true;
  job.answers = intersection.AnswerCount();
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
  command->add_flag("--angle", options->angle,
                    "One more column: the convergence angle at the point in degrees, of several the widest "
                    "between two models that see it");
  command->callback([=] { *chosen = [=] { return Intersect(*options); }; });
}

}  // namespace app
