/// \file
/// The sums of a tile of a matrix product (internal), with the instructions of the target in use.
#pragma once

#include <cstddef>

namespace SatCommonUtils {

/// What a tile's sums leave of the registers holds its factors: nothing that is not needed at once is left of
/// the high one; the low one does less in vain at a diagonal.
constexpr std::size_t LowTile = 4;
constexpr std::size_t HighTile = 6;
constexpr std::size_t TileWidth = 8;

/// The sums, where they stand.
struct TTile {
  double* Rows[HighTile];
};

/// One side of the terms: those of term k follow each other from `Rows[k] + Column` on.
struct TTileSide {
  const double* const* Rows;
  std::size_t Column;

  const double* operator[](std::size_t k) const { return Rows[k] + Column; }
};

/// left*right terms from k = 0 on, divided unless `Divisors` is null. As many are read as a tile has rows,
/// and columns.
struct TTileTerms {
  TTileSide Left;
  TTileSide Right;
  const double* Divisors;
  std::size_t Count;
};

/// Adds the terms to the tile, at least to its first `columns` columns. Of at most half of them, no more are
/// read.
using TAddTileTerms = void (*)(const TTileTerms& terms, std::size_t columns, const TTile& tile);
/// For tiles of one of the two heights.
TAddTileTerms AddTileTermsOfTarget(std::size_t height);

}  // namespace SatCommonUtils
