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

/// Rows or columns of the result, and where their terms stand.
struct TSpan {
  std::size_t First;
  std::size_t Count;
  TTileSide Terms;

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
    std::copy_n(product.Result[rows.First + r] + columns.First, columns.Count, sums[r]);
  }
  add(tile_terms, columns.Count, tile);
  for (std::size_t r = 0; r < rows.Count; ++r) {
    std::copy_n(sums[r], columns.Count, product.Result[rows.First + r] + columns.First);
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

/// Rows or columns of the result in a tile, which begins with `Start`: earlier than `First` where it would reach
/// behind the last of all, `end`.
struct TTileEdge {
  TTileEdge() = default;
  TTileEdge(std::size_t first, std::size_t count, std::size_t size, std::size_t end)
      : First(first), Count(count), Start(std::min(first, end - size)) {}

  std::size_t First;
  std::size_t Count;
  std::size_t Start;
};

/// The tiles of rows of an upper triangle whose terms are read where they stand. Their sums stay apart from the
/// result until all terms are in: those at the edges would be copied with every block.
class TKeptTiles {
 public:
  TKeptTiles(const TRowProduct& product, std::size_t first, std::size_t last)
      : Product(product), AddTerms(AddTileTermsOfTarget()) {
    const std::size_t n = product.Width;
    for (std::size_t i = first; i < last; i += TileHeight) {
      for (std::size_t j = i; j < n; j += TileWidth) {
        const std::size_t count = std::min(TileWidth, n - j);
        const std::size_t width = count <= TileWidth / 2 ? TileWidth / 2 : TileWidth;
        Places[Count++] = {{i, std::min(TileHeight, last - i), TileHeight, n}, {j, count, width, n}, width};
      }
    }
    std::fill_n(Sums[0][0], Count * TileHeight * TileWidth, 0.0);
    if (product.Continued) ForWanted([](double& sum, double element) { sum = element; });
  }

  void Add(TTerms terms) {
    const TTerms next = BlockOfTerms(Product, terms.First + terms.Count);
    TPrefetch prefetch(Product.Left.Rows + next.First, next.Count, Places[0].Columns.Start,
                       Product.Width, Count);
    const double* const* const rows = Product.Left.Rows + terms.First;
    const double* const divisors = Product.Divisors == nullptr ? nullptr : Product.Divisors + terms.First;
    for (std::size_t t = 0; t < Count; ++t) {
      prefetch.GoOn();
      TTile tile;
      for (std::size_t r = 0; r < TileHeight; ++r) tile.Rows[r] = Sums[t][r];
      AddTerms({{rows, Places[t].Rows.Start}, {rows, Places[t].Columns.Start}, divisors, terms.Count},
               Places[t].Width, tile);
    }
  }

  void Store() {
    ForWanted([](double sum, double& element) { element = sum; });
  }

 private:
  struct TPlace {
    TTileEdge Rows;
    TTileEdge Columns;
    std::size_t Width;
  };

  /// `each(sum, element)` for the elements of the result that the tiles are for.
  template <class TEach>
  void ForWanted(const TEach& each) {
    for (std::size_t t = 0; t < Count; ++t) {
      const auto& [rows, columns, width] = Places[t];
      for (std::size_t r = 0; r < rows.Count; ++r) {
        double* const sums = Sums[t][rows.First - rows.Start + r] + (columns.First - columns.Start);
        double* const elements = Product.Result[rows.First + r] + columns.First;
        for (std::size_t c = 0; c < columns.Count; ++c) each(sums[c], elements[c]);
      }
    }
  }

  /// In a triangle of the widest block: the rows of two tiles have as many, one more than the next two.
  static constexpr std::size_t Most = BlockWidth / TileWidth * (BlockWidth / TileWidth + 1);
  static_assert(TileWidth == 2 * TileHeight && BlockWidth % TileWidth == 0);

  const TRowProduct& Product;
  TAddTileTerms AddTerms;
  std::size_t Count = 0;
  TPlace Places[Most];
  alignas(64) double Sums[Most][TileHeight][TileWidth];
};

void MultiplyWhereTheyStand(const TRowProduct& product, std::size_t first, std::size_t last) {
  TKeptTiles tiles(product, first, last);
  std::size_t k = 0;
  do {
    const TTerms terms = BlockOfTerms(product, k);
    tiles.Add(terms);
    k += terms.Count;
  } while (k < product.Depth);
  tiles.Store();
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
