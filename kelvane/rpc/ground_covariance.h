/// \file
/// How exactly an intersected ground point is known.
#pragma once

#include <cstddef>

#include "kelvane/geometry/ellipsoid.h"
#include "kelvane/module/export.h"
#include "kelvane/rpc/ground_solution.h"

namespace SatCommonUtils {

/// The covariance of a ground point in its local frame.
struct KELVANE_API TGroundCovariance {
  /// Square metres, row by row: east, north, up (along the ellipsoid's normal).
  double EastNorthUp[3][3] = {};

  /// Standard deviation of one of the three, in metres.
  double Deviation(std::size_t axis) const;
};

/// Carries the errors of image coordinates through the intersection as `SolveLatLonH` does it, with equal
/// weights: with N = AᵀA, A the derivatives of all image coordinates by the ground, the covariance is
/// N⁻¹ Aᵀ S A N⁻¹ (E. M. Mikhail, F. Ackermann, "Observations and least squares", 1976). S is diagonal:
/// errors are independent, of both coordinates of image i with the standard deviation `sigmas[i]`, in pixels;
/// errors of the models, which points share, are not in it. `lat`, `lon` (degrees) and `h` (metres) are where
/// the images meet; what was measured in the items is not read.
///
/// False, with `*covariance` untouched, for fewer than two images, a sigma that is below 0 or not finite,
/// rays that do not determine the point, and derivatives that are not finite. What a model throws passes
/// through.
KELVANE_API bool CalculateGroundCovariance(const TRPCCoordsDataItem* items, const double* sigmas,
                                           std::size_t count, const double& lat, const double& lon,
                                           const double& h, TGroundCovariance* covariance,
                                           const TEllipsoid& ellipsoid = TEllipsoid());

}  // namespace SatCommonUtils
