#include "kelvane/numeric/raw_matrix.h"

#include <algorithm>
#include <memory>
#include <new>

namespace SatCommonUtils {

double** CreateMatrix(std::size_t cols, std::size_t rows) try {
  const auto release = [rows](double** a) { ReleaseMatrix(a, rows); };
  std::unique_ptr<double*, decltype(release)> result(new double*[rows](), release);
  for (std::size_t r = 0; r < rows; ++r) result.get()[r] = new double[cols]();
  return result.release();
} catch (const std::bad_alloc&) {
  return nullptr;
}

double** CreateMatrix(std::size_t n) {
  double** const result = CreateMatrix(n, n);
  for (std::size_t k = 0; result != nullptr && k < n; ++k) result[k][k] = 1.0;
  return result;
}

void ReleaseMatrix(double** a, std::size_t rows) {
  if (a == nullptr) return;
  for (std::size_t r = 0; r < rows; ++r) delete[] a[r];
  delete[] a;
}

void SetToZero(double** a, std::size_t cols, std::size_t rows) {
  for (std::size_t r = 0; r < rows; ++r) SetToZero(a[r], cols);
}

double* CreateVector(std::size_t n) try { return new double[n](); } catch (const std::bad_alloc&) {
  return nullptr;
}

void ReleaseVector(double* v) { delete[] v; }

void SetToZero(double* v, std::size_t n) { std::fill_n(v, n, 0.0); }

}  // namespace SatCommonUtils
