/// \file
/// The rays by which images see a ground point, and the angle between two of them.
///
/// A model's ray is where its line and sample stay: along the product of their derivatives, taken from
/// degrees and metres to Earth-centred metres on WGS 84. So nothing is iterated, and the ray is the tangent
/// at the ground point of the curve that the model sees. Ground points are (latitude, longitude, height) in
/// degrees and metres. What the models' virtual `CalculateLineSample` throws passes through; an empty model
/// is the caller's fault.
#pragma once

#include "kelvane/geometry/spatial.h"
#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// Writes the ray from the ground point up to the sensor, Earth-centred; its direction is as long as to rise
/// by one metre of height. False, `*ray` untouched, when the ray is level or its numbers are not finite.
KELVANE_API bool CalculateRay(const TRPC& model, const double& lat, const double& lon, const double& h,
                              TRay* ray);

/// Writes the angle, degrees from 0 to 180, between the rays of two models at a ground point; that of their
/// stereo pair there. False, `*degrees` untouched, when one has no ray.
KELVANE_API bool CalculateConvergenceAngle(const TRPC& a, const TRPC& b, const double& lat, const double& lon,
                                           const double& h, double* degrees);

}  // namespace SatCommonUtils
