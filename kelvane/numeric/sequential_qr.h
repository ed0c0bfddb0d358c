/// \file
/// Orthogonal factorisation of tall matrices, block by block (internal).
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace SatCommonUtils {

/// The triangle R of a QR factorisation whose rows come one after another: each block of rows is stacked
/// under the R of those before it and turned into it by Householder reflections (A. Bjorck, "Numerical
/// Methods for Least Squares Problems", SIAM 1996, sections 2.4 and 6.2). Memory does not grow with the rows.
/// With the right-hand side as the last column, R holds the least-squares problem, and its last diagonal
/// element is the norm of what the problem leaves, but for the sign. Unlike a normal matrix, R has the
/// condition of the rows, not its square.
class TSequentialQR {
 public:
  static constexpr std::size_t MostColumns = 64;

  /// `width` columns, at most `MostColumns`.
  explicit TSequentialQR(std::size_t width) : width_(width), triangle_(width * width), block_(Rows * width) {}

  std::size_t Width() const { return width_; }

  /// Where the next row, all zeros, is to be written: before the next call of anything.
  double* NextRow() {
    if (pending_ == Rows) Fold();
    double* const row = &block_[pending_++ * width_];
    std::fill_n(row, width_, 0.0);
    return row;
  }

  /// Takes in the rows that wait.
  void Fold() {
    for (std::size_t j = 0; j < width_; ++j) Reflect(j);
    pending_ = 0;
  }

  /// An element of R, of which those under the diagonal are 0; after `Fold`.
  double operator()(std::size_t row, std::size_t column) const { return triangle_[row * width_ + column]; }

 private:
  /// With as many columns as a model has unknowns, a block stays in the nearest cache.
  static constexpr std::size_t Rows = 64;

  /// Turns column j so that nothing is left of it in the block.
  void Reflect(std::size_t j) {
    double squares = 0.0;
    for (std::size_t i = 0; i < pending_; ++i) squares += block_[i * width_ + j] * block_[i * width_ + j];
    // Also what underflows: no reflection can be made of it.
    if (!(squares >= std::numeric_limits<double>::min())) return;
    double* const top = &triangle_[j * width_];
    const double diagonal = -std::copysign(std::sqrt(top[j] * top[j] + squares), top[j]);
    const double first = top[j] - diagonal;
    const double factor = 2.0 / (first * first + squares);
    std::array<double, MostColumns> products;
    for (std::size_t k = j + 1; k < width_; ++k) products[k] = first * top[k];
    AddRows(j, products.data());
    for (std::size_t k = j + 1; k < width_; ++k) products[k] *= factor;
    for (std::size_t k = j + 1; k < width_; ++k) top[k] -= first * products[k];
    for (std::size_t i = 0; i < pending_; ++i) SubtractFrom(&block_[i * width_], j, products);
    top[j] = diagonal;
  }

  /// Adds the products of column j with those behind it, row by row; four rows at a time spare memory.
  void AddRows(std::size_t j, double* sums) const {
    std::size_t i = 0;
    for (; i + 4 <= pending_; i += 4) {
      const double* const a = &block_[i * width_];
      const double* const b = a + width_;
      const double* const c = b + width_;
      const double* const d = c + width_;
      for (std::size_t k = j + 1; k < width_; ++k)
        sums[k] = (((sums[k] + a[j] * a[k]) + b[j] * b[k]) + c[j] * c[k]) + d[j] * d[k];
    }
    for (; i < pending_; ++i) {
      const double* const a = &block_[i * width_];
      for (std::size_t k = j + 1; k < width_; ++k) sums[k] += a[j] * a[k];
    }
  }
  void SubtractFrom(double* row, std::size_t j, const std::array<double, MostColumns>& products) const {
    const double by = row[j];
    if (by == 0.0) return;
    for (std::size_t k = j + 1; k < width_; ++k) row[k] -= by * products[k];
  }

  std::size_t width_;
  std::size_t pending_ = 0;
  std::vector<double> triangle_;
  std::vector<double> block_;
};

}  // namespace SatCommonUtils
