#include "kelvane/numeric/raw_solvers.h"

#include <algorithm>
#include <vector>

#include "kelvane/numeric/cholesky.h"
#include "kelvane/numeric/elimination.h"
#include "kelvane/numeric/least_squares.h"
#include "kelvane/numeric/row_solvers.h"

namespace SatCommonUtils {

namespace {

/// True as long as the caller lets the calculation go on.
struct TWatched {
  int (*Callback)();
  template <class... Args>
  bool operator()(Args...) const {
    return Callback == nullptr || Callback() == 0;
  }
};

/// How many columns of an inverse are worked on side by side.
constexpr std::size_t SideBySide = 8;

/// Columns `first` and those beside it of the inverse of Uᵀ·U; those behind the last are worked out from
/// zeros and dropped.
void InvertColumns(double* const* U, std::size_t first, std::size_t columns, double* const* inverse,
                   std::size_t n) {
  std::vector<double> x(n * SideBySide);
  std::vector<double> sums(n * SideBySide);
  for (std::size_t c = 0; c < columns; ++c) x[(first + c) * SideBySide + c] = 1.0;
  SolveFactored<SideBySide>(U, x.data(), sums.data(), n, TUnwatched());
  for (std::size_t i = 0; i < n; ++i) {
    std::copy_n(x.data() + i * SideBySide, columns, inverse[i] + first);
  }
}

}  // namespace

double GaussRows(const double* const* A, const double* b, double* x, std::size_t n) {
  TScratchMatrix copy(n);
  for (std::size_t i = 0; i < n; ++i) std::copy_n(A[i], n, copy.Rows()[i]);
  std::vector<double> right(b, b + n);
  return Eliminate(TPointedRows{copy.Rows()}, right.data(), x, n, TRightOfPivot<std::size_t>{n},
                   TUnwatched());
}

bool DecomposeRows(const double* const* A, double* const* U, std::size_t n, int (*callback)()) {
  std::vector<double> squares(n);
  const TWatched proceed{callback};
  return DecomposeCholesky(A, U, squares.data(), n, [&](std::size_t i) {
    for (std::size_t j = i + 1; j < n; ++j) U[j][i] = 0.0;
    return proceed();
  });
}

bool CholeskyRows(const double* const* A, const double* b, double* x, std::size_t n, int (*callback)()) {
  const TWatched proceed{callback};
  TScratchMatrix factor(n);
  std::vector<double> sums(n);
  if (!DecomposeCholesky(A, factor.Rows(), sums.data(), n, proceed)) return false;
  std::fill(sums.begin(), sums.end(), 0.0);
  std::vector<double> solution(b, b + n);
  if (!SolveFactored<1>(factor.Rows(), solution.data(), sums.data(), n, proceed)) return false;
  std::copy(solution.begin(), solution.end(), x);
  return true;
}

bool InvertRows(const double* const* A, double* const* inverse, std::size_t n, int (*callback)()) {
  TScratchMatrix factor(n);
  std::vector<double> squares(n);
  if (!DecomposeCholesky(A, factor.Rows(), squares.data(), n, TUnwatched())) return false;
  for (std::size_t first = 0; first < n; first += SideBySide) {
    const std::size_t columns = std::min(SideBySide, n - first);
    InvertColumns(factor.Rows(), first, columns, inverse, n);
    for (std::size_t c = 0; callback != nullptr && c < columns; ++c) callback();
  }
  return true;
}

bool SolveNormalRows(const double* const* normal, const double* free_term, double* x, std::size_t n) {
  if (CholeskyRows(normal, free_term, x, n, nullptr)) return true;
  std::fill_n(x, n, 0.0);
  return GaussRows(normal, free_term, x, n) != 0.0;
}

TLeastSquaresEnd LeastSquaresRows(const double* const* A, const double* l, const double* w, double* x,
                                  std::size_t n, std::size_t m, int (*callback)()) {
  const TWatched proceed{callback};
  TScratchMatrix normal(n);
  std::vector<double> free_term(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t k = 0; k < m; ++k) {
      AddObservation(A[k], l[k], w == nullptr ? 1.0 : w[k], n, i, i + 1, normal.Rows(), free_term.data());
    }
    MirrorRow(normal.Rows(), i, n);
    if (!proceed()) return TLeastSquaresEnd::Cancelled;
  }
  return SolveNormalRows(normal.Rows(), free_term.data(), x, n) ? TLeastSquaresEnd::Solved
                                                                : TLeastSquaresEnd::Singular;
}

double Gauss(double** A, double* b, double* x, std::size_t n, int (*callback)()) {
  return Eliminate(TPointedRows{A}, b, x, n, TWholeRows{n}, TWatched{callback});
}

bool CholesskyDecomposition(double** A, double** U, std::size_t n, int (*callback)()) {
  return DecomposeRows(A, U, n, callback);
}

bool Cholesky(double** A, double* b, double* x, std::size_t n, int (*callback)()) {
  return CholeskyRows(A, b, x, n, callback);
}

bool CholeskyMatrixInversion(double** A, double** Ainv, std::size_t n, int (*callback)()) {
  return InvertRows(A, Ainv, n, callback);
}

bool SolveOverdefined(double** A, double* l, double* w, double* x, std::size_t n, std::size_t m,
                      int (*callback)()) {
  return LeastSquaresRows(A, l, w, x, n, m, callback) != TLeastSquaresEnd::Cancelled;
}

}  // namespace SatCommonUtils
