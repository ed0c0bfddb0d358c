/// \file
/// Normal equations of very many observations, summed block by block (internal).
#pragma once

#include <algorithm>
#include <cstddef>
#include <future>
#include <system_error>
#include <vector>

#include "kelvane/numeric/row_product.h"

namespace SatCommonUtils {

/// The products Σ row(i)·row(j) over all observations, for j from i on, each in the order of the observations
/// from 0.0 on any number of threads. A row's last element is the right-hand side, so that the last column is
/// the free term. N is the number of elements of a row.
template <std::size_t N>
class TObservationSums {
 public:
  /// Alone, a thread keeps its block in the nearest caches; several must not meet too often.
  explicit TObservationSums(int threads) : threads_(threads), block_(threads == 1 ? 512 : 8192) {
    for (std::size_t k = 0; k < block_; ++k) rows_[k] = &values_[k * N];
    for (std::size_t i = 0; i < N; ++i) sums_rows_[i] = sums_[i];
  }
  TObservationSums(const TObservationSums&) = delete;
  TObservationSums& operator=(const TObservationSums&) = delete;

  /// `fill(k, row)` writes the row of observation k, from several threads at once. `advance(done)` is called
  /// on the calling thread after each block, with the number of observations done; false stops, and then
  /// the result is false.
  template <class Fill, class Advance>
  bool Sum(std::size_t count, const Fill& fill, const Advance& advance) {
    for (std::size_t first = 0; first < count; first += block_) {
      const std::size_t size = std::min(block_, count - first);
      TRowProduct product{{rows_.data()}, {rows_.data()}, size, N, sums_rows_};
      product.Upper = true;
      product.Continued = first > 0;
      InShares([&](int share) {
        const std::size_t begin = size * static_cast<std::size_t>(share) / static_cast<std::size_t>(threads_);
        const std::size_t end =
            size * static_cast<std::size_t>(share + 1) / static_cast<std::size_t>(threads_);
        for (std::size_t k = begin; k < end; ++k) fill(first + k, rows_[k]);
      });
      InShares([&](int share) { MultiplyRows(product, RowOfShare(share), RowOfShare(share + 1)); });
      if (!advance(first + size)) return false;
    }
    return true;
  }

  double operator()(std::size_t i, std::size_t j) const { return i <= j ? sums_[i][j] : sums_[j][i]; }

 private:
  /// `work(share)` for each share, in threads of their own, or, where the system gives none, in this one.
  /// They sleep while they wait: a team that spins takes the processors from whatever runs beside it.
  template <class Work>
  void InShares(const Work& work) const {
    std::vector<std::future<void>> others;
    for (int share = 1; share < threads_; ++share) {
      const auto one = [&work, share] { work(share); };
      try {
        others.push_back(std::async(std::launch::async, one));
      } catch (const std::system_error&) {
        others.push_back(std::async(std::launch::deferred, one));
      }
    }
    work(0);
    for (std::future<void>& other : others) other.get();
  }

  /// Where a share of the triangle begins: all have about as many elements.
  std::size_t RowOfShare(int share) const {
    const std::size_t wanted =
        N * (N + 1) / 2 * static_cast<std::size_t>(share) / static_cast<std::size_t>(threads_);
    std::size_t row = 0;
    for (std::size_t elements = 0; row < N && elements < wanted; ++row) elements += N - row;
    return row;
  }

  int threads_;
  std::size_t block_;
  double sums_[N][N] = {};
  double* sums_rows_[N];
  std::vector<double> values_ = std::vector<double>(block_ * N);
  std::vector<double*> rows_ = std::vector<double*>(block_);
};

}  // namespace SatCommonUtils
