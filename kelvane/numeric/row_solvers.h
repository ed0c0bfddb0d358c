/// \file
/// The solvers over pointers to rows (internal), on which the raw-array and the `TMatrix` forms stand.
/// A matrix is an array of pointers to its rows. `callback` may be null; a non-zero result cancels where the
/// function says so. Inputs are not changed; outputs are written only on success unless said otherwise.
#pragma once

#include <cstddef>
#include <vector>

namespace SatCommonUtils {

/// An n x n matrix of zeros in one block.
class TScratchMatrix {
 public:
  explicit TScratchMatrix(std::size_t n) : values_(n * n), rows_(n) {
    for (std::size_t i = 0; i < n; ++i) rows_[i] = values_.data() + i * n;
  }
  TScratchMatrix(const TScratchMatrix&) = delete;
  TScratchMatrix& operator=(const TScratchMatrix&) = delete;
  double** Rows() { return rows_.data(); }

 private:
  std::vector<double> values_;
  std::vector<double*> rows_;
};

/// Solves A·x = b by elimination in a copy; returns the determinant, 0.0 when singular.
double GaussRows(const double* const* A, const double* b, double* x, std::size_t n);

/// A = Uᵀ·U, with zeros below the diagonal of U. The callback comes after each row. False when A is not
/// positive definite or the callback cancels: the rows of U before are then finished.
bool DecomposeRows(const double* const* A, double* const* U, std::size_t n, int (*callback)());

/// Decomposes and solves. The callback comes after each row of the factor and each element of both
/// substitutions, and cancels.
bool CholeskyRows(const double* const* A, const double* b, double* x, std::size_t n, int (*callback)());

/// The inverse of a positive definite matrix. The callback comes after each column and does not cancel.
bool InvertRows(const double* const* A, double* const* inverse, std::size_t n, int (*callback)());

/// Solves normal equations by Cholesky, or by elimination when that fails; false, with zeros, when both do.
bool SolveNormalRows(const double* const* normal, const double* free_term, double* x, std::size_t n);

enum class TLeastSquaresEnd { Solved, Singular, Cancelled };

/// Weighted least squares of m observations of n unknowns; each weight is 1 when `w` is null. The callback
/// comes after each row of the normal matrix, and cancels. Zeros when the system is singular.
TLeastSquaresEnd LeastSquaresRows(const double* const* A, const double* l, const double* w, double* x,
                                  std::size_t n, std::size_t m, int (*callback)());

}  // namespace SatCommonUtils
