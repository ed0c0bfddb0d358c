#include "kelvane/numeric/row_product.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace SatCommonUtils {

namespace {

using TPair = double __attribute__((vector_size(16), may_alias));
using TQuad = double __attribute__((vector_size(32), may_alias));

/// What a tile's sums leave of the registers holds its factors.
constexpr std::size_t TileHeight = 4;
constexpr std::size_t TileWidth = 8;
constexpr std::size_t BlockWidth = RowsTogether;
constexpr std::size_t Stride = BlockWidth + TileWidth;
static_assert(sizeof(TTermBlock) == sizeof(double) * TermsTogether * Stride);

/// The terms that a block holds.
struct TTerms {
  std::size_t First;
  std::size_t Count;
};

TTerms BlockOfTerms(const TRowProduct& product, std::size_t first) {
  return {first, std::min(TermsTogether, product.Depth - first)};
}

void Pack(const TFactor& factor, TTerms terms, std::size_t column, std::size_t width, TTermBlock* block) {
  for (std::size_t k = 0; k < terms.Count; ++k) {
    double* const row = block->Terms[k];
    if (!factor.Across) std::copy_n(factor.Rows[terms.First + k] + column, width, row);
    std::fill(row + width, row + width + TileWidth, 0.0);
  }
  for (std::size_t i = 0; factor.Across && i < width; ++i) {
    const double* const source = factor.Rows[column + i] + terms.First;
    for (std::size_t k = 0; k < terms.Count; ++k) block->Terms[k][i] = source[k];
  }
  for (std::size_t k = 0; factor.Scales != nullptr && k < terms.Count; ++k) {
    const double scale = factor.Scales[terms.First + k];
    for (std::size_t i = 0; i < width; ++i) block->Terms[k][i] = scale * block->Terms[k][i];
  }
}

TPair Swapped(TPair pair) { return __builtin_shufflevector(pair, pair, 1, 0); }

struct alignas(64) TTile {
  double Sums[TileHeight][TileWidth];
};

template <class TPack>
const TPack& PackAt(const double* source) {
  return *reinterpret_cast<const TPack*>(source);
}

/// left*right terms from k = 0 on, divided unless `Divisors` is null. Elements of a term follow each other.
struct TTileTerms {
  const double* Left;
  const double* Right;
  const double* Divisors;
  std::size_t Count;
};

/// Adds the terms to four columns of a tile of sums. Two rows by two columns are held as the sums on the
/// diagonal and those beside it: swapping a pair serves where the baseline has no instruction to spread one
/// number.
template <bool Divided>
void AddTermsNarrow(const TTileTerms& terms, std::size_t column, TTile& tile) {
  constexpr std::size_t Pairs = 2;
  TPair same[Pairs][Pairs];
  TPair crossed[Pairs][Pairs];
  for (std::size_t i = 0; i < Pairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const double* const upper = tile.Sums[2 * i] + column + 2 * j;
      const double* const lower = tile.Sums[2 * i + 1] + column + 2 * j;
      same[i][j] = TPair{upper[0], lower[1]};
      crossed[i][j] = TPair{upper[1], lower[0]};
    }
  }
  for (std::size_t k = 0; k < terms.Count; ++k) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const TPair b = PackAt<TPair>(terms.Right + k * Stride + column + 2 * j);
      const TPair swapped = Swapped(b);
      for (std::size_t i = 0; i < Pairs; ++i) {
        const TPair a = PackAt<TPair>(terms.Left + k * Stride + 2 * i);
        same[i][j] += Divided ? a * b / terms.Divisors[k] : a * b;
        crossed[i][j] += Divided ? a * swapped / terms.Divisors[k] : a * swapped;
      }
    }
  }
  for (std::size_t i = 0; i < Pairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      double* const upper = tile.Sums[2 * i] + column + 2 * j;
      double* const lower = tile.Sums[2 * i + 1] + column + 2 * j;
      upper[0] = same[i][j][0];
      upper[1] = crossed[i][j][0];
      lower[0] = crossed[i][j][1];
      lower[1] = same[i][j][1];
    }
  }
}

/// The same sums of the tile's first `Quads` times four columns.
template <bool Divided, std::size_t Quads>
__attribute__((target("avx2"))) void AddTermsWide(const TTileTerms& terms, TTile& tile) {
  TQuad sums[TileHeight][Quads];
  for (std::size_t i = 0; i < TileHeight; ++i) {
    for (std::size_t q = 0; q < Quads; ++q) sums[i][q] = PackAt<TQuad>(tile.Sums[i] + 4 * q);
  }
  for (std::size_t k = 0; k < terms.Count; ++k) {
    TQuad b[Quads];
    for (std::size_t q = 0; q < Quads; ++q) b[q] = PackAt<TQuad>(terms.Right + k * Stride + 4 * q);
    for (std::size_t i = 0; i < TileHeight; ++i) {
      const double a = terms.Left[k * Stride + i];
      for (std::size_t q = 0; q < Quads; ++q) sums[i][q] += Divided ? a * b[q] / terms.Divisors[k] : a * b[q];
    }
  }
  for (std::size_t i = 0; i < TileHeight; ++i) {
    for (std::size_t q = 0; q < Quads; ++q) *reinterpret_cast<TQuad*>(tile.Sums[i] + 4 * q) = sums[i][q];
  }
}

bool IsWide() {
  const char* const asked = std::getenv("KELVANE_SIMD");
  const bool baseline = asked != nullptr && std::strcmp(asked, "baseline") == 0;
  return !baseline && __builtin_cpu_supports("avx2") != 0;
}

/// At least to the first `columns` columns of the tile.
template <bool Divided>
void AddTerms(const TTileTerms& terms, std::size_t columns, TTile& tile) {
  static const bool wide = IsWide();
  const bool half = columns <= TileWidth / 2;
  if (!wide) {
    AddTermsNarrow<Divided>(terms, 0, tile);
    if (!half) AddTermsNarrow<Divided>(terms, TileWidth / 2, tile);
  } else if (half) {
    AddTermsWide<Divided, 1>(terms, tile);
  } else {
    AddTermsWide<Divided, 2>(terms, tile);
  }
}

/// The usual count is known beforehand: so few numbers are not worth a call.
void CopyTileRow(const double* source, std::size_t count, double* target) {
  if (count == TileWidth) {
    std::copy_n(source, TileWidth, target);
  } else {
    std::copy_n(source, count, target);
  }
}

/// Rows or columns of the result, and where they stand in a block.
struct TSpan {
  std::size_t First;
  std::size_t Count;
  const double* Terms;

  /// The piece from element `offset` on, of at most `most`.
  TSpan Piece(std::size_t offset, std::size_t most) const {
    return {First + offset, std::min(most, Count - offset), Terms + offset};
  }
};

void MultiplyTile(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns) {
  TTile tile = {};
  const bool has_sums = product.Continued || terms.First != 0;
  for (std::size_t r = 0; has_sums && r < rows.Count; ++r) {
    CopyTileRow(product.Result[rows.First + r] + columns.First, columns.Count, tile.Sums[r]);
  }
  if (product.Divisors == nullptr) {
    AddTerms<false>({rows.Terms, columns.Terms, nullptr, terms.Count}, columns.Count, tile);
  } else {
    AddTerms<true>({rows.Terms, columns.Terms, product.Divisors + terms.First, terms.Count}, columns.Count,
                   tile);
  }
  for (std::size_t r = 0; r < rows.Count; ++r) {
    CopyTileRow(tile.Sums[r], columns.Count, product.Result[rows.First + r] + columns.First);
  }
}

void MultiplyBlock(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns) {
  for (std::size_t i = 0; i < rows.Count; i += TileHeight) {
    const TSpan tile_rows = rows.Piece(i, TileHeight);
    const bool below_diagonal = product.Upper && columns.First < tile_rows.First;
    for (std::size_t j = below_diagonal ? tile_rows.First - columns.First : 0; j < columns.Count;
         j += TileWidth) {
      MultiplyTile(product, terms, tile_rows, columns.Piece(j, TileWidth));
    }
  }
}

/// At most `RowsTogether` rows.
void MultiplyStrip(const TRowProduct& product, std::size_t first, std::size_t count) {
  TTermBlock left;
  TTermBlock right;
  const std::size_t first_column = product.Upper ? first : 0;
  // The rows of a symmetric product are columns too: what is packed for them serves for both.
  const bool shared = product.Upper && product.Right.Scales == nullptr;
  std::size_t k = 0;
  do {
    const TTerms terms = BlockOfTerms(product, k);
    Pack(product.Left, terms, first, shared ? std::min(BlockWidth, product.Width - first) : count, &left);
    for (std::size_t j = first_column; j < product.Width; j += BlockWidth) {
      const std::size_t width = std::min(BlockWidth, product.Width - j);
      const bool packed = shared && j == first;
      if (!packed) Pack(product.Right, terms, j, width, &right);
      MultiplyBlock(product, terms, {first, count, left.Terms[0]},
                    {j, width, (packed ? left : right).Terms[0]});
    }
    k += terms.Count;
  } while (k < product.Depth);
}

}  // namespace

void MultiplyRows(const TRowProduct& product, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; i += RowsTogether) {
    MultiplyStrip(product, i, std::min(RowsTogether, last - i));
  }
}

void PackTerms(const TRowProduct& product, std::size_t first_term, TTermBlock* block) {
  Pack(product.Left, BlockOfTerms(product, first_term), 0, product.Width, block);
}

void AddPackedTerms(const TRowProduct& product, std::size_t first_term, const TTermBlock& block,
                    std::size_t first, std::size_t last) {
  MultiplyBlock(product, BlockOfTerms(product, first_term), {first, last - first, block.Terms[0] + first},
                {0, product.Width, block.Terms[0]});
}

void MirrorUpper(double* const* result, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) {
    for (std::size_t j = 0; j < i; ++j) result[i][j] = result[j][i];
  }
}

}  // namespace SatCommonUtils
