#include "kelvane/numeric/row_product.h"

#include <algorithm>
#include <type_traits>

#include "kelvane/numeric/row_product_tile.h"

namespace SatCommonUtils {

namespace {

/// The terms of a sum that are worked off together.
struct TTerms {
  std::size_t First;
  std::size_t Count;
};

TTerms TermsFrom(const TRowProduct& product, std::size_t first, std::size_t most) {
  return {first, std::min(most, product.Depth - first)};
}

const double* DivisorsOf(const TRowProduct& product, TTerms terms) {
  return product.Divisors == nullptr ? nullptr : product.Divisors + terms.First;
}

// Products whose terms are laid out anew.

/// So many terms of so many columns stay in the nearest cache while the rows, which stay in the next, pass.
constexpr std::size_t PackedTerms = 96;
constexpr std::size_t PackedColumns = 24;

/// The terms of at most `Width` rows or columns of a result, laid out as tiles read them: in panels as wide
/// as a tile, in which those of one k follow those of the one before, with zeros behind the last.
template <std::size_t Width, std::size_t PanelWidth>
class TTermBlock {
 public:
  void Pack(const TFactor& factor, TTerms terms, std::size_t first, std::size_t count) {
    for (std::size_t k = 0; k < terms.Count; ++k) Rows[k] = Panels[0][k];
    constexpr std::integral_constant<std::size_t, PanelWidth> whole;
    for (std::size_t i = 0; i < count; i += PanelWidth) {
      TPanel& panel = Panels[i / PanelWidth];
      if (count - i >= whole) {
        PackPanel(factor, terms, first + i, whole, panel);
      } else {
        PackPanel(factor, terms, first + i, count - i, panel);
      }
    }
  }

  /// The panel that begins with row or column `i` of the block.
  TTileSide From(std::size_t i) const { return {Rows, i * PackedTerms}; }

 private:
  static_assert(Width % PanelWidth == 0);
  using TPanel = double[PackedTerms][PanelWidth];

  /// `width` columns: compilers should know how many.
  template <class TPanelWidth>
  static void PackPanel(const TFactor& factor, TTerms terms, std::size_t column, TPanelWidth width,
                        TPanel& panel) {
    for (std::size_t k = 0; k < terms.Count; ++k) {
      const std::size_t term = terms.First + k;
      for (std::size_t i = 0; i < width; ++i) {
        panel[k][i] = factor.Across ? factor.Rows[column + i][term] : factor.Rows[term][column + i];
      }
      for (std::size_t i = 0; factor.Scales != nullptr && i < width; ++i) {
        panel[k][i] = factor.Scales[term] * panel[k][i];
      }
      std::fill(panel[k] + width, panel[k] + PanelWidth, 0.0);
    }
  }

  const double* Rows[PackedTerms];
  alignas(64) TPanel Panels[Width / PanelWidth];
};

/// Rows or columns of the result, and where their terms stand.
struct TSpan {
  std::size_t First;
  std::size_t Count;
  TTileSide Terms;
};

void MultiplyTile(const TRowProduct& product, TTerms terms, const TSpan& rows, const TSpan& columns,
                  TAddTileTerms add) {
  const TTileTerms tile_terms{rows.Terms, columns.Terms, DivisorsOf(product, terms), terms.Count};
  const bool has_sums = product.Continued || terms.First != 0;
  TTile tile;
  if (rows.Count == HighTileHeight && columns.Count == TileWidth) {
    for (std::size_t r = 0; r < HighTileHeight; ++r) {
      tile.Rows[r] = product.Result[rows.First + r] + columns.First;
      if (!has_sums) std::fill_n(tile.Rows[r], TileWidth, 0.0);
    }
    add(tile_terms, TileWidth, tile);
    return;
  }
  double sums[HighTileHeight][TileWidth] = {};
  for (std::size_t r = 0; r < HighTileHeight; ++r) tile.Rows[r] = sums[r];
  for (std::size_t r = 0; has_sums && r < rows.Count; ++r) {
    std::copy_n(product.Result[rows.First + r] + columns.First, columns.Count, sums[r]);
  }
  add(tile_terms, columns.Count, tile);
  for (std::size_t r = 0; r < rows.Count; ++r) {
    std::copy_n(sums[r], columns.Count, product.Result[rows.First + r] + columns.First);
  }
}

/// At most `RowsTogether` rows.
class TStrip {
 public:
  TStrip(const TRowProduct& product, std::size_t first, std::size_t last)
      : Product(product), First(first), Last(last), AddTerms(AddHighTileTermsOfTarget()) {}

  void Multiply() {
    std::size_t k = 0;
    do {
      const TTerms terms = TermsFrom(Product, k, PackedTerms);
      Left.Pack(Product.Left, terms, First, Last - First);
      for (std::size_t j = Product.Upper ? First : 0; j < Product.Width; j += PackedColumns) {
        const std::size_t last = std::min(j + PackedColumns, Product.Width);
        Right.Pack(Product.Right, terms, j, last - j);
        MultiplyColumns(terms, j, last);
      }
      k += terms.Count;
    } while (k < Product.Depth);
  }

 private:
  void MultiplyColumns(TTerms terms, std::size_t first, std::size_t last) const {
    for (std::size_t i = First; i < Last; i += HighTileHeight) {
      const TSpan rows{i, std::min(HighTileHeight, Last - i), Left.From(i - First)};
      // From the panel on that the diagonal passes through.
      const std::size_t left_out = Product.Upper && i > first ? (i - first) / TileWidth * TileWidth : 0;
      for (std::size_t j = first + left_out; j < last; j += TileWidth) {
        MultiplyTile(Product, terms, rows, {j, std::min(TileWidth, last - j), Right.From(j - first)},
                     AddTerms);
      }
    }
  }

  const TRowProduct& Product;
  std::size_t First;
  std::size_t Last;
  TAddTileTerms AddTerms;
  TTermBlock<RowsTogether, HighTileHeight> Left;
  TTermBlock<PackedColumns, TileWidth> Right;
};

// Products whose terms are read where they stand.

/// So many terms, of so many columns, stay in the nearest cache together with those to come and the sums.
constexpr std::size_t KeptTerms = 32;
constexpr std::size_t KeptColumns = 48;

/// Whether tiles can read the terms where they stand: those of a symmetric product, with so few columns that
/// the terms of a block stay in the cache, and enough for a tile.
bool StandsAsRead(const TRowProduct& product) {
  return product.Upper && !product.Left.Across && product.Left.Scales == nullptr &&
         product.Right.Scales == nullptr && product.Left.Rows == product.Right.Rows &&
         product.Width >= TileWidth && product.Width <= KeptColumns;
}

/// Asks for the rows of the terms to come, a few with each tile: they stand one by one, and a product takes a
/// row's numbers too far apart for the processor to foresee them.
class TPrefetch {
 public:
  /// The columns from `column` to before `width` of `count` rows, by the last of so many tiles.
  TPrefetch(const double* const* rows, std::size_t count, std::size_t column, std::size_t width,
            std::size_t tiles)
      : Next(rows), Last(rows + count), Column(column), Width(width), Step(count / tiles + 1) {}

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

/// Rows or columns of the result in a tile, which begins with `Start`: earlier than `First` where it would
/// reach behind the last of all, `end`.
struct TTileEdge {
  TTileEdge() = default;
  TTileEdge(std::size_t first, std::size_t count, std::size_t size, std::size_t end)
      : First(first), Count(count), Start(std::min(first, end - size)) {}

  std::size_t First;
  std::size_t Count;
  std::size_t Start;
};

/// The tiles of rows of an upper triangle whose terms are read where they stand. Their sums stay apart from
/// the result until all terms are in: those at the edges would be copied with every block.
class TKeptTiles {
 public:
  TKeptTiles(const TRowProduct& product, std::size_t first, std::size_t last)
      : Product(product), AddTerms(AddLowTileTermsOfTarget()) {
    const std::size_t n = product.Width;
    for (std::size_t i = first; i < last; i += LowTileHeight) {
      for (std::size_t j = i; j < n; j += TileWidth) {
        const std::size_t count = std::min(TileWidth, n - j);
        const std::size_t width = count <= TileWidth / 2 ? TileWidth / 2 : TileWidth;
        Places[Count++] = {
            {i, std::min(LowTileHeight, last - i), LowTileHeight, n}, {j, count, width, n}, width};
      }
    }
    std::fill_n(Sums[0][0], Count * LowTileHeight * TileWidth, 0.0);
    if (product.Continued) ForWanted([](double& sum, double element) { sum = element; });
  }

  void Add(TTerms terms) {
    const TTerms next = TermsFrom(Product, terms.First + terms.Count, KeptTerms);
    TPrefetch prefetch(Product.Left.Rows + next.First, next.Count, Places[0].Columns.Start, Product.Width,
                       Count);
    const double* const* const rows = Product.Left.Rows + terms.First;
    const double* const divisors = DivisorsOf(Product, terms);
    for (std::size_t t = 0; t < Count; ++t) {
      prefetch.GoOn();
      TTile tile;
      for (std::size_t r = 0; r < LowTileHeight; ++r) tile.Rows[r] = Sums[t][r];
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

  /// In the widest triangle two rows of tiles have one for each of its panels, the next two one less, and the
  /// last two one.
  static constexpr std::size_t Most = KeptColumns / TileWidth * (KeptColumns / TileWidth + 1);
  static_assert(TileWidth == 2 * LowTileHeight && KeptColumns % TileWidth == 0);

  const TRowProduct& Product;
  TAddTileTerms AddTerms;
  std::size_t Count = 0;
  TPlace Places[Most];
  alignas(64) double Sums[Most][LowTileHeight][TileWidth];
};

void MultiplyWhereTheyStand(const TRowProduct& product, std::size_t first, std::size_t last) {
  TKeptTiles tiles(product, first, last);
  std::size_t k = 0;
  do {
    const TTerms terms = TermsFrom(product, k, KeptTerms);
    tiles.Add(terms);
    k += terms.Count;
  } while (k < product.Depth);
  tiles.Store();
}

}  // namespace

void MultiplyRows(const TRowProduct& product, std::size_t first, std::size_t last) {
  if (first >= last) return;
  if (StandsAsRead(product)) {
    MultiplyWhereTheyStand(product, first, last);
    return;
  }
  for (std::size_t i = first; i < last; i += RowsTogether) {
    TStrip(product, i, std::min(last, i + RowsTogether)).Multiply();
  }
}

void MirrorUpper(double* const* result, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) {
    for (std::size_t j = 0; j < i; ++j) result[i][j] = result[j][i];
  }
}

}  // namespace SatCommonUtils
