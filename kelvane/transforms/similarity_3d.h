/// \file
/// The seven-parameter similarity transform of space.
///
/// (X, Y, Z) = shift + Scale · R · (x, y, z), from a source point to a target point, with the rotation
/// R = Rx(Alpha) · Ry(Beta) · Rz(Gamma) of orientation/rzyx_rotation.h: the vector is turned about Z first,
/// then Y, then X, a positive angle from X to Y, from Z to X, from Y to Z. (B. Hofmann-Wellenhof, H. Moritz,
/// Physical Geodesy, 2nd ed., Springer 2006, has the transform, as that between reference
/// systems; the order and senses of the angles vary between authors.)
///
/// Nothing but a member that says so changes its object: reading from several threads is safe.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "kelvane/geometry/point_3d.h"
#include "kelvane/module/export.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// Usable when all seven are finite and the scale is above 0. The default is the identity.
struct T7Params {
  double ShiftX = 0.0;  ///< in the unit of the target, as the other two
  double ShiftY = 0.0;  ///< likewise
  double ShiftZ = 0.0;  ///< likewise
  double Alpha = 0.0;   ///< about X, radians
  double Beta = 0.0;    ///< about Y, radians
  double Gamma = 0.0;   ///< about Z, radians
  double Scale = 1.0;   ///< units of the target for one of the source
};

/// A point in both systems.
struct T7ParamsSourceDataItem {
  T3DPoint From;  ///< in the source system
  T3DPoint To;    ///< in the target system
};

/// Reads the keys "ShiftX", "ShiftY", "ShiftZ", "Alpha", "Beta", "Gamma" and "Scale" from the reader's
/// current section, all required. False, `*params` untouched, when one is missing or no number; whether the
/// record is usable is not asked. Lets no exception out.
KELVANE_API bool InitializeFromXML(TKaXIniReader* reader, T7Params* params);
/// The same from the sub-section `key`; false also when there is none, `*params` untouched, or when it cannot
/// be left.
KELVANE_API bool InitializeFromXML(TKaXIniReader* reader, std::string key, T7Params* params);
/// Writes the seven keys in this order into the current section; false at the first write that fails.
KELVANE_API bool SaveToXML(const T7Params& params, TKaXIniWriter* writer);
/// The same into a new sub-section `key`.
KELVANE_API bool SaveToXML(const T7Params& params, TKaXIniWriter* writer, std::string key);

/// The parameters of the inverse transform, of the same form. False, `*dst` untouched, when `src` is not
/// usable or its inverse would not be. `*dst` may be `src`.
///
/// Here and below, angles that are found lie in [-pi, pi], Beta in [-pi/2, pi/2]. Where Beta is ±pi/2 many
/// pairs of Alpha and Gamma make the same rotation; one of them is given. The rotation that they make is the
/// one sought to rounding, wherever the angles lie.
KELVANE_API bool Invert7Params(const T7Params& src, T7Params* dst);

/// The transform that applies `first`, then `second`. `*result` may be either. Not checked.
KELVANE_API void Combine7Params(const T7Params& first, const T7Params& second, T7Params* result);

/// The least-squares transform of three pairs at least: the one that leaves the least sum of squared
/// distances between target points and transformed source points, all of one weight, whatever the rotation.
/// In closed form, so that it needs no initial values: the rotation is the unit quaternion of the largest
/// eigenvalue of a symmetric 4 x 4 matrix (B. K. P. Horn, Closed-form solution of absolute orientation using
/// unit quaternions, Journal of the Optical Society of America A 4(4), 1987, doi:10.1364/JOSAA.4.000629).
/// Where the target is mirrored the best rotation is found all the same, with large residuals.
///
/// False, `*params` untouched, for fewer than three pairs, for numbers that are not finite, and when the
/// pairs do not tell one rotation: source or target points coincident or collinear (not wider than
/// `NarrowestCloud` of spatial.h in their length, or than rounding), or without likeness.
KELVANE_API bool Calculate7Params(const std::vector<T7ParamsSourceDataItem>& points, T7Params* params);

/// Initial values for an adjustment of the caller's: the same from three pairs only, whose source points lie
/// far apart, found in four passes over all. Results as above; a number that is not finite, in whichever
/// pair, makes it false. Of the other pairs' target points nothing else is asked.
KELVANE_API bool Initialize7Params(const std::vector<T7ParamsSourceDataItem>& points, T7Params* params);

/// The transform, and the way back.
class KELVANE_API T7ParamsTransform {
 public:
  /// The identity.
  T7ParamsTransform() = default;
  /// Throws `TKaMessage` "T7ParamsTransform::T7ParamsTransform(const T7Params& src)" when `src` or its
  /// inverse is not usable.
  explicit T7ParamsTransform(const T7Params& src);
  /// Estimates the transform with `Calculate7Params`; throws `TKaMessage`
  /// "T7ParamsTransform::T7ParamsTransform(const std::vector<T7ParamsSourceDataItem>& points)" (on one line)
  /// when that is false.
  explicit T7ParamsTransform(const std::vector<T7ParamsSourceDataItem>& points);
  /// Reads it from the current section; throws `TKaMessage`
  /// "T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src)".
  explicit T7ParamsTransform(TKaXIniReader* src);
  /// Reads it from the sub-section `key`; throws `TKaMessage`
  /// "T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src, std::string key)".
  T7ParamsTransform(TKaXIniReader* src, std::string key);

  /// As the constructors, but false instead of an exception; the transform then stays as it was.
  bool Initialize(const T7Params& src);
  bool Initialize(const std::vector<T7ParamsSourceDataItem>& points);
  /// Of the transform, and of its inverse; `dst` must not be null.
  void GetParameters(T7Params* dst) const { *dst = params_; }
  void GetInverseParameters(T7Params* dst) const { *dst = inverse_; }

  /// The target of a source point; what is not finite gives what it gives.
  T3DPoint DirectTransform(const T3DPoint& from) const;
  /// Solves for the source point; to rounding of the coordinates, also where the shift is large.
  T3DPoint InverseTransform(const T3DPoint& to) const;

  /// The target points less the transformed source points, into `*residuals` (may be null). Returns their
  /// root mean square over all coordinates; NaN when there are no pairs.
  double GetResiduals(const std::vector<T7ParamsSourceDataItem>& points,
                      std::vector<T3DPoint>* residuals) const;

  /// Reads the seven keys; false, unchanged, also when the record or its inverse is not usable. Lets no
  /// exception out.
  bool InitializeFromXML(TKaXIniReader* reader);
  bool InitializeFromXML(TKaXIniReader* reader, std::string key);
  /// Writes the seven keys of the transform; the inverse is not written.
  bool SaveToXML(TKaXIniWriter* writer) const;
  bool SaveToXML(TKaXIniWriter* writer, std::string key) const;

 private:
  T7Params params_;
  T7Params inverse_;
  /// Rows of R.
  std::array<T3DPoint, 3> rotation_ = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
};

}  // namespace SatCommonUtils
