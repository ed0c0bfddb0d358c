/// \file
/// Many points at a time: ground to image, image and height to ground, and intersection, over arrays.
///
/// Point i is made of the elements i of separate arrays of `count` doubles. Units are those of the single
/// calls: degrees, metres above the ellipsoid, pixels. The results have the bits of the single calls (a NaN
/// is a NaN, whatever its payload), with any instructions (see simd_target.h), any number of threads, and
/// whatever stands in the arrays beside a point. An array of results may be one of those that are read;
/// otherwise none may overlap another. Arrays of results that are not wanted are null.
///
/// Large batches are shared out to `KaGetThreadsCount` threads; small ones stay on the calling one. So do
/// single calls, which take a batch's place for models of classes other than `TRPC` and `TAdjustedRPC`, and
/// for the intersection of more than 16 models. No memory is taken for points. Models must not be empty. They
/// are read; only an approximation that is missing is made first, by the calling thread: a model that several
/// callers share must have its own. What a model's virtual functions throw passes through, and so does
/// `std::bad_alloc`.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// Derivatives of image coordinates: arrays of those by latitude and by longitude (pixels per degree) and by
/// height (pixels per metre).
struct TRPCBatchDerivatives {
  /// Each array has as many elements as there are points, or is null: then it is not computed.
  double* Line[3] = {nullptr, nullptr, nullptr};
  double* Sample[3] = {nullptr, nullptr, nullptr};
};

/// What is told of points beside their ground.
struct TRPCBatchReport {
  /// 1 where the iteration converged, else 0.
  unsigned char* Converged = nullptr;
  /// Of inverse projections `TRPCInverse::Residual`, of intersections `TGroundSolution::Residual`: what
  /// decides whether the ground is an answer.
  double* Residual = nullptr;
  /// `TGroundSolution::Independence`; not of inverse projections.
  double* Independence = nullptr;
};

/// `TRPC::CalculateLineSample` of each point. Gives how many have a line or sample that is not finite;
/// `finite` has 0 for them, else 1.
KELVANE_API std::size_t CalculateLineSamples(const TRPC& model, std::size_t count, const double* lat,
                                             const double* lon, const double* h, double* line, double* sample,
                                             const TRPCBatchDerivatives& derivatives = {},
                                             unsigned char* finite = nullptr);

/// `TRPC::SolveLatLon` of each point. Gives how many did not converge; they have their last iterate.
KELVANE_API std::size_t SolveLatLons(const TRPC& model, std::size_t count, const double* line,
                                     const double* sample, const double* h, double* lat, double* lon,
                                     const TRPCBatchReport& report = {});

/// `SolveLatLonH` of each point, which is seen in all of `modelCount` models, at `lines[m][i]`,
/// `samples[m][i]` in model m. Gives how many did not converge; they have their last iterate. For fewer than
/// two models, that is all, and nothing of the ground is written.
KELVANE_API std::size_t SolveLatLonHs(const TRPC* const* models, std::size_t modelCount, std::size_t count,
                                      const double* const* lines, const double* const* samples, double* lat,
                                      double* lon, double* h, const TRPCBatchReport& report = {});

}  // namespace SatCommonUtils
