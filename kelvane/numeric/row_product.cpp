#include "kelvane/numeric/row_product.h"

#include <cstring>

namespace SatCommonUtils {

namespace {

using TPair = double __attribute__((vector_size(16)));

/// `Height` rows by `Packs` times as many columns as `TPack` is wide, from column `j` on: sums that fit the
/// registers, so that each element read serves several of them.
template <std::size_t Height, class TPack, std::size_t Packs>
void MultiplyTile(const double* const* a, std::size_t depth, const double* const* b, std::size_t j,
                  double* const* c) {
  TPack sums[Height][Packs] = {};
  for (std::size_t k = 0; k < depth; ++k) {
    TPack factors[Packs];
    std::memcpy(factors, b[k] + j, sizeof factors);
    for (std::size_t i = 0; i < Height; ++i) {
      for (std::size_t p = 0; p < Packs; ++p) sums[i][p] += a[i][k] * factors[p];
    }
  }
  for (std::size_t i = 0; i < Height; ++i) std::memcpy(c[i] + j, sums[i], sizeof sums[i]);
}

template <class TPack, std::size_t Packs>
void MultiplyStrip(const double* const* a, std::size_t height, std::size_t depth, const double* const* b,
                   std::size_t j, double* const* c) {
  std::size_t i = 0;
  for (; i + 4 <= height; i += 4) MultiplyTile<4, TPack, Packs>(a + i, depth, b, j, c + i);
  for (; i < height; ++i) MultiplyTile<1, TPack, Packs>(a + i, depth, b, j, c + i);
}

}  // namespace

void MultiplyRows(const double* const* a, std::size_t height, std::size_t depth, const double* const* b,
                  std::size_t width, double* const* c) {
  std::size_t j = 0;
  for (; j + 4 <= width; j += 4) MultiplyStrip<TPair, 2>(a, height, depth, b, j, c);
  for (; j < width; ++j) MultiplyStrip<double, 1>(a, height, depth, b, j, c);
}

}  // namespace SatCommonUtils
