#include "kelvane/rpc/rpc_batch_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kelvane/rpc/rpc_intersection_kernels.cpp"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/foreach_target.h>

#include <type_traits>

#include "kelvane/numeric/cholesky.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/rpc_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace SatCommonUtils {
namespace HWY_NAMESPACE {

// Several images to ground.

/// Normal equations of three unknowns, from the diagonal on, and their solution by Cholesky.
class TThreeEquations {
 public:
  // Written out: a constructor that the compiler writes has the instructions of the baseline.
  TThreeEquations() {
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = i; j < 3; ++j) normal_[i][j] = 0.0;
      free_[i] = 0.0;
    }
  }

  void Add(const TLanes (&row)[3], TLanes value) {
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = i; j < 3; ++j) normal_[i][j] += row[i] * row[j];
      free_[i] += row[i] * value;
    }
  }

  /// Where it holds, the matrix is positive definite; elsewhere `x` has no use.
  TLaneMask Solve(TLanes (&x)[3]) {
    const TLanes threshold = CholeskyThreshold;
    TLanes squares[3] = {0.0, 0.0, 0.0};
    TLaneMask positive = AllLanes();
    for (std::size_t i = 0; i < 3; ++i) {
      const TLanes rest = normal_[i][i] - squares[i];
      positive = positive & (rest > threshold);
      factor_[i][i] = Sqrt(rest);
      for (std::size_t j = i + 1; j < 3; ++j) {
        TLanes sum = 0.0;
        for (std::size_t k = 0; k < i; ++k) sum += factor_[k][i] * factor_[k][j];
        factor_[i][j] = (normal_[i][j] - sum) / factor_[i][i];
        squares[j] += factor_[i][j] * factor_[i][j];
      }
    }
    TLanes y[3];
    for (std::size_t i = 0; i < 3; ++i) {
      TLanes sum = 0.0;
      for (std::size_t k = 0; k < i; ++k) sum += factor_[k][i] * y[k];
      y[i] = (free_[i] - sum) / factor_[i][i];
    }
    for (std::size_t i = 3; i-- > 0;) {
      TLanes sum = 0.0;
      for (std::size_t k = i + 1; k < 3; ++k) sum += factor_[i][k] * x[k];
      x[i] = (y[i] - sum) / factor_[i][i];
    }
    return positive;
  }

  /// The sine of the angle between unknown i and those before it, of what was decomposed.
  TLanes Sine(std::size_t i) const { return factor_[i][i] / Sqrt(normal_[i][i]); }

 private:
  TLanes normal_[3][3];
  TLanes free_[3];
  TLanes factor_[3][3];
};

/// The equation that is left of a fraction when its denominator, whose free term is 1, is cleared.
inline void AddFraction(const TBatchModel::TFraction& fraction, TLanes image, TThreeEquations* system) {
  TLanes row[3];
  for (std::size_t x = 0; x < 3; ++x) {
    row[x] = fraction.Numerator[x] - image * fraction.Denominator[x];
  }
  system->Add(row, image - fraction.Numerator[3]);
}

template <class Count>
TImage<TLanes> LoadImage(const TIntersectedPoints& points, std::size_t image, std::size_t i, Count count) {
  return {TLanes::Load(points.Lines[image] + i, count), TLanes::Load(points.Samples[image] + i, count)};
}

template <class Count>
TLanes RootMeanSquare(const TIntersectedPoints& points, std::size_t i, Count count,
                      const TLanes (&ground)[3]) {
  TLanes squares = 0.0;
  for (std::size_t image = 0; image < points.ModelCount; ++image) {
    const TBatchModel& model = points.Models[image];
    const TImage<TLanes> given = LoadImage(points, image, i, count);
    const TImage<TLanes> seen = Project(model, TermsAt(model, ground[0], ground[1], ground[2]));
    const TLanes by_sample = given.Sample - seen.Sample;
    const TLanes by_line = given.Line - seen.Line;
    squares += by_sample * by_sample + by_line * by_line;
  }
  return Sqrt(squares / (2.0 * static_cast<double>(points.ModelCount)));
}

/// What stands elsewhere stays.
template <class Count>
void StoreWhere(TLaneMask where, TLanes lanes, double* to, Count count) {
  (IsAll(where) ? lanes : Choose(where, lanes, TLanes::Load(to, count))).Store(to, count);
}

/// `StoreMask` of the lanes in `where` alone.
inline std::size_t StoreMaskWhere(TLaneMask where, TLaneMask mask, std::size_t count, unsigned char* bytes) {
  if (IsAll(where)) return StoreMask(mask, count, bytes);
  unsigned char wanted[LaneCount];
  unsigned char set[LaneCount];
  StoreMask(where, LaneCount, wanted);
  StoreMask(mask, LaneCount, set);
  std::size_t unset = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (wanted[i] == 0) continue;
    if (bytes != nullptr) bytes[i] = set[i];
    unset += 1U - set[i];
  }
  return unset;
}

/// Improves, and writes, the ground of the lanes that have a start: all when `Whole`. By itself: as a part of
/// its callers it is slower, and compiled for each of them.
template <bool Whole, class Count>
KELVANE_FLATTEN HWY_NOINLINE std::size_t ImproveGround(const TIntersectedPoints& points, std::size_t i,
                                                       Count count, TLaneMask has_start,
                                                       TLanes (&ground)[3]) {
  const TLaneMask started = Whole ? AllLanes() : has_start;
  TLaneMask active = started;
  TLaneMask solved = started;
  TLaneMask converged = AndNot(started, started);
  TLanes independence = 0.0;
  for (int iteration = 0; iteration < TGroundSolution::MaxIterations && !IsNone(active); ++iteration) {
    TThreeEquations system;
    for (std::size_t image = 0; image < points.ModelCount; ++image) {
      const TBatchModel& model = points.Models[image];
      const TImage<TLanes> given = LoadImage(points, image, i, count);
      TImageDerivatives by;
      const TImage<TLanes> seen =
          ProjectWithDerivatives(model, TermsAt(model, ground[0], ground[1], ground[2]), &by);
      system.Add(by.Sample, given.Sample - seen.Sample);
      system.Add(by.Line, given.Line - seen.Line);
    }
    TLanes step[3];
    const TLaneMask positive = system.Solve(step);
    solved = AndNot(solved, active) | (active & positive);
    active = active & positive;
    TLaneMask small = active;
    for (std::size_t x = 0; x < 3; ++x) {
      ground[x] = Choose(active, ground[x] + step[x], ground[x]);
      small = small & (Abs(step[x]) < TLanes(TGroundSolution::StepTolerance));
    }
    if (points.Independence != nullptr) {
      TLanes smallest = 1.0;
      for (std::size_t x = 1; x < 3; ++x) {
        const TLanes sine = system.Sine(x);
        smallest = Choose(sine < smallest, sine, smallest);
      }
      independence = Choose(active, smallest, independence);
    }
    converged = converged | small;
    active = AndNot(active, small);
  }
  if (points.Residual != nullptr) {
    const TLanes residual = RootMeanSquare(points, i, count, ground);
    const TLanes none = std::numeric_limits<double>::quiet_NaN();
    StoreWhere(started, Choose(solved, residual, none), points.Residual + i, count);
  }
  if (points.Independence != nullptr) StoreWhere(started, independence, points.Independence + i, count);
  StoreWhere(started, ground[0], points.Latitude + i, count);
  StoreWhere(started, ground[1], points.Longitude + i, count);
  StoreWhere(started, ground[2], points.Height + i, count);
  return StoreMaskWhere(started, converged, count,
                        points.Converged == nullptr ? nullptr : points.Converged + i);
}

/// A start that takes more than Cholesky's way is left, before anything is written over it, to those who know
/// that.
template <class Count>
KELVANE_FLATTEN std::size_t IntersectStep(const TIntersectedPoints& points, std::size_t i, Count count) {
  TThreeEquations start;
  for (std::size_t image = 0; image < points.ModelCount; ++image) {
    const TImage<TLanes> given = LoadImage(points, image, i, count);
    AddFraction(points.Models[image].SampleFraction, given.Sample, &start);
    AddFraction(points.Models[image].LineFraction, given.Line, &start);
  }
  TLanes ground[3];
  const TLaneMask started = start.Solve(ground);
  if constexpr (std::is_same_v<Count, TAllLanes>) {
    if (IsAll(started)) return ImproveGround<true>(points, i, count, started, ground);
  }
  unsigned char has_start[LaneCount];
  StoreMask(started, LaneCount, has_start);
  std::size_t bad = 0;
  for (std::size_t lane = 0; lane < count; ++lane) {
    if (has_start[lane] == 0) bad += points.Singly(points, i + lane, i + lane + 1);
  }
  if (IsNone(started)) return bad;
  // Compiled for any count alone: it is seldom needed.
  return bad + ImproveGround<false>(points, i, static_cast<std::size_t>(count), started, ground);
}

inline std::size_t IntersectPoints(const TIntersectedPoints& points, std::size_t first, std::size_t last) {
  return ForSteps(first, last,
                  [&](std::size_t i, auto count) HWY_ATTR { return IntersectStep(points, i, count); });
}

}  // namespace HWY_NAMESPACE
}  // namespace SatCommonUtils
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace SatCommonUtils {

HWY_EXPORT(IntersectPoints);

std::size_t IntersectPoints(const TIntersectedPoints& points, std::size_t first, std::size_t last) {
  return KELVANE_SIMD_DISPATCH(IntersectPoints)(points, first, last);
}

}  // namespace SatCommonUtils

#endif  // HWY_ONCE
