/// \file
/// Linear systems of a size known when compiling (internal): the general solvers' arithmetic, bit for bit,
/// in arrays of the caller, without allocation. Meant for sizes of a few unknowns, where the compiler
/// unrolls. A matrix is an array of rows, A[row][column].
#pragma once

#include <cstddef>

#include "kelvane/numeric/cholesky.h"
#include "kelvane/numeric/elimination.h"
#include "kelvane/numeric/least_squares.h"

namespace SatCommonUtils {

/// Solves a·x + b·y = e, c·x + d·y = f in closed form; false, `*x` and `*y` untouched, when the determinant
/// is 0.0. The results' places may be those of the coefficients, hence the copies.
inline bool SmallEquationsSet(double a, double b, double c, double d, double e, double f, double* x,
                              double* y) {
  const double determinant = b * c - a * d;
  if (determinant == 0.0) return false;
  *x = (b * f - d * e) / determinant;
  *y = (e * c - f * a) / determinant;
  return true;
}

/// Solves A·x = b; overwrites `A` and `b`. Returns the determinant; 0.0, `x` untouched, when singular.
template <std::size_t N>
inline double SmallGauss(double (&A)[N][N], double (&b)[N], double (&x)[N]) {
  using Size = TFixedSize<N>;
  return Eliminate(TFixedRows<double, N>{A}, b, x, Size(), TRightOfPivot<Size>{}, TUnwatched());
}

/// A = Uᵀ·U. Only the upper triangle of `A` is read and only that of `U` written. False when `A` is not
/// positive definite, `U` then partly written.
template <std::size_t N>
inline bool SmallCholeskyDecomposition(const double (&A)[N][N], double (&U)[N][N]) {
  double squares[N] = {};
  return DecomposeCholesky(TFixedRows<const double, N>{A}, TFixedRows<double, N>{U}, squares, TFixedSize<N>(),
                           TUnwatched());
}

/// Solves Uᵀ·U·x = b.
template <std::size_t N>
inline void SmallCholeskySolution(const double (&U)[N][N], const double (&b)[N], double (&x)[N]) {
  double sums[N] = {};
  double solution[N];
  for (std::size_t i = 0; i < N; ++i) solution[i] = b[i];
  SolveFactored<1>(TFixedRows<const double, N>{U}, solution, sums, TFixedSize<N>(), TUnwatched());
  for (std::size_t i = 0; i < N; ++i) x[i] = solution[i];
}

/// Solves A·x = b for a symmetric positive definite `A`; false, `x` untouched, when it is not.
template <std::size_t N>
inline bool SmallCholesky(const double (&A)[N][N], const double (&b)[N], double (&x)[N]) {
  double U[N][N];
  if (!SmallCholeskyDecomposition(A, U)) return false;
  SmallCholeskySolution(U, b, x);
  return true;
}

/// Normal matrix and free term of the m observations A·x = l: normal = Aᵀ·W·A, in full, and u = Aᵀ·W·l, with
/// W the diagonal of the m weights `w`; each weight is 1 when `w` is null.
template <std::size_t N>
inline void SmallNormalEquations(const double (*A)[N], const double* l, const double* w, std::size_t m,
                                 double (&normal)[N][N], double (&u)[N]) {
  const TFixedRows<double, N> rows{normal};
  for (std::size_t i = 0; i < N; ++i) {
    u[i] = 0.0;
    for (std::size_t j = i; j < N; ++j) normal[i][j] = 0.0;
  }
  for (std::size_t k = 0; k < m; ++k) {
    AddObservation(A[k], l[k], w == nullptr ? 1.0 : w[k], TFixedSize<N>(), 0, N, rows, u);
  }
  for (std::size_t i = 0; i < N; ++i) MirrorRow(rows, i, TFixedSize<N>());
}

}  // namespace SatCommonUtils
