/// \file
/// A fit of the model that can be relied on, with a report that says how far.
///
/// Beside `EstimateRPC`, which solves the normal equations of all 39 unknowns of each function and wanders
/// where they are nearly dependent, as on scenes that are nearly affine. Here:
///
/// - Each step is solved by Householder QR of the weighted, column-scaled design matrix, block by block (A.
///   Bjorck, "Numerical Methods for Least Squares Problems", SIAM 1996), damped (K. Levenberg, Quarterly of
///   Applied Mathematics 2(2), 1944; D. W. Marquardt, SIAM Journal 11(2), 1963), and taken only where it
///   lowers what is minimised and leaves every denominator at 0.01 or more at every point, 1 being at the
///   centre.
/// - The coefficients of second and third order are held towards 0 (C. V. Tao, Y. Hu, "A comprehensive study
///   of the rational function model for photogrammetric processing", PERS 67(12), 2001) with the weight that
///   generalised cross-validation finds in the points (G. H. Golub, M. Heath, G. Wahba, Technometrics 21(2),
///   1979) on the way from a fit of first order to ever freer ones. With exact points it falls to nothing.
/// - Of a fifth of the points, held out, is asked which degree to take: first, second or third.
/// - Robust weights keep blunders from bending the model (P. W. Holland, R. E. Welsch, "Robust regression
///   using iteratively reweighted least-squares", Communications in Statistics A6(9), 1977).
/// - A denominator with a zero within the cube is refused.
///
/// The same items in the same order give the same bits on any number of threads.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

/// The weight of a point by u, its residual over the robust standard deviation of the residuals, which is
/// 1.4826 times the median of their absolute values: 1 for all; min(1, `RPCFitHuber` / |u|); or
/// (1 - (u / `RPCFitTukey`)^2)^2, and 0 beyond. The constants keep 95 % of the efficiency of least squares
/// for normally distributed residuals (Holland and Welsch). Where no residual is beyond `RPCFitBlunder`,
/// there is nothing to be guarded against, and all weigh 1.
enum class TE_RPCFitWeights { Equal, Huber, Tukey };
/// Of the standard deviation: see `TE_RPCFitWeights`.
constexpr double RPCFitHuber = 1.345;
constexpr double RPCFitTukey = 4.685;
constexpr double RPCFitBlunder = 10.0;

/// How a fit goes about it; the defaults are for points without blunders.
struct TRPCFitOptions {
  int MaxDegree = 3;               ///< 1 to 3
  bool Regularize = true;          ///< hold the coefficients of second and third order towards 0
  bool CommonDenominator = false;  ///< line and sample share their denominator
  TE_RPCFitWeights Weights = TE_RPCFitWeights::Equal;  ///< robust ones where there may be blunders
  int Threads = 1;                                     ///< less than 1 counts as 1; more than 2 are not used
  /// Asked now and then, on the calling thread; a result other than 0 ends the fit. May be null.
  int (*Cancel)() = nullptr;
};

/// Why the steps of a function ended.
enum class TE_RPCFitEnding {
  Converged,     ///< the next step would have changed nothing that counts
  NoBetterStep,  ///< no step made it better, however small
  StepLimit      ///< at the limit of steps
};

/// One of the two functions, line or sample. Residuals in pixels, or normalised where the items were.
struct TRPCFitFunction {
  int Degree = 0;  ///< 1 to 3
  /// Points less the unknowns that were determined by the points rather than by the regularisation.
  double DegreesOfFreedom = 0.0;
  double Rms = 0.0;  ///< of the points that weigh at least `RPCFitLeastWeight`, against the model given out
  double Max = 0.0;  ///< the largest absolute residual of these
  /// The same of the points that were held out, against a model of the same degree fitted without them.
  double HeldOutRms = 0.0;
  double HeldOutMax = 0.0;
  double Scale = 0.0;  ///< robust standard deviation of the residuals; 0 without robust weights
  /// Condition number of the design matrix, its columns scaled to the same length: how much the coefficients
  /// are at the mercy of errors. From 1e16 on, or infinite, some are not determined by the points at all.
  double Condition = 0.0;
  /// Weight of a squared coefficient of second or third order beside the mean of squared residuals,
  /// normalised; 0 for none.
  double Regularization = 0.0;
  int Iterations = 0;  ///< steps taken, in all degrees that were tried
  TE_RPCFitEnding Ending = TE_RPCFitEnding::StepLimit;
  bool PoleRefused = false;  ///< a fit with a zero of its denominator in the cube was refused
};

/// A point is down-weighted when it weighs less than this in line or sample.
constexpr double RPCFitLeastWeight = 0.25;
/// A point that was down-weighted.
struct TRPCFitDownWeighted {
  std::size_t Item = 0;       ///< counted from 0
  double LineWeight = 1.0;    ///< 0 to 1; 0 had no say
  double SampleWeight = 1.0;  ///< likewise
};

/// What a person should make of a fit.
enum class TE_RPCFitVerdict {
  NoModel,     ///< there is none; the record was not written
  Doubtful,    ///< there is a model, and something that a person should look at
  Trustworthy  ///< the model sees points that it was not fitted to as well as it sees the others
};

/// How a fit went, whether it gave a model or not.
struct TRPCFitReport {
  std::size_t Points = 0;                                ///< all that were given
  std::size_t HeldOut = 0;                               ///< of these, to choose the degree by
  TRPCFitFunction Line;                                  ///< of the row
  TRPCFitFunction Sample;                                ///< of the column
  std::vector<TRPCFitDownWeighted> DownWeighted;         ///< in the order of the items
  TE_RPCFitVerdict Verdict = TE_RPCFitVerdict::NoModel;  ///< `Text` has it in words
  /// The verdict in words, reasons included; of `NoModel`, why there is none.
  std::string Text;
};

/// Below this `CalculateLeastExtent` the points count as lying in a plane or on a line.
constexpr double RPCFitLeastExtent = 0.01;

/// What speaks against a fit to the items before any is tried, as told below of `FitRPC`; empty when nothing
/// does.
KELVANE_API std::string WhyNoFit(const std::vector<TRPCEstimationDataItem>& items);

/// Fits a model to the items: ground in degrees and metres, longitudes in one turn, images in pixels; or
/// all normalised, the cube then being -1 to 1. Offsets and scales are found, or not, as by `EstimateRPC`,
/// but rounded to whole pixels, 1e-6 degree and 0.01 m where that widens the range by less than 1 %, so that
/// no form of file has to round them.
///
/// An item is held out when a hash of its ground coordinates falls into the lower fifth of its range (of more
/// than 25000 items: into a part that takes 5000, and 20000 of the others choose the degree with them), so
/// that neither the order of the items nor a pattern in them matters. A higher degree is taken where it sees
/// the held-out items better. The model given out is fitted to all the items.
///
/// False, with `*rpc` untouched and the reason in `report->Text`: for fewer than `RPCEstimationLeastItems`
/// items, or fewer different ground points; when a number is not finite or a field the same in all items;
/// when the ground points lie in a plane or on a line; when every fit has a pole in the cube; when a bound of
/// the options is not kept; and when it is cancelled. `*report` is written in every case. Throws nothing but
/// `std::bad_alloc` and what `Cancel` throws. Memory grows by some 60 bytes an item. Neither pointer may be
/// null.
KELVANE_API bool FitRPC(const TRPCEstimationDataSet& data, const TRPCFitOptions& options, TRPCData* rpc,
                        TRPCFitReport* report);

/// Fits the inverse of a model, as `EstimateInvertedRPC` does, to the same nodes; the report's figures are
/// normalised. False, with `*inverted` untouched, where `FitRPC` is, and for fewer than 1 step.
KELVANE_API bool FitInvertedRPC(const TRPC& rpc, int gridSteps, const TRPCFitOptions& options,
                                TRPCData* inverted, TRPCFitReport* report);

/// Fits a record to any model, a refined one too: to where its virtual `CalculateLineSample` sees the nodes
/// of a grid over its normalised cube, `RPCModelFitNodes` an axis, which stand much as the extremes of a
/// Chebyshev polynomial (L. N. Trefethen, "Approximation theory and approximation practice", SIAM 2013).
/// Offsets and scales are those of the nodes. False, with `*rpc` untouched, where `FitRPC` is, and for an
/// empty model.
KELVANE_API bool FitRPCToModel(const TRPC& model, const TRPCFitOptions& options, TRPCData* rpc,
                               TRPCFitReport* report);
/// An axis of the grid of `FitRPCToModel`.
constexpr int RPCModelFitNodes = 15;

}  // namespace SatCommonUtils
