/// \file
/// The cubic polynomials of the rational polynomial model.
#pragma once

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// Evaluates the model's four cubic polynomials, and their derivatives, at a normalised ground point.
///
/// P is the normalised latitude, L the normalised longitude, H the normalised height (no units, -1 to 1
/// inside the model's range; any other number is taken). Coefficient k multiplies term k of the RPC00B
/// order (NGA, "The Compendium of Controlled Extensions for the NITF", STDI-0002):
///
///     0: 1     5: L H    10: P L H   15: P^3
///     1: L     6: P H    11: L^3     16: P H^2
///     2: P     7: L^2    12: L P^2   17: L^2 H
///     3: H     8: P^2    13: L H^2   18: P^2 H
///     4: L P   9: H^2    14: L^2 P   19: H^3
///
/// `coefs` points to four arrays of 20: line numerator, line denominator, sample numerator, sample
/// denominator. Each output is an array of four, in the same order, or null when it is not wanted:
/// `values`, and the derivatives `dP`, `dL`, `dH` by P, L and H. Terms are summed in rising k.
KELVANE_API void CalculateRPCPolynomes(const double& P, const double& L, const double& H,
                                       const double* const* coefs, double* values, double* dP, double* dL,
                                       double* dH);

}  // namespace SatCommonUtils
