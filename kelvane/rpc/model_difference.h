/// \file
/// How far two models differ.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// The largest distance in pixels between the projections of one ground point by two models, over a grid
/// of 11 nodes an axis that fills the normalised ground cube of `a`. Only nodes that `a` sees within its
/// image (of a refined model: the raw image, before the refinement) count, where it sees any; elsewhere a
/// model promises nothing. NaN when a projection is NaN. Both must be loaded.
KELVANE_API double CalculateMaxImageDifference(const TRPC& a, const TRPC& b);

/// The same over the whole cube, seen within the image or not, of 41 nodes an axis.
KELVANE_API double CalculateMaxCubeDifference(const TRPC& a, const TRPC& b);

/// How far the ground that an inverse model (`EstimateInvertedRPC`) gives lies from where it is, in degrees:
/// the largest difference of latitude or longitude, over the nodes of a grid of 81 an axis that fills the
/// normalised ground cube of `rpc` and that are seen within its image. NaN when an inverse is NaN, and when
/// no node is seen.
KELVANE_API double CalculateMaxInverseDifference(const TRPC& rpc, const TRPC& inverse);

}  // namespace SatCommonUtils
