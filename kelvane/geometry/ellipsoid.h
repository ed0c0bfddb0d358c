/// \file
/// The ellipsoid of the Earth, or of another body, and the two kinds of coordinates that belong to it.
///
/// Notation: a is the semi-major axis in metres, f the flattening, b = a(1 - f), e² = f(2 - f). Geodetic
/// coordinates are latitude and longitude in degrees and the height in metres along the normal; Earth-centred
/// ones are metres along X (to latitude 0, longitude 0), Y (longitude 90) and Z (latitude 90).
#pragma once

#include "kelvane/geometry/point_3d.h"
#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// An ellipsoid of revolution about Z, or a sphere. Immutable: may be used from several threads.
///
/// Both conversions are worked in extended precision, in which the exact values leave their formulas within
/// 1e-11 metres up to 1e6 metres of height; the rounding of the results to double, 5e-10 metres for a
/// coordinate of the size of the Earth and 8e-10 (1.6e-9) metres for degrees above 64 (128) at its equator,
/// is what is left.
class KELVANE_API TEllipsoid {
 public:
  static constexpr double WGS84SemiMajorAxis = 6378137.0;         ///< metres
  static constexpr double WGS84Flattening = 1.0 / 298.257223563;  ///< of `a`, as the constructor's `f`
  /// Flatter ones would lose the digits of 1 - e². Up to it geodetic coordinates of points outside lead back
  /// as exactly as on Earth, of points inside to 1e-14 of the semi-major axis.
  static constexpr double GreatestFlattening = 0.99;

  /// WGS 84.
  TEllipsoid() = default;
  /// Throws `std::runtime_error` "TEllipsoid::TEllipsoid(const double& a, const double& f)" unless `a` is
  /// above 0 and finite and `f` from 0 (a sphere) to `GreatestFlattening`.
  TEllipsoid(const double& a, const double& f);

  /// Metres, metres, and 1 - b/a.
  double SemiMajorAxis() const { return a_; }
  double SemiMinorAxis() const { return a_ * (1.0 - f_); }
  double Flattening() const { return f_; }

  /// Geodetic to Earth-centred: ((N + h) cos φ cos λ, (N + h) cos φ sin λ, ((1 - e²) N + h) sin φ) with
  /// N = a / sqrt(1 - e² sin² φ) (B. Hofmann-Wellenhof, H. Moritz, Physical Geodesy, 2nd ed., Springer
  /// 2006). Sines and cosines of multiples of 90 degrees are exact, so that a pole has X = Y = 0. A
  /// latitude beyond 90 degrees goes on over the pole. Three NaNs unless all three are finite.
  T3DPoint ToEarthCentred(const double& lat, const double& lon, const double& h) const;

  /// What `ToEarthCentred` changes by, to first order, for changes of latitude and longitude in degrees and
  /// of height in metres. At a pole a change of longitude does nothing.
  T3DPoint EarthCentredChange(const double& lat, const double& lon, const double& h, const double& dlat,
                              const double& dlon, const double& dh) const;

  /// Earth-centred to geodetic, in closed form: H. Vermeille, An analytical method to transform geocentric
  /// into geodetic coordinates, Journal of Geodesy 85, 2011, doi:10.1007/s00190-010-0419-x. The answer is
  /// that of the nearest point of the ellipsoid, with the longitude in (-180, 180], 0 on the axis.
  ///
  /// Near the centre (on Earth within 43 km of it, inside the evolute of the meridian) a point has several
  /// normals; the answer is still the nearest point's, on the side of the equator where Z is. In the plane of
  /// the equator, where two are nearest, it is the northern one, and at the centre itself the north pole,
  /// with height -b. There the latitude jumps or is ill-conditioned; the three numbers together still lead
  /// back to the point. Three NaNs unless all three coordinates are finite.
  void ToGeodetic(const T3DPoint& point, double* lat, double* lon, double* h) const;

 private:
  double a_ = WGS84SemiMajorAxis;
  double f_ = WGS84Flattening;
};

}  // namespace SatCommonUtils
