/// \file
/// Normal equations of very many observations, summed block by block (internal).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kelvane/numeric/row_product.h"

namespace SatCommonUtils {

/// The products Σ row(i)·row(j) over all observations, for j from i on, each in the order of the observations
/// from 0.0. A row's last element is the right-hand side, so that the last column is the free term. N is the
/// number of elements of a row.
template <std::size_t N>
class TObservationSums {
 public:
  TObservationSums() {
    for (std::size_t k = 0; k < Block; ++k) rows_[k] = &values_[k * N];
    for (std::size_t i = 0; i < N; ++i) sums_rows_[i] = sums_[i];
  }
  TObservationSums(const TObservationSums&) = delete;
  TObservationSums& operator=(const TObservationSums&) = delete;

  /// `fill(k, row)` writes the row of observation k. `advance(done)` is called after each block, with the
  /// number of observations done; false stops, and then the result is false.
  template <class Fill, class Advance>
  bool Sum(std::size_t count, const Fill& fill, const Advance& advance) {
    for (std::size_t first = 0; first < count; first += Block) {
      const std::size_t size = std::min(Block, count - first);
      for (std::size_t k = 0; k < size; ++k) fill(first + k, rows_[k]);
      TRowProduct product{{rows_.data()}, {rows_.data()}, size, N, sums_rows_};
      product.Upper = true;
      product.Continued = first > 0;
      MultiplyRows(product, 0, N);
      if (!advance(first + size)) return false;
    }
    return true;
  }

  double operator()(std::size_t i, std::size_t j) const { return i <= j ? sums_[i][j] : sums_[j][i]; }

 private:
  /// So many rows stay in the nearest caches.
  static constexpr std::size_t Block = 512;

  double sums_[N][N] = {};
  double* sums_rows_[N];
  std::vector<double> values_ = std::vector<double>(Block * N);
  std::vector<double*> rows_ = std::vector<double*>(Block);
};

}  // namespace SatCommonUtils
