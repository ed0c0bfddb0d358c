#include "kelvane/numeric/row_product_tile.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kelvane/numeric/row_product_tile.cpp"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#ifndef KELVANE_NUMERIC_ROW_PRODUCT_TILE_ONCE
#define KELVANE_NUMERIC_ROW_PRODUCT_TILE_ONCE

namespace SatCommonUtils {

namespace {

/// Asks for the rows of the terms that follow, a few with each tile: they stand one by one, and a product
/// takes a row's numbers too far apart for the processor to foresee them.
class TPrefetch {
 public:
  TPrefetch(const TKeptTerms& terms, std::size_t tiles)
      : Next(terms.Rows + terms.Count),
        Last(Next + terms.Next),
        FirstColumn(terms.FirstColumn),
        LastColumn(terms.LastColumn),
        Step(terms.Next / tiles + 1) {}

  void GoOn() {
    for (std::size_t k = 0; k < Step && Next != Last; ++k, ++Next) {
      for (std::size_t j = FirstColumn; j < LastColumn; j += LineWidth) __builtin_prefetch(*Next + j);
      __builtin_prefetch(*Next + LastColumn - 1);
    }
  }

 private:
  static constexpr std::size_t LineWidth = 64 / sizeof(double);

  const double* const* Next;
  const double* const* Last;
  std::size_t FirstColumn;
  std::size_t LastColumn;
  std::size_t Step;
};

/// The terms of one tile, read as packed ones are.
struct TTermsOfKeptTile {
  const double* const* Rows;
  std::size_t LeftColumn;
  std::size_t RightColumn;
  const double* Divisors;
  std::size_t Count;

  const double* Left(std::size_t k) const { return Rows[k] + LeftColumn; }
  const double* Right(std::size_t k) const { return Rows[k] + RightColumn; }
};

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
template <bool Divided, std::size_t Height, class TTerms, class TSums>
inline void AddTermsNarrow(const TTerms& terms, std::size_t column, TSums sums) {
  constexpr std::size_t RowPairs = Height / 2;
  constexpr std::size_t Pairs = 2;
  TPair same[RowPairs][Pairs];
  TPair crossed[RowPairs][Pairs];
  for (std::size_t i = 0; i < RowPairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const double* const upper = sums[2 * i] + column + 2 * j;
      const double* const lower = sums[2 * i + 1] + column + 2 * j;
      same[i][j] = TPair{upper[0], lower[1]};
      crossed[i][j] = TPair{upper[1], lower[0]};
    }
  }
  for (std::size_t k = 0; k < terms.Count; ++k) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const TPair b = PairAt(terms.Right(k) + column + 2 * j);
      const TPair swapped = Swapped(b);
      for (std::size_t i = 0; i < RowPairs; ++i) {
        const TPair a = PairAt(terms.Left(k) + 2 * i);
        same[i][j] += Divided ? a * b / terms.Divisors[k] : a * b;
        crossed[i][j] += Divided ? a * swapped / terms.Divisors[k] : a * swapped;
      }
    }
  }
  for (std::size_t i = 0; i < RowPairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      double* const upper = sums[2 * i] + column + 2 * j;
      double* const lower = sums[2 * i + 1] + column + 2 * j;
      upper[0] = same[i][j][0];
      upper[1] = crossed[i][j][0];
      lower[0] = crossed[i][j][1];
      lower[1] = same[i][j][1];
    }
  }
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

/// `each(i)` for the numbers below `Count`, each a constant: an array whose places are known is held in
/// registers.
template <class TEach, std::size_t... I>
HWY_INLINE void ForConstants(std::index_sequence<I...>, const TEach& each) {
  (each(std::integral_constant<std::size_t, I>()), ...);
}
template <std::size_t Count, class TEach>
HWY_INLINE void ForConstants(const TEach& each) {
  ForConstants(std::make_index_sequence<Count>(), each);
}

/// Adds the terms to the first `Vectors` vectors of columns.
template <bool Divided, std::size_t Height, std::size_t Vectors, class TTerms, class TSums>
HWY_INLINE void AddTermsWide(const TTerms& terms, TSums sums) {
  using TLanes = hn::Vec<TProductTag>;
  constexpr std::size_t Registers = 2;
  static_assert(Vectors <= Registers + 1);
  const TProductTag tag;
  const auto place = [&](std::size_t n) { return sums[n / Vectors] + n % Vectors * ProductLanes; };
  TLanes held[Height * Vectors];
  ForConstants<Height * Vectors>([&](auto n) HWY_ATTR { held[n] = hn::LoadU(tag, place(n)); });
  for (std::size_t k = 0; k < terms.Count; ++k) {
    const double* const left_terms = terms.Left(k);
    const double* right_terms = terms.Right(k);
    TLanes right[Registers];
    ForConstants<std::min(Vectors, Registers)>(
        [&](auto v) HWY_ATTR { right[v] = hn::LoadU(tag, right_terms + v * ProductLanes); });
    ForConstants<Height>([&](auto i) HWY_ATTR {
      const TLanes left = hn::Set(tag, left_terms[i]);
      const auto add = [&](std::size_t v, TLanes of_right) HWY_ATTR {
        TLanes term = hn::Mul(left, of_right);
        if constexpr (Divided) term = hn::Div(term, hn::Set(tag, terms.Divisors[k]));
        held[i * Vectors + v] = hn::Add(held[i * Vectors + v], term);
      };
      ForConstants<std::min(Vectors, Registers)>([&](auto v) HWY_ATTR { add(v, right[v]); });
      if constexpr (Vectors > Registers) {
        // No register is left for the last: it is read again for each row, which compilers must not foresee.
        asm volatile("" : "+r"(right_terms));
        add(Registers, hn::LoadU(tag, right_terms + Registers * ProductLanes));
      }
    });
  }
  ForConstants<Height * Vectors>([&](auto n) HWY_ATTR { hn::StoreU(held[n], tag, place(n)); });
}

/// Adds the terms to the first `Parts` parts of a tile.
template <bool Divided, std::size_t Height, std::size_t Parts, class TTerms, class TSums>
HWY_INLINE void AddTerms(const TTerms& terms, TSums sums) {
  // Shorter vectors make more sums than there are registers, unless they are laid out for it.
  constexpr std::size_t vectors = ProductLanes < PartWidth ? 0 : Parts * PartWidth / ProductLanes;
  if constexpr (vectors != 0) AddTermsWide<Divided, Height, vectors>(terms, sums);
  for (std::size_t j = vectors * ProductLanes; j < Parts * PartWidth; j += PartWidth) {
    AddTermsNarrow<Divided, Height>(terms, j, sums);
  }
}

/// Adds the terms to tiles from `tile` on, as long as they have so many parts; the first that has not is
/// returned. A function of its own, so that its loops have all registers.
template <bool Divided, std::size_t Parts>
HWY_NOINLINE TKeptTile* AddToTilesOf(const TKeptTerms& terms, TKeptTile* tile, const TKeptTile* end,
                                     TPrefetch& prefetch) {
  for (; tile != end && tile->Parts == Parts; ++tile) {
    prefetch.GoOn();
    const TTermsOfKeptTile of_tile{terms.Rows, tile->LeftColumn, tile->RightColumn, terms.Divisors,
                                   terms.Count};
    AddTerms<Divided, KeptTileHeight, Parts>(of_tile, tile->Sums);
  }
  return tile;
}

template <bool Divided>
void AddToKeptTiles(const TKeptTerms& terms, TKeptTile* tiles, std::size_t count) {
  TPrefetch prefetch(terms, count);
  const TKeptTile* const end = tiles + count;
  static_assert(KeptTileParts == 3);
  tiles = AddToTilesOf<Divided, 3>(terms, tiles, end, prefetch);
  tiles = AddToTilesOf<Divided, 2>(terms, tiles, end, prefetch);
  AddToTilesOf<Divided, 1>(terms, tiles, end, prefetch);
}

template <bool Divided>
HWY_INLINE void AddToPackedTile(const TPackedTerms& terms, bool half, double* const* sums) {
  if (half) {
    AddTerms<Divided, PackedTileHeight, 1>(terms, sums);
  } else {
    AddTerms<Divided, PackedTileHeight, 2>(terms, sums);
  }
}

inline void AddKeptTerms(const TKeptTerms& terms, TKeptTile* tiles, std::size_t count) {
  if (terms.Divisors == nullptr) {
    AddToKeptTiles<false>(terms, tiles, count);
  } else {
    AddToKeptTiles<true>(terms, tiles, count);
  }
}

inline void AddPackedTerms(const TPackedTerms& terms, bool half, double* const* sums) {
  if (terms.Divisors == nullptr) {
    AddToPackedTile<false>(terms, half, sums);
  } else {
    AddToPackedTile<true>(terms, half, sums);
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace SatCommonUtils
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace SatCommonUtils {

HWY_EXPORT(AddKeptTerms);
HWY_EXPORT(AddPackedTerms);

TAddKeptTerms AddKeptTermsOfTarget() { return KELVANE_SIMD_DISPATCH(AddKeptTerms); }
TAddPackedTerms AddPackedTermsOfTarget() { return KELVANE_SIMD_DISPATCH(AddPackedTerms); }

}  // namespace SatCommonUtils

#endif  // HWY_ONCE
