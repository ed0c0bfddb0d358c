#include "kelvane/numeric/row_product.h"

#include <cstring>

namespace SatCommonUtils {

namespace {

using TPair = double __attribute__((vector_size(16)));

template <class TPack>
constexpr std::size_t WidthOf = 1;
template <>
constexpr std::size_t WidthOf<TPair> = 2;

template <class TPack>
TPack Load(const double* src) {
  TPack pack;
  std::memcpy(&pack, src, sizeof pack);
  return pack;
}

template <class TPack>
void Store(TPack pack, double* dst) {
  std::memcpy(dst, &pack, sizeof pack);
}

/// `Height` rows by `Packs` times as many columns as `TPack` is wide, from column `j` on: sums that fit the
/// registers, so that each element read serves several of them.
template <std::size_t Height, class TPack, std::size_t Packs>
void MultiplyTile(const double* const* a, std::size_t depth, const double* const* b, std::size_t j,
                  double* const* c) {
  constexpr std::size_t Width = WidthOf<TPack>;
  TPack sums[Height][Packs] = {};
  for (std::size_t k = 0; k < depth; ++k) {
    const double* const row = b[k] + j;
    for (std::size_t p = 0; p < Packs; ++p) {
      const auto factor = Load<TPack>(row + p * Width);
      for (std::size_t i = 0; i < Height; ++i) sums[i][p] += a[i][k] * factor;
    }
  }
  for (std::size_t i = 0; i < Height; ++i) {
    for (std::size_t p = 0; p < Packs; ++p) Store(sums[i][p], c[i] + j + p * Width);
  }
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
