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
#include "kelvane/rpc/ground_covariance.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/rpc_batch.h"

namespace app {

namespace {

using SatCommonUtils::TGroundSolution;
using SatCommonUtils::TRPCCoordsDataItem;

struct IntersectOptions {
  std::vector<std::string> models;
  PointOptions points;
  bool angle = false;
  double sigma = 0.0;  ///< pixels; 0 when no deviations are wanted
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
      : points_(options.points), with_angle_(options.angle), sigma_(options.sigma) {
    for (const std::string& path : options.models) Add(path);
  }

  std::size_t ModelCount() const { return files_.size(); }
  std::size_t AnswerCount() const { return FirstDeviation() + (sigma_ > 0.0 ? 3 : 0); }

  /// Points that all models see are solved together; those that this leaves without an answer, and the
  /// others, once more by themselves.
  void Compute(PointBlock* block) const {
    TakeShift(block);
    std::vector<const double*> lines;
    std::vector<const double*> samples;
    for (std::size_t m = 0; m < files_.size(); ++m) {
      lines.push_back(Lines(*block, m));
      samples.push_back(Samples(*block, m));
    }
    unsigned char converged[PointBlock::MostPoints];
    double independence[PointBlock::MostPoints];
    double* const lat = block->answers[points_.xy ? 1 : 0].data();
    double* const lon = block->answers[points_.xy ? 0 : 1].data();
    double* const h = block->answers[2].data();
    double* const rms = block->answers[3].data();
    SatCommonUtils::SolveLatLonHs(models_.data(), models_.size(), block->count, lines.data(), samples.data(),
                                  lat, lon, h, {converged, rms, independence});
    for (std::size_t i = 0; i < block->count; ++i) {
      std::string* const why = &block->why[i];
      const bool solved = converged[i] != 0 && independence[i] >= LeastIndependence && std::isfinite(rms[i]);
      if (!solved && !ComputeAlone(*block, i, &lat[i], &lon[i], &h[i], &rms[i], why)) continue;
      if (!IsInReach(*block, i, lat[i], lon[i], h[i], why)) continue;
      if (with_angle_ &&
          !CalculateAngle(Images(*block, i), lat[i], lon[i], h[i], &block->answers[4][i], why)) {
        continue;
      }
      if (sigma_ > 0.0 && !CalculateDeviations(i, lat[i], lon[i], h[i], block)) continue;
      lon[i] = ForOutput(lon[i], files_.front().data);
    }
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
    models_.push_back(file.model.get());
  }

  void TakeShift(PointBlock* block) const {
    for (std::vector<double>& column : block->numbers) {
      for (std::size_t i = 0; i < block->count; ++i) column[i] -= points_.PixelShift();
    }
  }

  const double* Lines(const PointBlock& block, std::size_t model) const {
    return block.numbers[2 * model + (points_.xy ? 1 : 0)].data();
  }
  const double* Samples(const PointBlock& block, std::size_t model) const {
    return block.numbers[2 * model + (points_.xy ? 0 : 1)].data();
  }
  bool IsSeen(const PointBlock& block, std::size_t i, std::size_t model) const {
    return !std::isnan(Lines(block, model)[i]) && !std::isnan(Samples(block, model)[i]);
  }

  /// Point i of a block, in the models that see it.
  std::vector<TRPCCoordsDataItem> Images(const PointBlock& block, std::size_t i) const {
    std::vector<TRPCCoordsDataItem> images;
    for (std::size_t m = 0; m < files_.size(); ++m) {
      if (!IsSeen(block, i, m)) continue;
      images.push_back({models_[m], Lines(block, m)[i], Samples(block, m)[i], 1.0, 1.0});
    }
    return images;
  }

  bool ComputeAlone(const PointBlock& block, std::size_t i, double* lat, double* lon, double* h, double* rms,
                    std::string* why) const {
    for (std::size_t m = 0; m < files_.size(); ++m) {
      if (std::isnan(Lines(block, m)[i]) == std::isnan(Samples(block, m)[i])) continue;
      *why = "of model " + std::to_string(m + 1) + " there is only one coordinate";
      return false;
    }
    const std::vector<TRPCCoordsDataItem> images = Images(block, i);
    if (images.size() < 2) {
      *why = images.empty() ? "no model sees the point" : "only one model sees the point";
      return false;
    }
    const TGroundSolution solution = SatCommonUtils::SolveLatLonH(images.data(), images.size(), lat, lon, h);
    *rms = solution.Residual;
    return IsAnswer(solution, why);
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

  bool IsInReach(const PointBlock& block, std::size_t i, double lat, double lon, double h,
                 std::string* why) const {
    for (std::size_t m = 0; m < files_.size(); ++m) {
      const char* const reason = IsSeen(block, i, m) ? OutOfReach(lat, lon, h, files_[m].data) : nullptr;
      if (reason == nullptr) continue;
      *why = files_[m].path + ": " + reason;
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

  std::size_t FirstDeviation() const { return with_angle_ ? 5 : 4; }

  bool CalculateDeviations(std::size_t i, double lat, double lon, double h, PointBlock* block) const {
    const std::vector<TRPCCoordsDataItem> images = Images(*block, i);
    const std::vector<double> sigmas(images.size(), sigma_);
    SatCommonUtils::TGroundCovariance covariance;
    if (!CalculateGroundCovariance(images.data(), sigmas.data(), images.size(), lat, lon, h, &covariance)) {
      block->why[i] = "no standard deviations: the rays do not determine the point";
      return false;
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
      block->answers[FirstDeviation() + axis][i] = covariance.Deviation(axis);
    }
    return true;
  }

  const PointOptions& points_;
  bool with_angle_;
  double sigma_;
  std::deque<ModelFile> files_;
  std::vector<const SatCommonUtils::TRPC*> models_;
};

int Intersect(const IntersectOptions& options) {
  const Intersection intersection(options);
  PointJob job;
  job.columns = 2 * intersection.ModelCount();
  job.may_be_nan = true;
  job.answers = intersection.AnswerCount();
  job.compute = [&](PointBlock* block) { intersection.Compute(block); };
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
  command
      ->add_option(
          "--sigma", options->sigma,
          "Three more columns: the standard deviations of the point to the east, to the north and up in "
          "metres, when this is that of each image coordinate")
      ->check(CLI::Range(1e-9, 1e9).description(""))
      ->type_name("PIXELS");
  command->callback([=] { *chosen = [=] { return Intersect(*options); }; });
}

}  // namespace app
