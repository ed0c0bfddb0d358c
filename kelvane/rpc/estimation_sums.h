/// \file
/// Normal equations of very many observations, summed block by block (internal).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kelvane/numeric/row_product.h"

namespace SatCommonUtils {

/// The products Σ row(i)·row(j) over all observations, for j from i on, each in the order of the observations
/// from 0.0 on any number of threads. A row's last element is the right-hand side, so that the last column is
/// the free term. N is the number of elements of a row.
template <std::size_t N>
class TObservationSums {
 public:
  TObservationSums() {
    for (std::size_t k = 0; k < Block; ++k) rows_[k] = &values_[k * N];
    for (std::size_t i = 0; i < N; ++i) sums_rows_[i] = sums_[i];
  }
  TObservationSums(const TObservationSums&) = delete;
  TObservationSums& operator=(const TObservationSums&) = delete;

  /// `fill(k, row)` writes the row of observation k, from several threads at once. `advance(done)` is called
  /// on the calling thread after each block, with the number of observations done; false stops, and then
  /// the result is false.
  template <class Fill, class Advance>
  bool Sum(std::size_t count, int threads, const Fill& fill, const Advance& advance) {
    for (std::size_t first = 0; first < count; first += Block) {
      const std::size_t size = std::min(Block, count - first);
      TRowProduct product{{rows_.data()}, {rows_.data()}, size, N, sums_rows_};
      product.Upper = true;
      product.Continued = first > 0;
#pragma omp parallel num_threads(threads) if (threads > 1)
      {
#pragma omp for schedule(static)
        for (std::size_t k = 0; k < size; ++k) fill(first + k, rows_[k]);
#pragma omp for schedule(static)
        for (int share = 0; share < threads; ++share) {
          MultiplyRows(product, RowOfShare(share, threads), RowOfShare(share + 1, threads));
        }
      }
      if (!advance(first + size)) return false;
    }
    return true;
  }

  double operator()(std::size_t i, std::size_t j) const { return i <= j ? sums_[i][j] : sums_[j][i]; }

 private:
  static constexpr std::size_t Block = 512;

  /// Where a share of the triangle begins: all have about as many elements.
  static std::size_t RowOfShare(int share, int threads) {
    const std::size_t wanted =
        N * (N + 1) / 2 * static_cast<std::size_t>(share) / static_cast<std::size_t>(threads);
    std::size_t row = 0;
    for (std::size_t elements = 0; row < N && elements < wanted; ++row) elements += N - row;
    return row;
  }

  double sums_[N][N] = {};
  double* sums_rows_[N];
  std::vector<double> values_ = std::vector<double>(Block * N);
  std::vector<double*> rows_ = std::vector<double*>(Block);
};

}  // namespace SatCommonUtils
