/// \file
/// The affine correction of image coordinates: the coefficients and the arithmetic that both generations of
/// refinements share. It is the image-space adjustment of J. Grodecki, G. Dial, "Block adjustment of
/// high-resolution satellite images described by rational polynomials", PERS 69(1), 2003.
#pragma once

#include <limits>

#include "kelvane/module/export.h"
#include "kelvane/transforms/affine_2d.h"

namespace SatCommonUtils {

/// line' = LineDrift*line + LineTilt*sample + LineBias, sample' = SampleDrift*line + SampleTilt*sample +
/// SampleBias; all in pixels. The default is the unity, which changes nothing.
struct KELVANE_API TAffineCorrection {
  /// The value of a coefficient that nobody has set.
  static constexpr double Unset = std::numeric_limits<double>::max();

  double LineBias = 0.0;     ///< pixels
  double LineDrift = 1.0;    ///< factor of the line in the line
  double LineTilt = 0.0;     ///< factor of the sample in the line
  double SampleBias = 0.0;   ///< pixels
  double SampleDrift = 0.0;  ///< factor of the line in the sample
  double SampleTilt = 1.0;   ///< factor of the sample in the sample

  /// True when the coefficients are those of the unity; there is no tolerance.
  bool IsUnity() const;
};

/// A coefficient and its key in XML.
struct TAffineCorrectionField {
  const char* Key;                   ///< the name of the coefficient
  double TAffineCorrection::*Value;  ///< where the record holds it
};

/// In the order of the record.
inline constexpr TAffineCorrectionField AffineCorrectionFields[] = {
    {"LineBias", &TAffineCorrection::LineBias},       {"LineDrift", &TAffineCorrection::LineDrift},
    {"LineTilt", &TAffineCorrection::LineTilt},       {"SampleBias", &TAffineCorrection::SampleBias},
    {"SampleDrift", &TAffineCorrection::SampleDrift}, {"SampleTilt", &TAffineCorrection::SampleTilt},
};

/// All six coefficients unset.
constexpr TAffineCorrection UnsetAffineCorrection() {
  constexpr double Unset = TAffineCorrection::Unset;
  return {Unset, Unset, Unset, Unset, Unset, Unset};
}
/// True when none of the six is unset.
KELVANE_API bool IsSet(const TAffineCorrection& correction);

/// A correction from raw coordinates, which a model computes, to refined ones, and the way back. Both are
/// unset at first.
struct KELVANE_API TAffineCorrections {
  TAffineCorrection RawToRefined = UnsetAffineCorrection();  ///< refined coordinates of raw ones
  TAffineCorrection RefinedToRaw = UnsetAffineCorrection();  ///< its inverse, as it was read or derived

  /// Derives the way back; false, and it stays, when the correction is singular (see `Invert2DAffineParams`).
  /// Whether it is set, and finite, is not checked: the way back of one that is not has no use.
  bool CalculateRefinedToRaw();
};

/// The correction that takes (line, sample) where the map takes (x, y).
inline TAffineCorrection AffineCorrectionOf(const T2DAffineParams& map) {
  return {map.A3, map.A1, map.A2, map.B3, map.B1, map.B2};
}

/// Applies one direction. The results' places may be those of the coordinates.
inline void Correct(const TAffineCorrection& by, const double& line, const double& sample, double* to_line,
                    double* to_sample) {
  const double corrected_line = by.LineDrift * line + by.LineTilt * sample + by.LineBias;
  const double corrected_sample = by.SampleDrift * line + by.SampleTilt * sample + by.SampleBias;
  *to_line = corrected_line;
  *to_sample = corrected_sample;
}

}  // namespace SatCommonUtils
