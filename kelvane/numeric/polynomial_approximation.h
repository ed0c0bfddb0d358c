/// \file
/// Functions of one variable made from samples.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"
#include "kelvane/numeric/polynomial.h"

namespace SatCommonUtils {

/// A function made from samples.
class KELVANE_API TInterpolation {
 public:
  virtual ~TInterpolation();

  /// Makes the function from the n samples y[i] at x[i]; true when it can be used.
  virtual bool Build(std::size_t n, double* x, double* y) = 0;
  /// Frees what `Build` made.
  virtual void Destroy() = 0;
  /// The function at x; of one that was not built, what the class says.
  virtual double GetValue(double x) const = 0;

 protected:
  TInterpolation() = default;
  /// By derived classes.
  TInterpolation(const TInterpolation&) = default;
  TInterpolation& operator=(const TInterpolation&) = default;
};

/// The polynomial that fits the samples best in the sense of least squares, in the monomial basis. Bring
/// the variable to about -1 to 1 first: the normal equations lose twice the digits that its spread costs.
class KELVANE_API TLeastSquaresPolynomialApproximation : public TInterpolation, public TPolynome {
 public:
  /// The zero polynomial; a negative order throws as `TPolynome` does. `Reset` changes the order.
  explicit TLeastSquaresPolynomialApproximation(int order = 0) : TPolynome(order, nullptr) {}

  /// Fits coefficients of the polynomial's order. False, and the polynomial stays as it was, when the normal
  /// equations are singular, which fewer different `x` than coefficients make them, or their solution is
  /// not finite.
  bool Build(std::size_t n, double* x, double* y) override;
  /// Does nothing.
  void Destroy() override;
  /// The polynomial at x.
  double GetValue(double x) const override { return TPolynome::GetValue(x); }
};

}  // namespace SatCommonUtils
