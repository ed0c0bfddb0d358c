#include "kelvane/numeric/normal_equations.h"

#include <utility>
#include <vector>

#include "kelvane/numeric/matrix_rows.h"
#include "kelvane/numeric/row_product.h"

namespace SatCommonUtils {

bool NormalEquationsMatrix(const TMatrix& A, const TVector& w, TMatrix* N) {
  const std::size_t n = A.width;
  if (n == 0 || A.height == 0 || w.size != A.height) return false;
  RequireFullRows(A);
  TMatrix sums(n, n);
  const std::vector<double*> rows = RowPointers(A);
  const std::vector<double*> out = RowPointers(sums);
  MultiplyRows({{rows.data()}, {rows.data(), false, w.data}, A.height, n, out.data(), nullptr, true}, 0, n);
  MirrorUpper(out.data(), 0, n);
  *N = std::move(sums);
  return true;
}

bool NormalEquationsFreeTerm(const TMatrix& A, const TVector& a, const TVector& b, TVector* u) {
  const std::size_t n = A.width;
  if (n == 0 || A.height == 0 || a.size != A.height || b.size != A.height) return false;
  RequireFullRows(A);
  TVector sums(n);
  for (std::size_t k = 0; k < A.height; ++k) {
    const double factor = a.data[k] * b.data[k];
    for (std::size_t i = 0; i < n; ++i) sums.data[i] += factor * A.rows[k].data[i];
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
  const std::vector<double*> left = RowPointers(A);
  const std::vector<double*> right = RowPointers(B);
  const std::vector<double*> out = RowPointers(sums);
  MultiplyRows({{left.data(), false, w.data}, {right.data()}, A.height, B.width, out.data()}, 0, n);
  *C = std::move(sums);
  return true;
}

}  // namespace SatCommonUtils
