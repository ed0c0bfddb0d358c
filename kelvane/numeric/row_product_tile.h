/// \file
/// The sums of a tile of a matrix product (internal), with the instructions of the target in use.
#pragma once

#include <cstddef>

#include "kelvane/numeric/row_product.h"

namespace SatCommonUtils {

/// What a tile's sums leave of the registers holds its factors.
constexpr std::size_t TileHeight = 4;
constexpr std::size_t TileWidth = 8;
/// From one term of a block to the next.
constexpr std::size_t TileStride = RowsTogether + TileWidth;
static_assert(sizeof(TTermBlock) == sizeof(double) * TermsTogether * TileStride);

struct alignas(64) TTile {
  double Sums[TileHeight][TileWidth];
};

/// left*right terms from k = 0 on, divided unless `Divisors` is null. Elements of a term follow each other.
struct TTileTerms {
  const double* Left;
  const double* Right;
  const double* Divisors;
  std::size_t Count;
};

/// Adds the terms to the tile, at least to its first `columns` columns.
using TAddTileTerms = void (*)(const TTileTerms& terms, std::size_t columns, TTile* tile);
TAddTileTerms AddTileTermsOfTarget();

}  // namespace SatCommonUtils
