/// \file
/// Models as kernels see them, several points at a time (internal): projection with its derivatives, and the
/// steps that points are worked in. To be included once for each target, within none of the namespaces.
#if defined(KELVANE_RPC_RPC_LANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVANE_RPC_RPC_LANES_INL_H_
#undef KELVANE_RPC_RPC_LANES_INL_H_
#else
#define KELVANE_RPC_RPC_LANES_INL_H_
#endif

#include <cstddef>
#include <utility>

#include "kelvane/numeric/simd_lanes-inl.h"
#include "kelvane/rpc/rpc_batch_kernels.h"

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

/// `step(i, count)` for the points from `first` to before `last`; the sum of what it gives.
template <class Step>
HWY_INLINE std::size_t ForSteps(std::size_t first, std::size_t last, const Step& step) {
  std::size_t sum = 0;
  std::size_t i = first;
  for (; i + LaneCount <= last; i += LaneCount) sum += step(i, TAllLanes());
  if (i < last) sum += step(i, last - i);
  return sum;
}

}  // namespace HWY_NAMESPACE
}  // namespace SatCommonUtils
HWY_AFTER_NAMESPACE();

#endif  // toggled with the target
