#include "kelvane/numeric/row_product.h"

#include <algorithm>
#include <type_traits>

#include "kelvane/numeric/row_product_tile.h"

namespace SatCommonUtils {

namespace {

/// Terms, rows or columns that follow each other.
struct TSpan {
  std::size_t First;
  std::size_t Count;
};

/// At most `most` terms, to be worked off together.
TSpan TermsFrom(const TRowProduct& product, std::size_t first, std::size_t most) {
  return {first, std::min(most, product.Depth - first)};
}

const double* DivisorsOf(const TRowProduct& product, TSpan terms) {
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
  void Pack(const TFactor& factor, TSpan terms, std::size_t first, std::size_t count) {
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
  const double* From(std::size_t i) const { return Panels[i / PanelWidth][0]; }

 private:
  static_assert(Width % PanelWidth == 0);
  using TPanel = double[PackedTerms][PanelWidth];

  /// `width` columns: compilers should know how many.
  template <class TPanelWidth>
  static void PackPanel(const TFactor& factor, TSpan terms, std::size_t column, TPanelWidth width,
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

  alignas(64) TPanel Panels[Width / PanelWidth];
};

/// Rows or columns of the result, and their terms.
struct TPackedSpan : TSpan {
  const double* Panel;
};

void MultiplyTile(const TRowProduct& product, TSpan terms, const TPackedSpan& rows,
                  const TPackedSpan& columns, TAddPackedTerms add) {
  const TPackedTerms packed{rows.Panel, columns.Panel, DivisorsOf(product, terms), terms.Count};
  const bool has_sums = product.Continued || terms.First != 0;
  double* tile[PackedTileHeight];
  if (rows.Count == PackedTileHeight && columns.Count == PackedTileWidth) {
    for (std::size_t r = 0; r < PackedTileHeight; ++r) {
      tile[r] = product.Result[rows.First + r] + columns.First;
      if (!has_sums) std::fill_n(tile[r], PackedTileWidth, 0.0);
    }
    add(packed, false, tile);
    return;
  }
  double sums[PackedTileHeight][PackedTileWidth] = {};
  for (std::size_t r = 0; r < PackedTileHeight; ++r) tile[r] = sums[r];
  for (std::size_t r = 0; has_sums && r < rows.Count; ++r) {
    std::copy_n(product.Result[rows.First + r] + columns.First, columns.Count, sums[r]);
  }
  add(packed, columns.Count <= PartWidth, tile);
  for (std::size_t r = 0; r < rows.Count; ++r) {
    std::copy_n(sums[r], columns.Count, product.Result[rows.First + r] + columns.First);
  }
}

/// At most `RowsTogether` rows.
class TStrip {
 public:
  TStrip(const TRowProduct& product, std::size_t first, std::size_t last)
      : Product(product), First(first), Last(last), AddTerms(AddPackedTermsOfTarget()) {}

  void Multiply() {
    std::size_t k = 0;
    do {
      const TSpan terms = TermsFrom(Product, k, PackedTerms);
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
  void MultiplyColumns(TSpan terms, std::size_t first, std::size_t last) const {
    for (std::size_t i = First; i < Last; i += PackedTileHeight) {
      const TPackedSpan rows{{i, std::min(PackedTileHeight, Last - i)}, Left.From(i - First)};
      // From the panel on that the diagonal passes through.
      const std::size_t left_out =
          Product.Upper && i > first ? (i - first) / PackedTileWidth * PackedTileWidth : 0;
      for (std::size_t j = first + left_out; j < last; j += PackedTileWidth) {
        MultiplyTile(Product, terms, rows, {{j, std::min(PackedTileWidth, last - j)}, Right.From(j - first)},
                     AddTerms);
      }
    }
  }

  const TRowProduct& Product;
  std::size_t First;
  std::size_t Last;
  TAddPackedTerms AddTerms;
  TTermBlock<RowsTogether, PackedTileHeight> Left;
  TTermBlock<PackedColumns, PackedTileWidth> Right;
};

// Products whose terms are read where they stand.

/// So many terms, of so many columns, stay in the nearest cache together with those to come and the sums.
constexpr std::size_t KeptTerms = 32;
constexpr std::size_t KeptColumns = 48;

/// Whether tiles can read the terms where they stand: those of a symmetric product, with so few columns that
/// the terms of a block stay in the cache, and enough for a tile.
bool StandsAsRead(const TRowProduct& product) {
  return product.Upper && !product.Left.Across && product.Left.Scales == nullptr &&
         product.Right.Scales == nullptr && product.Width >= KeptTileHeight && product.Width <= KeptColumns;
}

/// The tiles of rows of an upper triangle whose terms are read where they stand. Their sums stay apart from
/// the result until all terms are in: those at the edges would be copied with every block.
class TKeptTiles {
 public:
  TKeptTiles(const TRowProduct& product, std::size_t first, std::size_t last)
      : Product(product), FirstColumn(product.Width), AddTerms(AddKeptTermsOfTarget()) {
    // Those of the same width together: processors foresee best what they have just done.
    for (std::size_t parts = KeptTileParts; parts != 0; --parts) BeginTiles(first, last, parts);
    if (product.Continued) ForWanted([](double& sum, double element) { sum = element; });
  }

  void Add(TSpan terms) {
    const TSpan next = TermsFrom(Product, terms.First + terms.Count, KeptTerms);
    AddTerms({Product.Left.Rows + terms.First, DivisorsOf(Product, terms), terms.Count, next.Count,
              FirstColumn, Product.Width},
             Tiles, Count);
  }

  void Store() {
    ForWanted([](double sum, double& element) { element = sum; });
  }

 private:
  /// How many parts the next tile has of so many to come: a part alone takes nearly as long as two.
  std::size_t PartsOfNext(std::size_t parts) const {
    return parts == KeptTileParts + 1 ? 2 : std::min({parts, KeptTileParts, Product.Width / PartWidth});
  }

  /// Begins the tiles that have so many parts.
  void BeginTiles(std::size_t first, std::size_t last, std::size_t parts) {
    for (std::size_t i = first; i < last; i += KeptTileHeight) {
      for (std::size_t j = i; j < Product.Width;) {
        const std::size_t rest = Product.Width - j;
        const std::size_t next = PartsOfNext((rest + PartWidth - 1) / PartWidth);
        const TSpan columns{j, std::min(rest, next * PartWidth)};
        if (next == parts) BeginTile({i, std::min(KeptTileHeight, last - i)}, columns, parts);
        j += columns.Count;
      }
    }
  }

  /// Earlier than asked for where the tile would reach behind the last row or column.
  void BeginTile(TSpan rows, TSpan columns, std::size_t parts) {
    const std::size_t right = std::min(columns.First, Product.Width - parts * PartWidth);
    Tiles[Count] = {std::min(rows.First, Product.Width - KeptTileHeight), right, parts, {}};
    Places[Count++] = {rows, columns};
    FirstColumn = std::min(FirstColumn, right);
  }

  /// `each(sum, element)` for the elements of the result that the tiles are for.
  template <class TEach>
  void ForWanted(const TEach& each) {
    for (std::size_t t = 0; t < Count; ++t) {
      const auto& [rows, columns] = Places[t];
      for (std::size_t r = 0; r < rows.Count; ++r) {
        double* const sums =
            Tiles[t].Sums[rows.First + r - Tiles[t].LeftColumn] + (columns.First - Tiles[t].RightColumn);
        double* const elements = Product.Result[rows.First + r] + columns.First;
        for (std::size_t c = 0; c < columns.Count; ++c) each(sums[c], elements[c]);
      }
    }
  }

  /// In the widest triangle so many rows of tiles, as a tile has parts, have one for each of its parts, the
  /// next ones one less, and the last ones one.
  static constexpr std::size_t MostInRow = KeptColumns / (KeptTileParts * PartWidth);
  static constexpr std::size_t Most = KeptTileParts * MostInRow * (MostInRow + 1) / 2;
  static_assert(PartWidth == KeptTileHeight && KeptColumns % (KeptTileParts * PartWidth) == 0);

  struct TPlace {
    TSpan Rows;
    TSpan Columns;
  };

  const TRowProduct& Product;
  /// The first that is read.
  std::size_t FirstColumn;
  TAddKeptTerms AddTerms;
  std::size_t Count = 0;
  TPlace Places[Most];
  TKeptTile Tiles[Most];
};

void MultiplyWhereTheyStand(const TRowProduct& product, std::size_t first, std::size_t last) {
  TKeptTiles tiles(product, first, last);
  std::size_t k = 0;
  do {
    const TSpan terms = TermsFrom(product, k, KeptTerms);
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
