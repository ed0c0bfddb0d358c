/// \file
/// Cholesky decomposition and solution (internal), written once for every form of a matrix. `Rows` and `Size`
/// are those of elimination.h. A = Uᵀ·U with U upper triangular; elements below the diagonal are neither read
/// nor written. Every sum runs over k upwards from 0.0; several columns are worked on side by side.
#pragma once

#include <cmath>
#include <cstddef>

#include "kelvane/numeric/elimination.h"

namespace SatCommonUtils {

/// What a diagonal element must leave, strictly, for the matrix to count as positive definite.
constexpr double CholeskyThreshold = 1e-20;

/// Elements j to j + Width - 1 of row i of U, and their squares added to those of their columns. The row of A
/// may be the row of U.
template <std::size_t Width, class Factor>
inline void FactorColumns(const double* a_row, const Factor& u, double* squares, std::size_t i,
                          std::size_t j) {
  double sums[Width] = {};
  for (std::size_t k = 0; k < i; ++k) {
    const double* const row = u[k];
    const double left = row[i];
    for (std::size_t c = 0; c < Width; ++c) sums[c] += left * row[j + c];
  }
  double* const u_row = u[i];
  const double diagonal = u_row[i];
  double values[Width];
  for (std::size_t c = 0; c < Width; ++c) values[c] = (a_row[j + c] - sums[c]) / diagonal;
  for (std::size_t c = 0; c < Width; ++c) {
    u_row[j + c] = values[c];
    squares[j + c] += values[c] * values[c];
  }
}

/// Decomposes row after row. `squares` are n zeros to work in. `proceed(i)` is called after row i. False when
/// the matrix is not positive definite or `proceed` says so; the rows before are then finished and the others
/// of U untouched. `a` and `u` may be the same matrix.
template <class Rows, class Factor, class Size, class Proceed>
inline bool DecomposeCholesky(const Rows& a, const Factor& u, double* squares, Size n, Proceed proceed) {
  return ForEach(n, [&](std::size_t i) {
    const double* const a_row = a[i];
    const double rest = a_row[i] - squares[i];
    if (!(rest > CholeskyThreshold)) return false;
    u[i][i] = std::sqrt(rest);
    std::size_t j = i + 1;
    for (; j + 8 <= n; j += 8) FactorColumns<8>(a_row, u, squares, i, j);
    if (j + 4 <= n) {
      FactorColumns<4>(a_row, u, squares, i, j);
      j += 4;
    }
    if (j + 2 <= n) {
      FactorColumns<2>(a_row, u, squares, i, j);
      j += 2;
    }
    if (j < n) FactorColumns<1>(a_row, u, squares, i, j);
    return proceed(i);
  });
}

/// Solves Uᵀ·y = b and U·x = y for `Width` right-hand sides side by side: element i of side c is
/// x[i * Width + c], which holds b before and x after. `sums` are n * Width zeros to work in. `proceed()` is
/// called after each row of y and of x; false when it says so.
template <std::size_t Width, class Factor, class Size, class Proceed>
inline bool SolveFactored(const Factor& u, double* __restrict x, double* __restrict sums, Size n,
                          Proceed proceed) {
  const auto forward = [&](std::size_t k) {
    const double* const row = u[k];
    double y[Width];
    for (std::size_t c = 0; c < Width; ++c) {
      y[c] = (x[k * Width + c] - sums[k * Width + c]) / row[k];
      x[k * Width + c] = y[c];
    }
    for (std::size_t i = k + 1; i < n; ++i) {
      for (std::size_t c = 0; c < Width; ++c) sums[i * Width + c] += row[i] * y[c];
    }
    return proceed();
  };
  const auto back = [&](std::size_t done) {
    const std::size_t i = n - 1 - done;
    const double* const row = u[i];
    double sum[Width] = {};
    for (std::size_t k = i + 1; k < n; ++k) {
      for (std::size_t c = 0; c < Width; ++c) sum[c] += row[k] * x[k * Width + c];
    }
    for (std::size_t c = 0; c < Width; ++c) x[i * Width + c] = (x[i * Width + c] - sum[c]) / row[i];
    return proceed();
  };
  return ForEach(n, forward) && ForEach(n, back);
}

}  // namespace SatCommonUtils
