/// \file
/// Points of space from their images in two first-order models.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc1.h"

namespace SatCommonUtils {

/// The iteration of `SpaceIntersection`.
struct TSpaceIntersection {
  static constexpr int MaxIterations = 10;  ///< systems solved at most
  /// It ends when no component of a correction moves the images by more, in pixels; that correction is
  /// applied.
  static constexpr double StepTolerance = 1e-6;
  /// Below this sine, between what a change of one unknown does to the images and what changes of the others
  /// can do, the rays are parallel for all that rounding leaves.
  static constexpr double LeastIndependence = 1e-6;
};

/// The point (X, Y, Z), in the system of both models' coefficients, whose images miss the two image points
/// least: by the sum of the squares of the four differences of line and sample, in pixels, all of weight 1.
/// The ratios multiplied out, four linear equations, give a start; Gauss-Newton iterations on the ratios lead
/// from there to the least squares (E. M. Mikhail, J. S. Bethel, J. C. McGlone, Introduction to Modern
/// Photogrammetry, Wiley 2001, has it for frame images). The unknowns may be of very different
/// sizes, such as degrees and metres: each is scaled by its effect on the images.
///
/// `*residual` (may be null) becomes the root mean square, in pixels, of the four differences that are left.
/// False, nothing written, when the rays are parallel, when the iteration does not end within
/// `TSpaceIntersection::MaxIterations`, and when numbers are not finite. That a point lies in front of the
/// sensors, or within the reach of the models, is not checked. Allocates nothing.
KELVANE_API bool SpaceIntersection(const TRPC1& a, const double& lineA, const double& sampleA, const TRPC1& b,
                                   const double& lineB, const double& sampleB, double* X, double* Y,
                                   double* Z, double* residual);

}  // namespace SatCommonUtils
