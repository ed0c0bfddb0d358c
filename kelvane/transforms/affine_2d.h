/// \file
/// The six-parameter affine map of the plane. Readers and writers must not be null; whether numbers are
/// finite is not checked.
#pragma once

#include <string>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/transforms/point_pairs.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// X = A1*x + A2*y + A3, Y = B1*x + B2*y + B3, from a source point (x, y) to a target point (X, Y).
/// The default is the identity.
struct T2DAffineParams {
  /// `A3` and `B3` in the unit of the target, the others in its unit for one of the source.
  double A1 = 1.0;
  double A2 = 0.0;
  double A3 = 0.0;
  double B1 = 0.0;
  double B2 = 1.0;
  double B3 = 0.0;
};

/// Reads the keys "A1", "A2", "A3", "B1", "B2", "B3", in this order, from the reader's current section.
/// False when one is missing or no number: the fields before it have then been overwritten, that field and
/// those behind it have not. Lets no exception out.
KELVANE_API bool InitializeFromXML(TKaXIniReader* reader, T2DAffineParams* params);

/// The same from the sub-section `key`, which is left also when the read fails; false also when there is none
/// or it cannot be left.
KELVANE_API bool InitializeFromXML(TKaXIniReader* reader, std::string key, T2DAffineParams* params);

/// Writes the six keys in the same order into the current section; false at the first write that fails.
KELVANE_API bool SaveToXML(const T2DAffineParams& params, TKaXIniWriter* writer);

/// The same into a new sub-section `key`, which is not ended when a write in it has failed.
KELVANE_API bool SaveToXML(const T2DAffineParams& params, TKaXIniWriter* writer, std::string key);

/// The exact inverse map. False, with `*dst` untouched, when |A2*B1 - A1*B2| is at most 1e-20. Where that is
/// NaN, or a number not finite, the result is true and what is written has no use. `src` and `*dst` may be
/// the same record.
KELVANE_API bool Invert2DAffineParams(const T2DAffineParams& src, T2DAffineParams* dst);

/// The map that applies `first`, then `second`. `*result` may be either of the two.
KELVANE_API void Combine2DAffineParams(const T2DAffineParams& first, const T2DAffineParams& second,
                                       T2DAffineParams* result);

/// The map that fits the pairs best, by unweighted least squares; three pairs off a line are met exactly.
/// False, with `*params` untouched, for fewer than three. Source points on one line are not detected: what
/// `TOverdefinedLinearSystem` makes of a singular system is then written. Far from the origin digits are
/// lost; a caller that needs them takes both kinds of points from a centre.
KELVANE_API bool Calculate2DAffineParams(const std::vector<T2DTransformParamsSourceDataItem>& points,
                                         T2DAffineParams* params);

}  // namespace SatCommonUtils
