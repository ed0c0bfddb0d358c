/// \file
/// Linear solvers over `TMatrix` and `TVector`, two records of a linear system, and closed forms.
///
/// Singularity is told by the result (0.0 or false), never by an exception. A matrix with fewer rows or
/// columns than the system has equations, or a result vector too short for it, throws `std::runtime_error`
/// "double& TVector::operator[] (size_t index)". Nothing keeps state: calls may run at the same time.
///
/// Accuracy, for finite systems without overflow or underflow (N. J. Higham, Accuracy and Stability of
/// Numerical Algorithms, 2nd ed., SIAM 2002, doi:10.1137/1.9780898718027, theorems 9.4 and 10.4):
/// - Gauss: |A·x - b| is at most `GaussResidualBound(n)` · g · sum|x(j)| in every row, with g the largest
///   absolute value of an element of the triangular matrix (in practice a small multiple of A's);
/// - Cholesky: |A·x - b| is at most `CholeskyResidualBound(n)` · √A(i,i) · sum(√A(j,j)·|x(j)|) in row i. The
///   same holds for each column of an inverse, with the column of the identity as b.
#pragma once

#include <cstddef>
#include <limits>

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/vector.h"

namespace SatCommonUtils {

/// See above: what an elimination of n unknowns leaves.
constexpr double GaussResidualBound(std::size_t n) {
  return 2.0 * static_cast<double>(n) * static_cast<double>(n) * std::numeric_limits<double>::epsilon();
}

/// See above: what a Cholesky decomposition of n unknowns leaves.
constexpr double CholeskyResidualBound(std::size_t n) {
  return 2.0 * (static_cast<double>(n) + 1.0) * std::numeric_limits<double>::epsilon();
}

/// Solves A·x = b for n = `b.size` equations by Gaussian elimination with partial pivoting, in place: the
/// first n rows of `A` are left upper triangular and in pivot order (what stands left of the diagonal is
/// rounding), `b` likewise. `x` holds at least n elements. Returns the determinant; 0.0, with `x` not
/// written, when it is 0.0 exactly or a pivot column is all zeros. There is no tolerance, and a NaN is not
/// singular: it spreads. Zero equations have the determinant 1. Throws before anything is changed when `A`
/// is too small, and after the elimination, `x` not written, when `x` is.
KELVANE_API double GaussTriangle(TMatrix& A, TVector& b, TVector& x);

/// The same in copies: `A` and `b` stay as they are.
KELVANE_API double Gauss(const TMatrix& A, const TVector& b, TVector& x);

/// Condition number in the maximum-row-sum norm, `Norma1(~A) · Norma1(A)`; 0 when `A` is singular. The
/// inverse solves a system of n² unknowns: for small matrices only.
KELVANE_API double Cond(const TMatrix& A);

/// Writes the upper triangular factor of the symmetric positive definite A = Uᵀ·U, with zeros below its
/// diagonal, for n = A's width; `U` is n x n, and may be `A`. Reads the upper triangle of `A` only. False
/// when a diagonal element is not left above 1e-20 (a NaN is not), or when `callback` (may be null), which
/// comes after each row, returns non-zero: the rows of `U` before are then finished, with zeros below their
/// diagonal elements, and the others untouched.
KELVANE_API bool CholesskyDecomposition(const TMatrix& A, TMatrix& U, int (*callback)());

/// Solves A·x = b for a symmetric positive definite `A` of width n; `b` and `x` hold at least n elements.
/// False, `x` not written, when `A` is not positive definite.
KELVANE_API bool Cholesky(const TMatrix& A, const TVector& b, TVector& x);

/// Writes the inverse of a symmetric positive definite matrix; `Ainv` is n x n with n = A's width, and may be
/// `A`. False, `Ainv` not written, when `A` is not positive definite. `callback` (may be null) comes after
/// each column; its result is ignored.
KELVANE_API bool CholeskyMatrixInversion(const TMatrix& A, TMatrix* Ainv, int (*callback)());

/// Solves a·x + b·y = e, c·x + d·y = f. False, `*x` and `*y` untouched, when the determinant is 0.0 exactly.
KELVANE_API bool SolveEquationsSet(const double& a, const double& b, const double& c, const double& d,
                                   const double& e, const double& f, double* x, double* y);

/// Solves A·x = b by Cramer's rule; `A` holds 9 values row by row, `b` and `x` 3 each; `x` may be `b`. `x` is
/// not written when the determinant is 0.0 exactly.
KELVANE_API void SolveKramer3(const double* A, const double* b, double* x);

/// A square system A·x = b; holds copies.
class KELVANE_API TLinearSystem {
 public:
  /// Copies both. That `coef` is square and `free` as long is not checked.
  TLinearSystem(const TMatrix& coef, const TVector& free) : coef_(coef), free_(free) {}

  /// Copies what they are given; sizes are not checked.
  void Set(const TMatrix& coef, const TVector& free);
  void SetCoef(const TMatrix& coef) { coef_ = coef; }
  void SetFree(const TVector& free) { free_ = free; }

  /// Resizes `x` to the number of equations when it differs (its elements are then zeros), then `Gauss`.
  double SolutionGauss(TVector& x) const;
  /// The determinant, found by solving.
  double Det() const;
  /// See `Cond` above; of the coefficients alone.
  double Cond() const { return SatCommonUtils::Cond(coef_); }

 private:
  TMatrix coef_;
  TVector free_;
};

/// An overdefined system: m observations (rows) of n unknowns (columns), solved by weighted least squares;
/// holds copies.
class KELVANE_API TOverdefinedLinearSystem {
 public:
  /// Every weight is 1. Throws the C string "TOverdefinedLinearSystem::TOverdefinedLinearSystem(const
  /// TMatrix&,const TVector&)" (with one blank behind "const") unless `A` is at least as high as wide and `l`
  /// holds one value, at least one, for each of its rows.
  TOverdefinedLinearSystem(const TMatrix& A, const TVector& l);

  /// With the weight of each observation. Throws the same text, also when `w` has another size than `l`.
  TOverdefinedLinearSystem(const TMatrix& A, const TVector& l, const TVector& w);

  /// Resizes `x` to n and writes the solution of the normal equations, by Cholesky, or by Gaussian
  /// elimination when that fails. A system that is singular for both leaves zeros.
  void Solution(TVector& x) const;
  /// The same; false when the system is singular. Zeros may be a solution as well.
  bool Solve(TVector& x) const;

 private:
  TMatrix coef_;
  TVector free_;
  TVector weights_;
};

}  // namespace SatCommonUtils
