/// \file
/// Gaussian elimination with partial pivoting (internal), written once for every form of a matrix.
///
/// `Rows` gives row i as `rows[i]`, a pointer to its elements, and exchanges two rows with
/// `rows.Exchange(i, j)`. `Size` is the number of equations: a `std::size_t`, or a `TFixedSize` that lets the
/// compiler unroll. Every element's operations run in one fixed order, so all forms give the same bits.
#pragma once

#include <cmath>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace SatCommonUtils {

template <std::size_t N>
using TFixedSize = std::integral_constant<std::size_t, N>;

/// Calls `step(i)` for i from 0 to n - 1, as long as it says true; true when all did.
template <class Step>
bool ForEach(std::size_t n, Step step) {
  for (std::size_t i = 0; i < n; ++i) {
    if (!step(i)) return false;
  }
  return true;
}
/// Unrolled: each i is a constant.
template <class Step, std::size_t... I>
bool ForEachOf(Step step, std::index_sequence<I...>) {
  return (step(TFixedSize<I>()) && ...);
}
template <std::size_t N, class Step>
bool ForEach(TFixedSize<N>, Step step) {
  return ForEachOf(step, std::make_index_sequence<N>());
}

/// Rows reached through pointers; the pointers are what is exchanged.
struct TPointedRows {
  double** Rows;
  double* operator[](std::size_t i) const { return Rows[i]; }
  void Exchange(std::size_t i, std::size_t j) const { std::swap(Rows[i], Rows[j]); }
};

/// Rows of an array of fixed size.
template <class T, std::size_t N>
struct TFixedRows {
  T (*Rows)[N];
  T* operator[](std::size_t i) const { return Rows[i]; }
  void Exchange(std::size_t i, std::size_t j) const { std::swap(Rows[i], Rows[j]); }
};

/// The progress of a calculation that nobody watches.
struct TUnwatched {
  template <class... Args>
  constexpr bool operator()(Args...) const {
    return true;
  }
};

/// The columns that elimination changes in the rows below pivot k, from first to end - 1. Those up to the
/// pivot are never read again: only a caller who sees the matrix afterwards needs them.
struct TWholeRows {
  std::size_t Columns;
  std::size_t First(std::size_t) const { return 0; }
  std::size_t End() const { return Columns; }
};
template <class Size>
struct TRightOfPivot {
  Size Columns;
  constexpr std::size_t First(std::size_t k) const { return k + 1; }
  constexpr std::size_t End() const { return Columns; }
};

/// The first of the rows k to n - 1 whose element in column k is largest in absolute value.
template <class Rows, class Size>
std::size_t PivotRow(const Rows& a, std::size_t k, Size n) {
  std::size_t pivot = k;
  double largest = std::fabs(a[k][k]);
  for (std::size_t i = k + 1; i < n; ++i) {
    const double candidate = std::fabs(a[i][k]);
    if (candidate > largest) {
      largest = candidate;
      pivot = i;
    }
  }
  return pivot;
}

/// row -= factor * other, over columns first to end - 1. The rows are two different ones.
inline void SubtractRow(double* __restrict row, double factor, const double* __restrict other,
                        std::size_t first, std::size_t end) {
  for (std::size_t j = first; j < end; ++j) row[j] -= factor * other[j];
}

/// Brings `a` to upper triangular form, and `b` with it. Returns the determinant: 0.0 as soon as a column has
/// no pivot, or when `proceed()`, called after each pivot column, says false. No equation at all has 1.0.
template <class Rows, class Size, class Columns, class Proceed>
double Triangulate(const Rows& a, double* b, Size n, Columns columns, Proceed proceed) {
  double determinant = 1.0;
  for (std::size_t k = 0; k + 1 < n; ++k) {
    const std::size_t p = PivotRow(a, k, n);
    if (a[p][k] == 0.0) return 0.0;
    if (p != k) {
      a.Exchange(k, p);
      std::swap(b[k], b[p]);
      determinant = -determinant;
    }
    const double* const pivot = a[k];
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = a[i][k] / pivot[k];
      SubtractRow(a[i], factor, pivot, columns.First(k), columns.End());
      b[i] -= factor * b[k];
    }
    if (!proceed()) return 0.0;
  }
  for (std::size_t k = 0; k < n; ++k) determinant *= a[k][k];
  return determinant;
}

/// Solves the triangular system that `Triangulate` left.
template <class Rows, class Size>
void SubstituteBack(const Rows& a, const double* b, double* x, Size n) {
  for (std::size_t i = n; i-- > 0;) {
    double sum = 0.0;
    for (std::size_t j = i + 1; j < n; ++j) sum += a[i][j] * x[j];
    x[i] = (b[i] - sum) / a[i][i];
  }
}

/// Both steps; `x` is written only when the determinant, which is returned, is not 0.0.
template <class Rows, class Size, class Columns, class Proceed>
double Eliminate(const Rows& a, double* b, double* x, Size n, Columns columns, Proceed proceed) {
  const double determinant = Triangulate(a, b, n, columns, proceed);
  if (determinant != 0.0) SubstituteBack(a, b, x, n);
  return determinant;
}

}  // namespace SatCommonUtils
