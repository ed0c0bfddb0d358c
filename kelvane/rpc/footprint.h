/// \file
/// Where a model's image lies on the ground, how large its pixels are there, and how far two models
/// differ over it: what a person asks first of a model.
#pragma once

#include <array>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// A ground point at a known height, in degrees.
struct TGroundPosition {
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
/// and last sample, last line and first sample. False, `*corners` unchanged, when the model has no ground
/// point for one of them.
KELVANE_API bool CalculateFootprint(const TRPC& model, std::array<TGroundPosition, 4>* corners);

/// The pixel's size at the image's centre (line and sample offset) and the height offset, on the WGS 84
/// ellipsoid. False, `*distance` unchanged, when there is no ground point for the centre.
KELVANE_API bool CalculateGroundSampleDistance(const TRPC& model, TGroundSampleDistance* distance);

/// The largest distance in pixels between the projections of one ground point by two models, over a grid
/// of 11 nodes an axis that fills the normalised ground cube of `a`. Only nodes that `a` sees within its
/// image count, where it sees any; elsewhere a model promises nothing. NaN when a projection is NaN.
KELVANE_API double CalculateMaxImageDifference(const TRPC& a, const TRPC& b);

}  // namespace SatCommonUtils
