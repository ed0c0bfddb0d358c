/// \file
/// The refinement of a model, estimated from control points: ground points whose images were measured.
///
/// Blunders are found before they can do harm. For a shift, the start is the median of the differences,
/// by line and by sample. For an affine refinement it is the map through three of the points that leaves the
/// least median of squared residuals (P. J. Rousseeuw, "Least median of squares regression", Journal of the
/// American Statistical Association 79, 1984), over all threes, or, of more than 27 points, over 3000 that a
/// fixed sequence picks. From there a least-squares fit to the points that are kept and the choice of the
/// points to keep take turns until the choice stands. A point is kept while its residual, the distance of the
/// refined image point from the measured one, is at most
///   max(`RefinementRejection` * sigma, `RefinementLeastRejection`),
/// sigma being the standard deviation of a coordinate: the median length of the residuals (of a few points
/// somewhat more), divided by 1.1774, what it is for normally distributed ones, times 1 + q + q^2 with q = 5
/// / (n - p) for n points and a start by p of them. The correction 1 + q for few points is that of P. J.
/// Rousseeuw, A. M. Leroy, "Robust regression and outlier detection", Wiley 1987; its square keeps, by
/// simulation, the good points of 98 in 100 affine sets of five, and of 99 in 100 larger ones.
///
/// Of n points (n - p) / 2, rounded down, may be blunders, as long as they lie well beyond that bound and the
/// others determine the refinement and agree: nearly half of many, one of five for an affine refinement or of
/// three for a shift, none of fewer. One more, and the fit may follow them; `MostBlunders` tells the number.
/// The same points in the same order give the same bits.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/refinement/affine_refinement.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

/// What is estimated: the two biases, from a point at least, or all six coefficients, from three at least.
enum class TE_RefinementKind { Shift, Affine };

/// In standard deviations, and in pixels: see above.
constexpr double RefinementRejection = 4.0;
constexpr double RefinementLeastRejection = 0.1;

/// An affine refinement is not estimated from points closer to a line than this: the standard deviation of
/// the kept points' raw image coordinates across it, as a part of that along it.
constexpr double RefinementLeastSpread = 1e-3;
/// Below this `Spread`, an affine refinement is worth a remark: away from the points' line, the errors of
/// their images grow to many times what they are on it.
constexpr double RefinementGoodSpread = 0.05;

/// What became of a control point. Residuals are measured less computed coordinates, in pixels.
struct TRefinementPoint {
  bool Rejected = false;      ///< left out as a blunder
  double LineBefore = 0.0;    ///< against the model
  double SampleBefore = 0.0;  ///< likewise
  double Line = 0.0;          ///< against the refined model
  double Sample = 0.0;        ///< likewise
};

/// Covariances of a refinement's coefficients, those of the line and those of the sample; the two do not
/// depend on each other. In the order bias, drift, tilt, row by row; pixels and parts of pixels, squared.
struct TRefinementCovariance {
  double Line[3][3] = {};    ///< of `LineBias`, `LineDrift`, `LineTilt`
  double Sample[3][3] = {};  ///< of `SampleBias`, `SampleDrift`, `SampleTilt`
};

/// A refinement and how well the points agree with it.
struct TRefinementEstimate {
  TRPCRefinementDataAffine Refinement;  ///< from the model's coordinates to refined ones, in pixels
  /// From the residuals of the points that were kept, as of ordinary least squares; the scale of the errors
  /// is theirs, by line and by sample. Coefficients that are not estimated have zeros. All NaN where no point
  /// is redundant. A few good points are rejected with the blunders, so the numbers are somewhat small.
  TRefinementCovariance Covariance;
  /// The square roots of its diagonals: standard deviations, in place of the coefficients.
  TAffineCorrection Deviations;
  /// One for each control point, in their order.
  std::vector<TRefinementPoint> Points;
  std::size_t Kept = 0;  ///< how many were not rejected
  /// How many blunders among so many points can be found. With 0 none can: the refinement then goes by
  /// whatever it was given.
  std::size_t MostBlunders = 0;
  /// Root mean square of the distances between computed and measured image points, over the points that were
  /// kept, in pixels. With no more points than the refinement needs, there is nothing to tell it by.
  double RmsBefore = 0.0;
  double RmsAfter = 0.0;
  double RejectedBeyond = 0.0;  ///< the length of a residual, pixels
  /// Of the kept points: see `RefinementLeastSpread`. The smaller, the less an affine refinement is worth
  /// beside the line.
  double Spread = 0.0;
  /// Why there is no estimate; empty when there is one.
  std::string Problem;
};

/// Estimates the refinement that takes where the model sees the ground points to where they were measured:
/// `Line` and `Sample` of the items, pixels; degrees and metres, nothing normalised, longitudes in the turn
/// of the model's offset. The model projects by its virtual `CalculateLineSample`; the refinement of one that
/// is refined already comes on top of its own.
///
/// False, with a `Problem` that a person can read and nothing else in `*estimate`, for too few points; when a
/// coordinate is not finite, or the model gives a point no finite image; when no three of
/// the points for an affine refinement are off a line, or those that are kept lie on one; and when the
/// refinement found has no inverse. The model must be loaded; what it throws passes through.
KELVANE_API bool EstimateRefinement(const TRPC& model, const std::vector<TRPCEstimationDataItem>& points,
                                    TE_RefinementKind kind, TRefinementEstimate* estimate);

}  // namespace SatCommonUtils
