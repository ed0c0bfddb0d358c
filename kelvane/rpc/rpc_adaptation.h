/// \file
/// A model that is brought nearer to points from where it stands.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

/// How many steps an adaptation makes at most for each of the two functions.
constexpr int RPCAdaptationMostSteps = 200;

/// Moves the coefficients of `*rpc` until it fits the items best, by damped least squares (K. Levenberg, "A
/// method for the solution of certain non-linear problems in least squares", Quarterly of Applied Mathematics
/// 2(2), 1944; D. W. Marquardt, SIAM Journal 11(2), 1963), line and sample each by itself. Offsets and scales
/// stay; items that are not normalised are normalised with them. Unlike `EstimateRPC`, whose undamped steps
/// wander where numerator and denominator have almost a factor in common, it begins with the coefficients
/// that the record has, and no step makes the fit worse: that suits small changes of a model. The
/// denominators' first coefficients become 1.
///
/// False, with `*rpc` untouched, for fewer items than `RPCEstimationLeastItems`; when the record does not
/// give each of them a finite image, as when a denominator begins with 0 or a scale is 0; and when an item is
/// not finite.
KELVANE_API bool AdaptRPC(const TRPCEstimationDataSet& data, TRPCData* rpc);

}  // namespace SatCommonUtils
