#include "kelvane/rpc/rpc_batch_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kelvane/rpc/rpc_batch_kernels.cpp"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/foreach_target.h>

#include "kelvane/rpc/rpc_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace SatCommonUtils {
namespace HWY_NAMESPACE {

// Ground to image.

/// Normalised.
struct TGround {
  TLanes P;
  TLanes L;
  TLanes H;
};

template <class Count>
HWY_INLINE TGround GroundAt(const TBatchModel& model, const TProjectedPoints& points, std::size_t i,
                            Count count) {
  TGround ground = {Normalized(model.Latitude, TLanes::Load(points.Latitude + i, count)),
                    Normalized(model.Longitude, TLanes::Load(points.Longitude + i, count)),
                    Normalized(model.Height, TLanes::Load(points.Height + i, count))};
  Begin(ground.P);
  Begin(ground.L);
  Begin(ground.H);
  return ground;
}

/// Takes the ground of points `i`, and leaves that of points `next`, whose divisions are done beside the
/// sums.
template <bool WithDerivatives, class Count>
HWY_INLINE std::size_t ProjectStep(const TBatchModel& model, const TProjectedPoints& points, std::size_t i,
                                   Count count, std::size_t next, TGround* ground) {
  const TTerms terms(ground->P, ground->L, ground->H);
  *ground = GroundAt(model, points, next, count);
  TImage<TLanes> image;
  if constexpr (WithDerivatives) {
    TImageDerivatives by;
    image = ProjectWithDerivatives(model, terms, &by);
    for (std::size_t x = 0; x < 3; ++x) {
      if (points.DLine[x] != nullptr) by.Line[x].Store(points.DLine[x] + i, count);
      if (points.DSample[x] != nullptr) by.Sample[x].Store(points.DSample[x] + i, count);
    }
  } else {
    image = Project(model, terms);
  }
  image.Line.Store(points.Line + i, count);
  image.Sample.Store(points.Sample + i, count);
  return StoreMask(IsFinite(image.Line) & IsFinite(image.Sample), count,
                   points.Finite == nullptr ? nullptr : points.Finite + i);
}

// Image and height to ground.

/// Solves a·x + b·y = e, c·x + d·y = f; where the determinant is zero the lane's solution has no use.
struct TTwoEquations {
  TLanes Determinant;
  TLanes X;
  TLanes Y;

  TTwoEquations(TLanes a, TLanes b, TLanes c, TLanes d, TLanes e, TLanes f)
      : Determinant(b * c - a * d), X((b * f - d * e) / Determinant), Y((e * c - f * a) / Determinant) {}
};

/// An equation in latitude and longitude.
struct TEquation {
  TLanes ByLatitude;
  TLanes ByLongitude;
  TLanes Free;
};

inline TEquation EquationOf(const TBatchModel::TFraction& fraction, TLanes image, TLanes h) {
  const double* const num = fraction.Numerator;
  const double* const denom = fraction.Denominator;
  const TLanes free = num[2] * h + num[3] - (denom[2] * h + denom[3]) * image;
  return {num[0] - image * denom[0], num[1] - image * denom[1], -free};
}

/// By elimination with the larger pivot; zeros where the system is singular.
inline void SolveByElimination(const TEquation& first, const TEquation& second, TLanes* x, TLanes* y) {
  const TLaneMask swap = Abs(second.ByLatitude) > Abs(first.ByLatitude);
  const TEquation upper = {Choose(swap, second.ByLatitude, first.ByLatitude),
                           Choose(swap, second.ByLongitude, first.ByLongitude),
                           Choose(swap, second.Free, first.Free)};
  const TEquation lower = {Choose(swap, first.ByLatitude, second.ByLatitude),
                           Choose(swap, first.ByLongitude, second.ByLongitude),
                           Choose(swap, first.Free, second.Free)};
  const TLanes factor = lower.ByLatitude / upper.ByLatitude;
  const TLanes diagonal = lower.ByLongitude - factor * upper.ByLongitude;
  const TLanes free = lower.Free - factor * upper.Free;
  const TLanes zero = 0.0;
  const TLaneMask singular = (upper.ByLatitude == zero) | (upper.ByLatitude * diagonal == zero);
  const TLanes found_y = free / diagonal;
  const TLanes found_x = (upper.Free - (zero + upper.ByLongitude * found_y)) / upper.ByLatitude;
  *x = Choose(singular, zero, found_x);
  *y = Choose(singular, zero, found_y);
}

/// Line and sample of an inverse problem, normalised, and the ground that is improved.
struct TInverse {
  TImage<TLanes> Image;
  TLanes H;
  TLanes P;
  TLanes L;
};

inline void Start(const TBatchModel& model, TInverse* inverse) {
  const TLanes h = Initial(model.Height, inverse->H);
  TLanes lat;
  TLanes lon;
  SolveByElimination(EquationOf(model.LineFraction, Initial(model.Line, inverse->Image.Line), h),
                     EquationOf(model.SampleFraction, Initial(model.Sample, inverse->Image.Sample), h), &lat,
                     &lon);
  inverse->P = Normalized(model.Latitude, lat);
  inverse->L = Normalized(model.Longitude, lon);
}

struct TInverseStep {
  TLanes P;
  TLanes L;
  TLaneMask Solved;
};

inline TInverseStep Correction(const TBatchModel& model, const TInverse& inverse) {
  const TTerms terms(inverse.P, inverse.L, inverse.H);
  const TCoefficients coefficients(model);
  const TRatioAt at(coefficients, terms);
  const TImage<TLanes> by_latitude = at.ByLatitude();
  const TImage<TLanes> by_longitude = at.ByLongitude();
  const TImage<TLanes> residual = inverse.Image - at.Value();
  const TTwoEquations system(by_latitude.Sample, by_longitude.Sample, by_latitude.Line, by_longitude.Line,
                             residual.Sample, residual.Line);
  return {system.X, system.Y, AndNot(IsFinite(system.X + system.Y), system.Determinant == TLanes(0.0))};
}

/// Lanes that have ended wait for the others. Where it holds, the lane has converged.
inline TLaneMask Iterate(const TBatchModel& model, TInverse* inverse) {
  TLaneMask active = AllLanes();
  TLaneMask converged = AndNot(active, active);
  for (int i = 0; i < TRPCInverse::MaxIterations && !IsNone(active); ++i) {
    const TInverseStep step = Correction(model, *inverse);
    active = active & step.Solved;
    inverse->P = Choose(active, inverse->P + step.P, inverse->P);
    inverse->L = Choose(active, inverse->L + step.L, inverse->L);
    const TLanes squares = step.P * step.P + step.L * step.L;
    const TLaneMask small = active & (squares <= TLanes(TRPCInverse::LargestStepSquares));
    converged = converged | small;
    active = AndNot(active, small);
  }
  return converged;
}

template <class Count>
KELVANE_FLATTEN std::size_t LocateStep(const TBatchModel& model, const TLocatedPoints& points, std::size_t i,
                                       Count count) {
  const TImage<TLanes> given = {TLanes::Load(points.Line + i, count), TLanes::Load(points.Sample + i, count)};
  const TImage<TLanes> raw = model.IsRefined ? Corrected(model.Refinement.RefinedToRaw, given) : given;
  const TLanes h = TLanes::Load(points.Height + i, count);
  TInverse inverse;
  inverse.Image = {Normalized(model.Line, raw.Line), Normalized(model.Sample, raw.Sample)};
  inverse.H = Normalized(model.Height, h);
  Start(model, &inverse);
  const TLaneMask converged = Iterate(model, &inverse);
  const TLanes lat = Initial(model.Latitude, inverse.P);
  const TLanes lon = Initial(model.Longitude, inverse.L);
  lat.Store(points.Latitude + i, count);
  lon.Store(points.Longitude + i, count);
  if (points.Residual != nullptr) {
    const TImage<TLanes> seen = Project(model, TermsAt(model, lat, lon, h));
    const TLanes by_line = seen.Line - given.Line;
    const TLanes by_sample = seen.Sample - given.Sample;
    Sqrt(by_line * by_line + by_sample * by_sample).Store(points.Residual + i, count);
  }
  return StoreMask(converged, count, points.Converged == nullptr ? nullptr : points.Converged + i);
}

template <bool WithDerivatives>
KELVANE_FLATTEN std::size_t ProjectSteps(const TBatchModel& model, const TProjectedPoints& points,
                                         std::size_t first, std::size_t last) {
  std::size_t sum = 0;
  std::size_t i = first;
  if (i + LaneCount <= last) {
    for (TGround ground = GroundAt(model, points, i, TAllLanes()); i + LaneCount <= last; i += LaneCount) {
      const std::size_t next = i + 2 * LaneCount <= last ? i + LaneCount : i;
      sum += ProjectStep<WithDerivatives>(model, points, i, TAllLanes(), next, &ground);
    }
  }
  if (i < last) {
    TGround ground = GroundAt(model, points, i, last - i);
    sum += ProjectStep<WithDerivatives>(model, points, i, last - i, i, &ground);
  }
  return sum;
}

inline std::size_t ProjectPoints(const TBatchModel& model, const TProjectedPoints& points, std::size_t first,
                                 std::size_t last) {
  return HasDerivatives(points) ? ProjectSteps<true>(model, points, first, last)
                                : ProjectSteps<false>(model, points, first, last);
}

inline std::size_t LocatePoints(const TBatchModel& model, const TLocatedPoints& points, std::size_t first,
                                std::size_t last) {
  return ForSteps(first, last,
                  [&](std::size_t i, auto count) HWY_ATTR { return LocateStep(model, points, i, count); });
}

}  // namespace HWY_NAMESPACE
}  // namespace SatCommonUtils
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace SatCommonUtils {

HWY_EXPORT(ProjectPoints);
HWY_EXPORT(LocatePoints);

std::size_t ProjectPoints(const TBatchModel& model, const TProjectedPoints& points, std::size_t first,
                          std::size_t last) {
  return KELVANE_SIMD_DISPATCH(ProjectPoints)(model, points, first, last);
}

std::size_t LocatePoints(const TBatchModel& model, const TLocatedPoints& points, std::size_t first,
                         std::size_t last) {
  return KELVANE_SIMD_DISPATCH(LocatePoints)(model, points, first, last);
}

}  // namespace SatCommonUtils

#endif  // HWY_ONCE
