/// \file
/// The sums of a tile of a matrix product (internal), with the instructions of the target in use.
#pragma once

#include <cstddef>

namespace SatCommonUtils {

/// The columns of a tile come in parts of four. With sixteen registers of four doubles, the sums of a packed
/// tile take twelve, and what one term needs the rest. So do those of the widest kept one, which is lower and
/// may have fewer parts: it works out less in vain at a diagonal and at the last column.
constexpr std::size_t PartWidth = 4;
constexpr std::size_t KeptTileHeight = 4;
constexpr std::size_t KeptTileParts = 3;
constexpr std::size_t PackedTileHeight = 6;
constexpr std::size_t PackedTileWidth = 2 * PartWidth;

/// Terms that are read where they stand: those of term k are numbers of `Rows[k]`.
struct TKeptTerms {
  const double* const* Rows;
  const double* Divisors;
  std::size_t Count;
  /// How many rows of terms come next, and from which column to before which they will be read: they are
  /// asked for meanwhile.
  std::size_t Next;
  std::size_t FirstColumn;
  std::size_t LastColumn;
};

/// A tile, and where in a row of terms those of its rows and those of its columns begin.
struct TKeptTile {
  std::size_t LeftColumn;
  std::size_t RightColumn;
  /// How many parts it has; no more columns are read.
  std::size_t Parts;
  alignas(64) double Sums[KeptTileHeight][KeptTileParts * PartWidth];
};

/// Terms that were laid out for a tile: those of term k behind those of the one before, as many as the tile
/// has rows on the left and columns on the right.
struct TPackedTerms {
  const double* LeftPanel;
  const double* RightPanel;
  const double* Divisors;
  std::size_t Count;

  const double* Left(std::size_t k) const { return LeftPanel + k * PackedTileHeight; }
  const double* Right(std::size_t k) const { return RightPanel + k * PackedTileWidth; }
};

/// Adds left*right, divided by `Divisors[k]` unless null, from k = 0 on to the sums of so many tiles, of
/// which those with more parts come first.
using TAddKeptTerms = void (*)(const TKeptTerms& terms, TKeptTile* tiles, std::size_t count);
/// The same for one tile, whose rows are `sums`; when `half`, only for the first half of its columns.
using TAddPackedTerms = void (*)(const TPackedTerms& terms, bool half, double* const* sums);
TAddKeptTerms AddKeptTermsOfTarget();
TAddPackedTerms AddPackedTermsOfTarget();

}  // namespace SatCommonUtils
