/// \file
/// Points of one plane and where they lie in another: what the estimators of plane transforms work on.
#pragma once

#include <vector>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// A source point (x, y) and its target point (X, Y).
struct T2DTransformParamsSourceDataItem {
  /// x and y in the unit of the source, X and Y in that of the target.
  double Xfrom = 0.0;
  double Yfrom = 0.0;
  double Xto = 0.0;
  double Yto = 0.0;
};

/// Prints each pair through the host's `KaPrintDbgMsg`, as "Xfrom=%20.3lf Yfrom=%20.3lf Xto=%20.3lf
/// Yto=%20.3lf" (on one line), cut to 127 characters.
KELVANE_API void DebugOutput(const std::vector<T2DTransformParamsSourceDataItem>& points);

}  // namespace SatCommonUtils
