#include "kelvane/numeric/row_product.h"

#include <algorithm>
#include <cstring>

namespace SatCommonUtils {

namespace {

using TPair = double __attribute__((vector_size(16)));

constexpr std::size_t TileSize = 4;
constexpr std::size_t BlockWidth = RowsTogether;
/// So many terms that two blocks stay in the nearest cache.
constexpr std::size_t BlockDepth = 64;

/// Part of a factor, laid out for the tiles: one row per term, zeros behind the last column.
struct alignas(64) TBlock {
  double Terms[BlockDepth][BlockWidth];
};

/// Terms `k` to before `k` + `depth` of the columns of a block.
struct TTerms {
  std::size_t First;
  std::size_t Count;
};

void Pack(const TFactor& factor, TTerms terms, std::size_t column, std::size_t width, TBlock* block) {
  const std::size_t padded = (width + TileSize - 1) / TileSize * TileSize;
  for (std::size_t k = 0; k < terms.Count; ++k) {
    double* const row = block->Terms[k];
    if (!factor.Across) std::copy_n(factor.Rows[terms.First + k] + column, width, row);
    std::fill(row + width, row + padded, 0.0);
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

TPair Load(const double* source) {
  TPair pair;
  std::memcpy(&pair, source, sizeof pair);
  return pair;
}

void Store(TPair pair, double* target) { std::memcpy(target, &pair, sizeof pair); }

TPair Swapped(TPair pair) { return __builtin_shufflevector(pair, pair, 1, 0); }

using TTile = double[TileSize][TileSize];

/// Adds the terms to a tile of sums. Two rows by two columns are held as the sums on the diagonal and those
/// beside it, so that swapping a pair serves where the baseline has no instruction to spread one number.
template <bool Divided>
void AddTerms(const double* left, const double* right, const double* divisors, std::size_t count,
              TTile& tile) {
  constexpr std::size_t Pairs = TileSize / 2;
  TPair same[Pairs][Pairs];
  TPair crossed[Pairs][Pairs];
  for (std::size_t i = 0; i < Pairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const TPair upper = Load(tile[2 * i] + 2 * j);
      const TPair lower = Load(tile[2 * i + 1] + 2 * j);
      same[i][j] = TPair{upper[0], lower[1]};
      crossed[i][j] = TPair{upper[1], lower[0]};
    }
  }
  for (std::size_t k = 0; k < count; ++k) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      const TPair b = Load(right + k * BlockWidth + 2 * j);
      const TPair swapped = Swapped(b);
      for (std::size_t i = 0; i < Pairs; ++i) {
        const TPair a = Load(left + k * BlockWidth + 2 * i);
        if constexpr (Divided) {
          same[i][j] += a * b / divisors[k];
          crossed[i][j] += a * swapped / divisors[k];
        } else {
          same[i][j] += a * b;
          crossed[i][j] += a * swapped;
        }
      }
    }
  }
  for (std::size_t i = 0; i < Pairs; ++i) {
    for (std::size_t j = 0; j < Pairs; ++j) {
      Store(TPair{same[i][j][0], crossed[i][j][0]}, tile[2 * i] + 2 * j);
      Store(TPair{crossed[i][j][1], same[i][j][1]}, tile[2 * i + 1] + 2 * j);
    }
  }
}

/// Rows or columns of the result, and where they stand in a block.
struct TSpan {
  std::size_t First;
  std::size_t Count;
  const double* Terms;

  /// The piece that makes the tile from element `offset` on.
  TSpan TileAt(std::size_t offset) const {
    return {First + offset, std::min(TileSize, Count - offset), Terms + offset};
  }
};

void MultiplyTile(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns) {
  TTile tile = {};
  for (std::size_t r = 0; terms.First != 0 && r < rows.Count; ++r) {
    std::copy_n(product.Result[rows.First + r] + columns.First, columns.Count, tile[r]);
  }
  if (product.Divisors == nullptr) {
    AddTerms<false>(rows.Terms, columns.Terms, nullptr, terms.Count, tile);
  } else {
    AddTerms<true>(rows.Terms, columns.Terms, product.Divisors + terms.First, terms.Count, tile);
  }
  for (std::size_t r = 0; r < rows.Count; ++r) {
    std::copy_n(tile[r], columns.Count, product.Result[rows.First + r] + columns.First);
  }
}

void MultiplyBlock(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns) {
  for (std::size_t i = 0; i < rows.Count; i += TileSize) {
    const TSpan tile_rows = rows.TileAt(i);
    const bool below_diagonal = product.Upper && columns.First < tile_rows.First;
    for (std::size_t j = below_diagonal ? tile_rows.First - columns.First : 0; j < columns.Count;
         j += TileSize) {
      MultiplyTile(product, terms, tile_rows, columns.TileAt(j));
    }
  }
}

/// At most `RowsTogether` rows.
void MultiplyStrip(const TRowProduct& product, std::size_t first, std::size_t count) {
  TBlock left;
  TBlock right;
  const std::size_t first_column = product.Upper ? first : 0;
  // The rows of a symmetric product are columns too: what is packed for them serves for both.
  const bool shared = product.Upper && product.Right.Scales == nullptr;
  std::size_t k = 0;
  do {
    const TTerms terms{k, std::min(BlockDepth, product.Depth - k)};
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

void MirrorUpper(double* const* result, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) {
    for (std::size_t j = 0; j < i; ++j) result[i][j] = result[j][i];
  }
}

}  // namespace SatCommonUtils
