/// \file
/// Where a model's image lies on the ground, and how large its pixels are there: what a person asks first
/// of a model. Both functions make the model's approximation when it has none.
#pragma once

#include <array>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// A ground point at a known height, in degrees.
struct TGroundPosition {
  /// The longitude is in (-180, 180].
  double Latitude = 0.0;
  double Longitude = 0.0;
};

/// Size of a pixel on the ground, in metres.
struct TGroundSampleDistance {
  double Line = 0.0;    ///< from one line to the next
  double Sample = 0.0;  ///< from one sample to the next
};

/// The corners of the normalised image (line and sample offset minus and plus scale) on the ground at the
/// model's height offset, in the order first line and first sample, first line and last sample, last line
/// and last sample, last line and first sample. Longitudes are in (-180, 180].
/// False, `*corners` unchanged, when the model is empty or has no ground point for one of them.
KELVANE_API bool CalculateFootprint(const TRPC& model, std::array<TGroundPosition, 4>* corners);

/// The pixel's size at the image's centre (line and sample offset) and the height offset, on the WGS 84
/// ellipsoid. False, `*distance` unchanged, when the model is empty or has no ground point for the centre.
KELVANE_API bool CalculateGroundSampleDistance(const TRPC& model, TGroundSampleDistance* distance);

}  // namespace SatCommonUtils
