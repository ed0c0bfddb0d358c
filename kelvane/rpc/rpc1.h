/// \file
/// The first-order rational model: each image coordinate is a ratio of two linear functions.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// The 16 coefficients of a `TRPC1`; in each set the factors of X, Y and Z, then the constant. Zeros when
/// new.
struct KELVANE_API TRPC1Params {
  static constexpr std::size_t CoefficientCount = 4;  ///< of each set: X, Y, Z and the constant

  /// Numerators and denominators; not normalised.
  double LineNum[CoefficientCount] = {};
  double SampleNum[CoefficientCount] = {};
  double LineDenom[CoefficientCount] = {};
  double SampleDenom[CoefficientCount] = {};

  /// All coefficients 0.
  void Reset() { *this = TRPC1Params(); }

  /// Reads the keys "LineNum0" to "LineNum3", then "LineDenom", "SampleNum" and "SampleDenom" likewise, from
  /// the current section. False when one is missing or no number, the sets before it and its own then
  /// overwritten up to it. Lets no exception out.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes the same keys in the same order; false at the first write that fails. Lets no exception out.
  bool SaveToXML(TKaXIniWriter* writer) const;
};

/// line   = (LineNum · (X, Y, Z, 1)) / (LineDenom · (X, Y, Z, 1)),
/// sample = (SampleNum · (X, Y, Z, 1)) / (SampleDenom · (X, Y, Z, 1)), in pixels. Nothing is normalised: X, Y
/// and Z are in the units and the system that the coefficients were made for. May be read from several
/// threads while none changes it.
class KELVANE_API TRPC1 {
 public:
  /// All coefficients 0.
  TRPC1() = default;
  explicit TRPC1(const TRPC1Params& params) : params_(params) {}

  /// Whether the coefficients are finite, or a denominator is zero everywhere, is not checked.
  void Set(const TRPC1Params& params) { params_ = params; }
  /// `params` must not be null.
  void GetParams(TRPC1Params* params) const { *params = params_; }
  /// All coefficients 0.
  void Reset() { params_.Reset(); }

  /// As those of the coefficients, but a failed read leaves the model as it was.
  bool InitializeFromXML(TKaXIniReader* reader);
  bool SaveToXML(TKaXIniWriter* writer) const { return params_.SaveToXML(writer); }

  /// Object space to image. Where a denominator is zero the result is an infinity or NaN, as the division
  /// gives it.
  void CalculateLineSample(const double& X, const double& Y, const double& Z, double* line,
                           double* sample) const;
  /// Image and Z to X and Y, in closed form. False, the outputs untouched, when the two linear equations have
  /// a determinant of exactly 0; there is no tolerance, and a NaN is not singular: it spreads.
  bool CalculateXY(const double& line, const double& sample, const double& Z, double* X, double* Y) const;

 private:
  TRPC1Params params_;
};

}  // namespace SatCommonUtils
