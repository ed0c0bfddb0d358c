/// \file
/// Normal equations of very many observations, summed block by block (internal).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace SatCommonUtils {

/// The products Σ row(i)·row(j) over all observations, for j from i on, each in the order of the observations
/// from 0.0 on any number of threads. A row's last element is the right-hand side, so that the last column is
/// the free term. N is the number of elements of a row.
template <std::size_t N>
class TObservationSums {
 public:
  /// `fill(k, row)` writes the row of observation k, from several threads at once. `advance(done)` is called
  /// on the calling thread after each block, with the number of observations done; false stops, and then
  /// the result is false.
  template <class Fill, class Advance>
  bool Sum(std::size_t count, int threads, const Fill& fill, const Advance& advance) {
    std::fill(&sums_[0][0], &sums_[0][0] + N * N, 0.0);
    for (std::size_t first = 0; first < count; first += Block) {
      const std::size_t size = std::min(Block, count - first);
#pragma omp parallel num_threads(threads) if (threads > 1)
      {
#pragma omp for schedule(static)
        for (std::size_t k = 0; k < size; ++k) fill(first + k, &rows_[k * N]);
          // The longer rows of the triangle come first: dealt out in turn, they share out evenly.
#pragma omp for schedule(static, 1)
        for (std::size_t i = 0; i < N; ++i) AddToRow(i, size);
      }
      if (!advance(first + size)) return false;
    }
    return true;
  }

  double operator()(std::size_t i, std::size_t j) const { return i <= j ? sums_[i][j] : sums_[j][i]; }

 private:
  static constexpr std::size_t Block = 512;

  void AddToRow(std::size_t i, std::size_t size) {
    double* const sums = sums_[i];
    for (std::size_t k = 0; k < size; ++k) {
      const double* const row = &rows_[k * N];
      const double left = row[i];
      for (std::size_t j = i; j < N; ++j) sums[j] += left * row[j];
    }
  }

  double sums_[N][N];
  std::vector<double> rows_ = std::vector<double>(Block * N);
};

}  // namespace SatCommonUtils
