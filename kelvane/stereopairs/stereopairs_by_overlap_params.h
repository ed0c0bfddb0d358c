/// \file
/// The criteria by which the host chooses stereo pairs.
#pragma once

#include <string>

#include "kelvane/module/export.h"
#include "kelvane/module/host/var_a.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace StereopairsByOverlap {

/// What a pair of images must meet to be taken for a stereo pair. A criterion counts when its flag `Check...`
/// is set; `RejectUndef...` then says that a pair for which it cannot be evaluated is refused. The search is
/// the host's.
///
/// Each field's name is its key in XML. Members that read or write report by their result and let no
/// exception out.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): the order of the fields is the interface's
struct KELVANE_API TStereopairsByOverlapParams {
  /// Marks a limit of an angle that nobody has set.
  static constexpr double UndefinedAngle = 361.0;

  bool TiesRequired;  ///< the images must share tie points

  /// Asks for the criterion, here the share of the image that both see.
  bool CheckOverlapPercentage;
  double MinOverlapPercentage;        ///< percent, above 0 and up to 100
  bool RejectUndefOverlapPercentage;  ///< a pair that cannot be judged by it is refused

  bool CheckOverlapPixels;        ///< the same of the number of pixels in common
  double MinOverlapPixels;        ///< pixels, above 0; the largest finite double is none
  bool RejectUndefOverlapPixels;  ///< a pair that cannot be judged by it is refused

  bool CheckConvergenceAngle;        ///< the same of the angle between the rays
  double MinConvergenceAngle;        ///< degrees, any but `UndefinedAngle`
  double MaxConvergenceAngle;        ///< degrees, likewise; not below the minimum
  bool RejectUndefConvergenceAngle;  ///< a pair that cannot be judged by it is refused

  bool TheSameSensor;      ///< both images must come from one sensor
  bool RejectUndefSensor;  ///< a pair that cannot be judged by it is refused

  bool CheckTimeGap;        ///< the same of the time between the images
  double MinTimeGap;        ///< from 0 up, in the search's unit, as the maximum
  double MaxTimeGap;        ///< not below the minimum
  bool RejectUndefTimeGap;  ///< a pair that cannot be judged by it is refused

  bool CheckDateGap;        ///< the same of the dates
  int MaxDateGap;           ///< from 0 up, in the search's unit
  bool RejectUndefDateGap;  ///< a pair that cannot be judged by it is refused

  bool CheckGSD;             ///< the same of the pixels' sizes on the ground
  double MaxGSDPercentDiff;  ///< difference of the ground sample distances; percent, from 0 to 100
  bool RejectUndefGSD;       ///< a pair that cannot be judged by it is refused

  bool CheckSunAzimuthDiff;        ///< the same of the sun's azimuths
  double MaxSunAzimuthDiff;        ///< degrees, from 0 to 180
  bool RejectUndefSunAzimuthDiff;  ///< a pair that cannot be judged by it is refused

  bool CheckSunElevationDiff;        ///< the same of the sun's elevations
  double MaxSunElevationDiff;        ///< degrees, from 0 to 90
  bool RejectUndefSunElevationDiff;  ///< a pair that cannot be judged by it is refused

  /// As after `Reset`.
  TStereopairsByOverlapParams() { Reset(); }

  /// The defaults: nothing is checked, what is undefined would be refused.
  void Reset();
  /// Sets all flags, and numbers that make the record invalid.
  void Invalidate();
  /// True when the numbers of every criterion that counts are in their ranges, as told above; a NaN is in
  /// none. Criteria that do not count may hold anything.
  explicit operator bool() const;

  /// Reads the current section and tells whether the record is then valid. The numbers and the reject flag of
  /// a criterion that counts must be there, but for `MinTimeGap`; where they may be absent, the default
  /// stands in. Of the other flags only `CheckDateGap`, `CheckSunAzimuthDiff` and `CheckSunElevationDiff` may
  /// be absent, and are then off. A failed read leaves the record as `Invalidate` does; numbers out of range
  /// stay as they were read.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// The same in the sub-section `key`. False also when there is none, the record then as it was, or when it
  /// cannot be left.
  bool InitializeFromXML(TKaXIniReader* reader, const std::string& key);

  /// Writes the current section, up to the first write that fails: every flag, and the numbers that are
  /// defined, whether they count or not. Undefined are a percentage outside 0 to 100, negative pixels, gaps
  /// and GSD differences, `UndefinedAngle`, both convergence angles when either is undefined or the maximum
  /// is below the minimum, and NaN, but in a limit of the Sun's. `MinTimeGap` is left out at 0 too, its
  /// default.
  bool SaveToXML(TKaXIniWriter* writer) const;
  /// The same into a new sub-section `key`.
  bool SaveToXML(TKaXIniWriter* writer, const std::string& key) const;
};

/// A new record, read from the sub-section `key`; empty when that fails in any way.
KELVANE_API var_a<TStereopairsByOverlapParams*> CreateStereopairsByOverlapParams(TKaXIniReader* reader,
                                                                                 const std::string& key);

}  // namespace StereopairsByOverlap
