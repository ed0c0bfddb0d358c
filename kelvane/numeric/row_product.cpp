#include "kelvane/numeric/row_product.h"

#include <algorithm>

#include "kelvane/numeric/row_product_tile.h"

namespace SatCommonUtils {

namespace {

constexpr std::size_t BlockWidth = RowsTogether;

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

void MultiplyTile(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns,
                  TAddTileTerms add) {
  TTile tile = {};
  const bool has_sums = product.Continued || terms.First != 0;
  for (std::size_t r = 0; has_sums && r < rows.Count; ++r) {
    CopyTileRow(product.Result[rows.First + r] + columns.First, columns.Count, tile.Sums[r]);
  }
  const double* const divisors = product.Divisors == nullptr ? nullptr : product.Divisors + terms.First;
  add({rows.Terms, columns.Terms, divisors, terms.Count}, columns.Count, &tile);
  for (std::size_t r = 0; r < rows.Count; ++r) {
    CopyTileRow(tile.Sums[r], columns.Count, product.Result[rows.First + r] + columns.First);
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
