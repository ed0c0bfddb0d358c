#include "kelvane/rpc/rpc_batch_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kelvane/rpc/rpc_batch_kernels.cpp"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/foreach_target.h>

#include "kelvane/numeric/cholesky.h"
#include "kelvane/numeric/simd_lanes-inl.h"
#include "kelvane/rpc/ground_solution.h"

// Steps are compiled in one piece, so that sums stay in registers; under sanitizers, whose checks grow with
// it, that would take minutes.
#undef KELVANE_FLATTEN
#ifdef KELVANE_SANITIZED
#define KELVANE_FLATTEN
#else
#define KELVANE_FLATTEN [[gnu::flatten]]
#endif

HWY_BEFORE_NAMESPACE();
namespace SatCommonUtils {
namespace HWY_NAMESPACE {

#include "kelvane/rpc/rpc_terms-inl.h"

using TTerms = TRPCTerms<TLanes>;

/// What belongs to the line beside what belongs to the sample.
template <class T>
struct TImage {
  T Line;
  T Sample;
};
template <class A, class B>
inline auto operator+(const TImage<A>& a, const TImage<B>& b) {
  return TImage<TLanes>{a.Line + b.Line, a.Sample + b.Sample};
}
inline TImage<TLanes> operator-(const TImage<TLanes>& a, const TImage<TLanes>& b) {
  return {a.Line - b.Line, a.Sample - b.Sample};
}
inline TImage<TLanes> operator*(const TImage<TLanes>& a, const TImage<TLanes>& b) {
  return {a.Line * b.Line, a.Sample * b.Sample};
}
inline TImage<TLanes> operator/(const TImage<TLanes>& a, const TImage<TLanes>& b) {
  return {a.Line / b.Line, a.Sample / b.Sample};
}
/// Coefficients, the same for all lanes.
inline TImage<TLanes> operator*(const TImage<double>& a, TLanes b) { return {a.Line * b, a.Sample * b}; }
inline TImage<double> operator*(double a, const TImage<double>& b) { return {a * b.Line, a * b.Sample}; }

inline void operator+=(TRPCFraction<TImage<TLanes>>& sum, const TRPCFraction<TImage<TLanes>>& term) {
  sum.Numerator.Line += term.Numerator.Line;
  sum.Numerator.Sample += term.Numerator.Sample;
  sum.Denominator.Line += term.Denominator.Line;
  sum.Denominator.Sample += term.Denominator.Sample;
  Together(sum.Numerator.Line, sum.Numerator.Sample, sum.Denominator.Line, sum.Denominator.Sample);
}

inline TLanes Normalized(const TBatchModel::TAxis& axis, TLanes x) { return (x - axis.Offset) / axis.Scale; }
inline TLanes Initial(const TBatchModel::TAxis& axis, TLanes x) { return x * axis.Scale + axis.Offset; }

inline TImage<TLanes> Corrected(const TAffineCorrection& by, const TImage<TLanes>& at) {
  return {by.LineDrift * at.Line + by.LineTilt * at.Sample + by.LineBias,
          by.SampleDrift * at.Line + by.SampleTilt * at.Sample + by.SampleBias};
}

class TCoefficients {
 public:
  explicit TCoefficients(const TBatchModel& model) : line_(model.Line), sample_(model.Sample) {}
  TRPCFraction<TImage<double>> operator[](std::size_t k) const {
    return {{line_.Numerator[k], sample_.Numerator[k]}, {line_.Denominator[k], sample_.Denominator[k]}};
  }

 private:
  const TBatchModel::TImageAxis& line_;
  const TBatchModel::TImageAxis& sample_;
};

using TRatioAt = TRPCRatioAt<TLanes, TCoefficients>;

/// Normalised image coordinates in pixels, as the user sees them.
inline TImage<TLanes> Pixels(const TBatchModel& model, const TImage<TLanes>& normalized) {
  const TImage<TLanes> raw = {Initial(model.Line, normalized.Line), Initial(model.Sample, normalized.Sample)};
  return model.IsRefined ? Corrected(model.Refinement.RawToRefined, raw) : raw;
}

inline TTerms TermsAt(const TBatchModel& model, TLanes lat, TLanes lon, TLanes h) {
  return {Normalized(model.Latitude, lat), Normalized(model.Longitude, lon), Normalized(model.Height, h)};
}

inline TImage<TLanes> Project(const TBatchModel& model, const TTerms& terms) {
  const TCoefficients coefficients(model);
  return Pixels(model, TRatioAt(coefficients, terms).Value());
}

/// Normalised derivatives by a ground coordinate, given by its number, in pixels as the user sees them.
inline TImage<TLanes> PixelDerivative(const TBatchModel& model, std::size_t ground,
                                      const TImage<TLanes>& normalized) {
  const TImage<TLanes> raw = {normalized.Line * model.Line.PerGround[ground],
                              normalized.Sample * model.Sample.PerGround[ground]};
  if (!model.IsRefined) return raw;
  const TAffineCorrection& by = model.Refinement.RawToRefined;
  return {by.LineDrift * raw.Line + by.LineTilt * raw.Sample,
          by.SampleDrift * raw.Line + by.SampleTilt * raw.Sample};
}

/// By latitude, longitude and height.
struct TImageDerivatives {
  TLanes Line[3];
  TLanes Sample[3];
};

inline TImage<TLanes> ProjectWithDerivatives(const TBatchModel& model, const TTerms& terms,
                                             TImageDerivatives* by) {
  const TCoefficients coefficients(model);
  const TRatioAt at(coefficients, terms);
  const TImage<TLanes> derivatives[] = {PixelDerivative(model, 0, at.ByLatitude()),
                                        PixelDerivative(model, 1, at.ByLongitude()),
                                        PixelDerivative(model, 2, at.ByHeight())};
  for (std::size_t x = 0; x < 3; ++x) {
    by->Line[x] = derivatives[x].Line;
    by->Sample[x] = derivatives[x].Sample;
  }
  return Pixels(model, at.Value());
}

// Ground to image.

template <bool WithDerivatives, class Count>
KELVANE_FLATTEN std::size_t ProjectStep(const TBatchModel& model, const TProjectedPoints& points,
                                        std::size_t i, Count count) {
  const TTerms terms =
      TermsAt(model, TLanes::Load(points.Latitude + i, count), TLanes::Load(points.Longitude + i, count),
              TLanes::Load(points.Height + i, count));
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

/// Improves, and writes, the ground of the lanes that have a start: all when `Whole`.
template <bool Whole, class Count>
KELVANE_FLATTEN std::size_t ImproveGround(const TIntersectedPoints& points, std::size_t i, Count count,
                                          TLaneMask has_start, TLanes (&ground)[3]) {
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
  if (IsAll(started)) return ImproveGround<true>(points, i, count, started, ground);
  unsigned char has_start[LaneCount];
  StoreMask(started, LaneCount, has_start);
  std::size_t bad = 0;
  for (std::size_t lane = 0; lane < count; ++lane) {
    if (has_start[lane] == 0) bad += points.Singly(points, i + lane, i + lane + 1);
  }
  return IsNone(started) ? bad : bad + ImproveGround<false>(points, i, count, started, ground);
}

/// `step(i, count)` for the points from `first` to before `last`; the sum of what it gives.
template <class Step>
HWY_INLINE std::size_t ForSteps(std::size_t first, std::size_t last, const Step& step) {
  std::size_t sum = 0;
  std::size_t i = first;
  for (; i + LaneCount <= last; i += LaneCount) sum += step(i, TAllLanes());
  if (i < last) sum += step(i, last - i);
  return sum;
}

inline std::size_t ProjectPoints(const TBatchModel& model, const TProjectedPoints& points, std::size_t first,
                                 std::size_t last) {
  if (HasDerivatives(points)) {
    return ForSteps(first, last, [&](std::size_t i, auto count) HWY_ATTR {
      return ProjectStep<true>(model, points, i, count);
    });
  }
  return ForSteps(first, last, [&](std::size_t i, auto count) HWY_ATTR {
    return ProjectStep<false>(model, points, i, count);
  });
}

inline std::size_t LocatePoints(const TBatchModel& model, const TLocatedPoints& points, std::size_t first,
                                std::size_t last) {
  return ForSteps(first, last,
                  [&](std::size_t i, auto count) HWY_ATTR { return LocateStep(model, points, i, count); });
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

HWY_EXPORT(ProjectPoints);
HWY_EXPORT(LocatePoints);
HWY_EXPORT(IntersectPoints);

std::size_t ProjectPoints(const TBatchModel& model, const TProjectedPoints& points, std::size_t first,
                          std::size_t last) {
  return KELVANE_SIMD_DISPATCH(ProjectPoints)(model, points, first, last);
}

std::size_t LocatePoints(const TBatchModel& model, const TLocatedPoints& points, std::size_t first,
                         std::size_t last) {
  return KELVANE_SIMD_DISPATCH(LocatePoints)(model, points, first, last);
}

std::size_t IntersectPoints(const TIntersectedPoints& points, std::size_t first, std::size_t last) {
  return KELVANE_SIMD_DISPATCH(IntersectPoints)(points, first, last);
}

}  // namespace SatCommonUtils

#endif  // HWY_ONCE
