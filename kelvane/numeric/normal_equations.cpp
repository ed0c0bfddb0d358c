#include "kelvane/numeric/normal_equations.h"

#include <utility>

#include "kelvane/numeric/matrix_rows.h"

namespace SatCommonUtils {

namespace {

/// sums[c] += factor * row[c]
void AddScaled(double factor, const double* row, std::size_t length, double* sums) {
  for (std::size_t c = 0; c < length; ++c) sums[c] += factor * row[c];
}

}  // namespace

bool NormalEquationsMatrix(const TMatrix& A, const TVector& w, TMatrix* N) {
  const std::size_t n = A.width;
  if (n == 0 || A.height == 0 || w.size != A.height) return false;
  RequireFullRows(A);
  TMatrix sums(n, n);
  for (std::size_t k = 0; k < A.height; ++k) {
    const double* const row = A.rows[k].data;
    for (std::size_t i = 0; i < n; ++i) AddScaled(w.data[k] * row[i], row, i + 1, sums.rows[i].data);
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < i; ++j) sums.rows[j].data[i] = sums.rows[i].data[j];
  }
  *N = std::move(sums);
  return true;
}

bool NormalEquationsFreeTerm(const TMatrix& A, const TVector& a, const TVector& b, TVector* u) {
  const std::size_t n = A.width;
  if (n == 0 || A.height == 0 || a.size != A.height || b.size != A.height) return false;
  RequireFullRows(A);
  TVector sums(n);
  for (std::size_t k = 0; k < A.height; ++k) {
    AddScaled(a.data[k] * b.data[k], A.rows[k].data, n, sums.data);
  }
  *u = std::move(sums);
  return true;
}

bool NormalEquationsSubMatrix(const TMatrix& A, const TVector& w, const TMatrix& B, TMatrix* C) {
  const std::size_t n = A.width;
  if (n == 0 || A.height == 0 || B.width == 0 || B.height != A.height || w.size != A.height) return false;
  RequireFullRows(A);
  RequireFullRows(B);
  TMatrix sums(B.width, n);
  for (std::size_t k = 0; k < A.height; ++k) {
    const double* const row = A.rows[k].data;
    for (std::size_t i = 0; i < n; ++i) {
      AddScaled(w.data[k] * row[i], B.rows[k].data, B.width, sums.rows[i].data);
    }
  }
  *C = std::move(sums);
  return true;
}

}  // namespace SatCommonUtils
