#include "kelvane/numeric/row_product_tile.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kelvane/numeric/row_product_tile.cpp"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstring>

#ifndef KELVANE_NUMERIC_ROW_PRODUCT_TILE_NARROW
#define KELVANE_NUMERIC_ROW_PRODUCT_TILE_NARROW

namespace SatCommonUtils {

namespace {

using TPair = double __attribute__((vector_size(16)));

inline TPair Swapped(TPair pair) { return __builtin_shufflevector(pair, pair, 1, 0); }

/// From any address of a double.
inline TPair PairAt(const double* source) {
  TPair pair;
  std::memcpy(&pair, source, sizeof pair);
  return pair;
}

/// Adds the terms to four columns of a tile of sums. Two rows by two columns are held as the sums on the
/// diagonal and those beside it: swapping a pair serves where the baseline has no instruction to spread one
/// number.
template <bool Divided, std::size_t Height>
inline void AddTermsNarrow(const TTileTerms& terms, std::size_t column, const TTile& tile) {
  constexpr std::size_t RowPairs = Height / 2;
  constexpr std::size_t Pairs = 2;
  TPair same[RowPairs][Pairs];
  TPair crossed[RowPairs][Pairs];
  for (std::size_t i = 0; i < RowPairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const double* const upper = tile.Rows[2 * i] + column + 2 * j;
      const double* const lower = tile.Rows[2 * i + 1] + column + 2 * j;
      same[i][j] = TPair{upper[0], lower[1]};
      crossed[i][j] = TPair{upper[1], lower[0]};
    }
  }
  for (std::size_t k = 0; k < terms.Count; ++k) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const TPair b = PairAt(terms.Right[k] + column + 2 * j);
      const TPair swapped = Swapped(b);
      for (std::size_t i = 0; i < RowPairs; ++i) {
        const TPair a = PairAt(terms.Left[k] + 2 * i);
        same[i][j] += Divided ? a * b / terms.Divisors[k] : a * b;
        crossed[i][j] += Divided ? a * swapped / terms.Divisors[k] : a * swapped;
      }
    }
  }
  for (std::size_t i = 0; i < RowPairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      double* const upper = tile.Rows[2 * i] + column + 2 * j;
      double* const lower = tile.Rows[2 * i + 1] + column + 2 * j;
      upper[0] = same[i][j][0];
      upper[1] = crossed[i][j][0];
      lower[0] = crossed[i][j][1];
      lower[1] = same[i][j][1];
    }
  }
}

template <bool Divided, std::size_t Height>
void AddTileTermsNarrow(const TTileTerms& terms, std::size_t columns, const TTile& tile) {
  AddTermsNarrow<Divided, Height>(terms, 0, tile);
  if (columns > TileWidth / 2) AddTermsNarrow<Divided, Height>(terms, TileWidth / 2, tile);
}

}  // namespace

}  // namespace SatCommonUtils

#endif

HWY_BEFORE_NAMESPACE();
namespace SatCommonUtils {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using TProductTag = HWY_FULL(double);
constexpr std::size_t ProductLanes = HWY_LANES(double);

/// The sums of the first `Vectors` vectors of columns.
template <bool Divided, std::size_t Height, std::size_t Vectors>
HWY_INLINE void AddTermsWide(const TTileTerms& terms, const TTile& tile) {
  const TProductTag tag;
  hn::Vec<TProductTag> sums[Height][Vectors];
  for (std::size_t i = 0; i < Height; ++i) {
    for (std::size_t v = 0; v < Vectors; ++v) sums[i][v] = hn::LoadU(tag, tile.Rows[i] + v * ProductLanes);
  }
  for (std::size_t k = 0; k < terms.Count; ++k) {
    const double* const left_row = terms.Left[k];
    hn::Vec<TProductTag> right[Vectors];
    for (std::size_t v = 0; v < Vectors; ++v) {
      right[v] = hn::LoadU(tag, terms.Right[k] + v * ProductLanes);
    }
    for (std::size_t i = 0; i < Height; ++i) {
      const auto left = hn::Set(tag, left_row[i]);
      for (std::size_t v = 0; v < Vectors; ++v) {
        auto term = hn::Mul(left, right[v]);
        if (Divided) term = hn::Div(term, hn::Set(tag, terms.Divisors[k]));
        sums[i][v] = hn::Add(sums[i][v], term);
      }
    }
  }
  for (std::size_t i = 0; i < Height; ++i) {
    for (std::size_t v = 0; v < Vectors; ++v) hn::StoreU(sums[i][v], tag, tile.Rows[i] + v * ProductLanes);
  }
}

template <bool Divided, std::size_t Height>
void AddTerms(const TTileTerms& terms, std::size_t columns, const TTile& tile) {
  // Two lanes make more sums than there are registers, unless they are laid out for it.
  constexpr bool narrow = ProductLanes < TileWidth / 2;
  constexpr std::size_t half = TileWidth / 2 / ProductLanes;
  if (narrow || (half == 0 && columns <= TileWidth / 2)) {
    AddTileTermsNarrow<Divided, Height>(terms, columns, tile);
  } else if (columns <= TileWidth / 2) {
    AddTermsWide<Divided, Height, half == 0 ? 1 : half>(terms, tile);
  } else {
    AddTermsWide<Divided, Height, TileWidth / ProductLanes>(terms, tile);
  }
}

template <std::size_t Height>
void AddTileTerms(const TTileTerms& terms, std::size_t columns, const TTile& tile) {
  if (terms.Divisors == nullptr) {
    AddTerms<false, Height>(terms, columns, tile);
  } else {
    AddTerms<true, Height>(terms, columns, tile);
  }
}

inline void AddLowTileTerms(const TTileTerms& terms, std::size_t columns, const TTile& tile) {
  AddTileTerms<LowTileHeight>(terms, columns, tile);
}
inline void AddHighTileTerms(const TTileTerms& terms, std::size_t columns, const TTile& tile) {
  AddTileTerms<HighTileHeight>(terms, columns, tile);
}

}  // namespace HWY_NAMESPACE
}  // namespace SatCommonUtils
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace SatCommonUtils {

HWY_EXPORT(AddLowTileTerms);
HWY_EXPORT(AddHighTileTerms);

TAddTileTerms AddLowTileTermsOfTarget() { return KELVANE_SIMD_DISPATCH(AddLowTileTerms); }
TAddTileTerms AddHighTileTermsOfTarget() { return KELVANE_SIMD_DISPATCH(AddHighTileTerms); }

}  // namespace SatCommonUtils

#endif  // HWY_ONCE
