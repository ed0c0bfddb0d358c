/// \file
/// Rational functions fitted to points by damped, regularised, reweighted least squares (internal).
///
/// Notation: a function of degree d has T(d) = 4, 10 or 20 terms in its numerator and as many in its
/// denominator, whose first coefficient is 1. x is the vector of unknowns: the numerator's coefficients, or
/// those of the line's, then of the sample's numerator where both share a denominator, then the denominator's
/// from the second on. J is the design matrix of the residuals r, weighted, at x; L picks the coefficients of
/// second and third order.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc_estimation.h"
#include "kelvane/rpc/rpc_terms.h"

namespace SatCommonUtils {

/// Thrown where a fit is cancelled; never leaves the library.
struct TFitCancelled {};

/// Asks the caller, on the caller's thread only, whether to go on.
class TFitWatch {
 public:
  explicit TFitWatch(int (*cancel)()) : cancel_(cancel) {}
  /// Throws `TFitCancelled`.
  void Poll() {
    if (cancel_ != nullptr && std::this_thread::get_id() == caller_ && cancel_() != 0) cancelled_ = true;
    if (cancelled_) throw TFitCancelled();
  }

 private:
  int (*cancel_)();
  std::thread::id caller_ = std::this_thread::get_id();
  std::atomic<bool> cancelled_ = false;
};

/// Terms of a polynomial of so high a degree.
constexpr std::size_t TermsOfDegree(int degree) { return degree == 1 ? 4 : degree == 2 ? 10 : 20; }

/// One function, or two with the same denominator.
struct TRationalFunctions {
  std::size_t Count = 1;
  int Degree = 1;
  std::array<std::array<double, 20>, 2> Numerators = {};
  std::array<double, 20> Denominator = {1.0};

  std::size_t Terms() const { return TermsOfDegree(Degree); }
  std::size_t Unknowns() const { return (Count + 1) * Terms() - 1; }
  /// Which term unknown k multiplies.
  std::size_t TermOf(std::size_t k) const {
    return k < Count * Terms() ? k % Terms() : k - Count * Terms() + 1;
  }
  double& operator[](std::size_t k) {
    return k < Count * Terms() ? Numerators[k / Terms()][TermOf(k)] : Denominator[TermOf(k)];
  }
  double operator[](std::size_t k) const { return TRationalFunctions(*this)[k]; }
};

/// What is fitted to: normalised items, and which of their fields.
struct TFitObservations {
  const std::vector<TRPCEstimationDataItem>* Items = nullptr;
  std::array<double TRPCEstimationDataItem::*, 2> Observed = {};
  /// The unit of each function's residuals beside the other's.
  std::array<double, 2> Unit = {1.0, 1.0};
};

/// Functions and how their fit went.
struct TRationalFit {
  TRationalFunctions Functions;
  bool Solved = false;       ///< the functions are finite and without a pole in the cube
  bool PoleRefused = false;  ///< there was a pole on the way
  /// Of the residuals of each function, normalised: a robust standard deviation, with robust weights.
  std::array<double, 2> Scale = {};
  /// The points' weights in each function, 0 to 1; empty when all are 1.
  std::array<std::vector<double>, 2> Weights;
  double Regularization = 0.0;
  double EffectiveUnknowns = 0.0;
  double Condition = 0.0;
  int Iterations = 0;
  TE_RPCFitEnding Ending = TE_RPCFitEnding::StepLimit;
};

/// Residuals (computed less observed, normalised) of one function at all items, in their order.
std::vector<double> FitResiduals(const TRationalFunctions& functions, std::size_t which,
                                 const TFitObservations& observations);

/// Starts from a linear solution of first order, without regard to weights.
TRationalFit StartRationalFit(const TFitObservations& observations, std::size_t functions, TFitWatch* watch);

/// All of these fit functions of the degree that `fit->Functions` has, from where they stand.
///
/// Finds scales, and weights of 1 or 0, in a fit that is hardly regularised, so that what the functions
/// cannot follow is a blunder and no want of freedom.
void FindBlunders(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
                  TRationalFit* fit);
/// Gives `*fit` the scales of another fit's residuals, and weights of 1 or 0 by them. False where no scale is
/// much smaller than those which `*fit` had.
bool LeaveOutBlunders(const TFitObservations& observations, const TRationalFit& by, TRationalFit* fit);
/// With weights that stay, chooses the regularisation.
void ChooseRationalFit(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
                       TRationalFit* fit);
/// With the regularisation that the fit has, settles weights of the kind that is asked for.
void RefitRationalFit(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
                      TRationalFit* fit);

}  // namespace SatCommonUtils
