#include "kelvane/numeric/row_product.h"

#include <algorithm>

#include "kelvane/numeric/row_product_tile.h"

namespace SatCommonUtils {

namespace {

constexpr std::size_t BlockWidth = RowsTogether;

/// So many terms that two blocks stay in the nearest caches.
constexpr std::size_t TermsTogether = 48;

/// Terms of a product, laid out as its tiles read them: one row per term, zeros behind the last column.
struct alignas(64) TTermBlock {
  /// A tile may begin with any column, and reach behind the last.
  double Terms[TermsTogether][BlockWidth + TileWidth];
  const double* Rows[TermsTogether];

  TTermBlock() {
    for (std::size_t k = 0; k < TermsTogether; ++k) Rows[k] = Terms[k];
  }
};

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

/// Rows or columns of the result, and where their terms stand. The tile may begin `Skipped` before them.
struct TSpan {
  std::size_t First;
  std::size_t Count;
  TTileSide Terms;
  std::size_t Skipped = 0;

  /// The piece from element `offset` on, of at most `most`.
  TSpan Piece(std::size_t offset, std::size_t most) const {
    return {First + offset, std::min(most, Count - offset), {Terms.Rows, Terms.Column + offset}};
  }
};

void MultiplyTile(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns,
                  TAddTileTerms add) {
  const double* const divisors = product.Divisors == nullptr ? nullptr : product.Divisors + terms.First;
  const TTileTerms tile_terms{rows.Terms, columns.Terms, divisors, terms.Count};
  const bool has_sums = product.Continued || terms.First != 0;
  TTile tile;
  if (rows.Count == TileHeight && columns.Count == TileWidth) {
    for (std::size_t r = 0; r < TileHeight; ++r) {
      tile.Rows[r] = product.Result[rows.First + r] + columns.First;
      if (!has_sums) std::fill_n(tile.Rows[r], TileWidth, 0.0);
    }
    add(tile_terms, TileWidth, tile);
    return;
  }
  double sums[TileHeight][TileWidth] = {};
  for (std::size_t r = 0; r < TileHeight; ++r) tile.Rows[r] = sums[r];
  for (std::size_t r = 0; has_sums && r < rows.Count; ++r) {
    std::copy_n(product.Result[rows.First + r] + columns.First, columns.Count,
                sums[rows.Skipped + r] + columns.Skipped);
  }
  add(tile_terms, columns.Skipped + columns.Count, tile);
  for (std::size_t r = 0; r < rows.Count; ++r) {
    std::copy_n(sums[rows.Skipped + r] + columns.Skipped, columns.Count,
                product.Result[rows.First + r] + columns.First);
  }
}

void MultiplyBlock(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns) {
  const TAddTileTerms add = AddTileTermsOfTarget();
  for (std::size_t i = 0; i < rows.Count; i += TileHeight) {
    const TSpan tile_rows = rows.Piece(i, TileHeight);
    const bool below_diagonal = product.Upper && columns.First < tile_rows.First;
    for (std::size_t j = below_diagonal ? tile_rows.First - columns.First : 0; j < columns.Count;
         j += TileWidth) {
      MultiplyTile(product, terms, tile_rows, columns.Piece(j, TileWidth), add);
    }
  }
}

/// Whether tiles can read the terms where they stand: those of a symmetric product, with so few columns that
/// the terms of a block stay in the cache, and enough for a tile.
bool StandsAsRead(const TRowProduct& product) {
  return product.Upper && !product.Left.Across && product.Left.Scales == nullptr &&
         product.Right.Scales == nullptr && product.Left.Rows == product.Right.Rows &&
         product.Width >= TileWidth && product.Width <= BlockWidth;
}

/// `count` rows or columns from `first` on for a tile of `size`; it begins earlier where it would reach
/// behind the last of all, `end`.
TSpan WithinRow(const double* const* terms, std::size_t first, std::size_t count, std::size_t size,
                std::size_t end) {
  const std::size_t start = std::min(first, end - size);
  return {first, count, {terms, start}, first - start};
}

/// Asks for the rows of the terms to come, a few with each tile: they stand one by one, and a product takes a
/// row's numbers too far apart for the processor to foresee them.
class TPrefetch {
 public:
  /// The columns from `column` to before `width` of `count` rows, by the last of so many tiles.
  TPrefetch(const double* const* rows, std::size_t count, std::size_t column, std::size_t width,
            std::size_t tiles)
      : Next(rows),
        Last(rows + count),
        Column(column),
        Width(width),
        Step(count / std::max<std::size_t>(tiles, 1) + 1) {}

  void GoOn() {
    for (std::size_t k = 0; k < Step && Next != Last; ++k, ++Next) {
      for (std::size_t j = Column; j < Width; j += LineWidth) __builtin_prefetch(*Next + j);
      __builtin_prefetch(*Next + Width - 1);
    }
  }

 private:
  static constexpr std::size_t LineWidth = 64 / sizeof(double);

  const double* const* Next;
  const double* const* Last;
  std::size_t Column;
  std::size_t Width;
  std::size_t Step;
};

void MultiplyWhereTheyStand(const TRowProduct& product, std::size_t first, std::size_t last) {
  const TAddTileTerms add = AddTileTermsOfTarget();
  const std::size_t n = product.Width;
  std::size_t tiles = 0;
  for (std::size_t i = first; i < last; i += TileHeight) tiles += (n - i + TileWidth - 1) / TileWidth;
  std::size_t k = 0;
  do {
    const TTerms terms = BlockOfTerms(product, k);
    const TTerms next = BlockOfTerms(product, k + terms.Count);
    const double* const* const at = product.Left.Rows + terms.First;
    TPrefetch prefetch(product.Left.Rows + next.First, next.Count, std::min(first, n - TileWidth), n, tiles);
    for (std::size_t i = first; i < last; i += TileHeight) {
      const TSpan rows = WithinRow(at, i, std::min(TileHeight, last - i), TileHeight, n);
      for (std::size_t j = i; j < n; j += TileWidth) {
        const std::size_t count = std::min(TileWidth, n - j);
        const std::size_t size = count <= TileWidth / 2 ? TileWidth / 2 : TileWidth;
        prefetch.GoOn();
        MultiplyTile(product, terms, rows, WithinRow(at, j, count, size, n), add);
      }
    }
    k += terms.Count;
  } while (k < product.Depth);
}

/// At most `RowsTogether` rows.
void MultiplyStrip(const TRowProduct& product, std::size_t first, std::size_t count) {
  TTermBlock left;
  TTermBlock right;
  const std::size_t first_column = product.Upper ? first : 0;
  // The rows of a symmetric product are columns too: what is packed for them serves for both.
  const bool shared = product.Upper && product.Left.Scales == nullptr && product.Right.Scales == nullptr;
  std::size_t k = 0;
  do {
    const TTerms terms = BlockOfTerms(product, k);
    Pack(product.Left, terms, first, shared ? std::min(BlockWidth, product.Width - first) : count, &left);
    for (std::size_t j = first_column; j < product.Width; j += BlockWidth) {
      const std::size_t width = std::min(BlockWidth, product.Width - j);
      const bool packed = shared && j == first;
      if (!packed) Pack(product.Right, terms, j, width, &right);
      MultiplyBlock(product, terms, {first, count, {left.Rows, 0}},
                    {j, width, {(packed ? left : right).Rows, 0}});
    }
    k += terms.Count;
  } while (k < product.Depth);
}

}  // namespace

void MultiplyRows(const TRowProduct& product, std::size_t first, std::size_t last) {
  if (first >= last) return;
  if (StandsAsRead(product)) {
    MultiplyWhereTheyStand(product, first, last);
    return;
  }
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
