/// \file
/// The sums of a tile of a matrix product (internal), with the instructions of the target in use.
#pragma once

#include <cstddef>

namespace SatCommonUtils {

/// With sixteen registers of four doubles, the sums of a high tile take twelve, and what one term needs the
/// rest; a low one works out less in vain at a diagonal.
constexpr std::size_t LowTileHeight = 4;
constexpr std::size_t HighTileHeight = 6;
constexpr std::size_t TileWidth = 8;

/// The sums, where they stand; a low tile has the first rows only.
struct TTile {
  double* Rows[HighTileHeight];
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
TAddTileTerms AddLowTileTermsOfTarget();
TAddTileTerms AddHighTileTermsOfTarget();

}  // namespace SatCommonUtils
