// The inverse X of an n x n matrix A from one system of n*n unknowns, the columns of X stacked:
//
//   row i*n + j of the system: row i of A stands in the columns of block j, the free term is (i == j),
//
// solved as `Gauss` solves it, bit for bit. A row has elements in one block only, and with finite numbers
// that remains so: a factor of 0 changes at most the sign of a zero, and no such sign reaches the solution,
// as sums run from +0 and free terms are never -0. So a row here is one block long, and only rows of the
// pivot's own block are eliminated. What stays as in the whole system is the rows' order, which decides
// between equal pivots, and the determinant with its under- and overflow.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>
#include <vector>

#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {

namespace {

class TBlockSystem {
 public:
  /// `elements` are the n*n numbers of A, row after row.
  TBlockSystem(const std::vector<double>& elements, std::size_t n)
      : n_(n), values_(n * n * n), rows_(n * n), places_(n * n) {
    for (std::size_t i = 0, r = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j, ++r) {
        rows_[r] = {j, values_.data() + r * n, i == j ? 1.0 : 0.0};
        std::copy_n(elements.data() + i * n, n, rows_[r].Elements);
        places_[j * n + i] = r;
      }
    }
  }

  /// Returns the determinant, 0.0 when a column has no pivot.
  double Triangulate() {
    double determinant = 1.0;
    for (std::size_t k = 0, block = 0; block < n_; ++block) {
      for (std::size_t column = 0; column < n_ && k + 1 < rows_.size(); ++column, ++k) {
        std::size_t* const places = &places_[block * n_];
        std::size_t* const pivot = FindPivot(places, column);
        if (rows_[*pivot].Elements[column] == 0.0) return 0.0;
        if (*pivot != k) {
          Exchange(k, places + column, pivot);
          determinant = -determinant;
        }
        EliminateBelow(rows_[k], places, column);
      }
    }
    for (std::size_t k = 0, block = 0; block < n_; ++block) {
      for (std::size_t i = 0; i < n_; ++i, ++k) determinant *= rows_[k].Elements[i];
    }
    return determinant;
  }

  /// Writes the solution; false when a number in it is not finite.
  bool SubstituteBack(TMatrix* inverse) const {
    for (std::size_t block = 0; block < n_; ++block) {
      for (std::size_t i = n_; i-- > 0;) {
        const TRow& row = rows_[block * n_ + i];
        double sum = 0.0;
        for (std::size_t j = i + 1; j < n_; ++j) sum += row.Elements[j] * inverse->rows[j].data[block];
        const double x = (row.Free - sum) / row.Elements[i];
        if (!std::isfinite(x)) return false;
        inverse->rows[i].data[block] = x;
      }
    }
    return true;
  }

 private:
  struct TRow {
    std::size_t Block;
    double* Elements;
    double Free;
  };

  /// Where the first of the largest elements in the column stands, among the block's rows that are left.
  std::size_t* FindPivot(std::size_t* places, std::size_t column) const {
    std::size_t* pivot = places + column;
    double largest = std::fabs(rows_[*pivot].Elements[column]);
    for (std::size_t* place = pivot + 1; place != places + n_; ++place) {
      const double size = std::fabs(rows_[*place].Elements[column]);
      if (size > largest) {
        largest = size;
        pivot = place;
      }
    }
    return pivot;
  }

  /// Exchanges row k with the pivot row and keeps the places of both blocks in order. `first` is the first
  /// place that is left to the pivot's block.
  void Exchange(std::size_t k, std::size_t* first, std::size_t* pivot) {
    const std::size_t p = *pivot;
    std::swap(rows_[k], rows_[p]);
    if (*first == k) return;  // both are of the pivot's block
    std::rotate(first, pivot, pivot + 1);
    // A block that has lost no row yet, and k is its first place.
    std::size_t* const others = &places_[rows_[p].Block * n_];
    std::size_t* const behind = std::lower_bound(others + 1, others + n_, p);
    std::copy(others + 1, behind, others);
    behind[-1] = p;
  }

  void EliminateBelow(const TRow& pivot, const std::size_t* places, std::size_t column) {
    for (std::size_t m = column + 1; m < n_; ++m) {
      TRow& row = rows_[places[m]];
      const double factor = row.Elements[column] / pivot.Elements[column];
      for (std::size_t j = column + 1; j < n_; ++j) row.Elements[j] -= factor * pivot.Elements[j];
      row.Free -= factor * pivot.Free;
    }
  }

  std::size_t n_;
  std::vector<double> values_;
  std::vector<TRow> rows_;
  /// For each block, where its rows stand, in order; those that have been pivots come first.
  std::vector<std::size_t> places_;
};

/// The n x n numbers of the matrix, row after row.
std::vector<double> SquareElements(const TMatrix& m, std::size_t n) {
  std::vector<double> elements(n * n);
  for (std::size_t r = 0; r < std::min(n, m.height); ++r) {
    std::copy_n(m.rows[r].data, std::min(n, m.rows[r].size), elements.data() + r * n);
  }
  return elements;
}

/// True when no element can overflow in the elimination: factors are at most 1, so a step at most doubles.
bool StaysFinite(const std::vector<double>& elements, std::size_t n) {
  const double bound = std::ldexp(DBL_MAX, -static_cast<int>(std::min<std::size_t>(n, 2000)));
  return std::all_of(elements.begin(), elements.end(), [bound](double e) { return std::fabs(e) <= bound; });
}

TMatrix SolveWholeSystem(const std::vector<double>& elements, std::size_t n) {
  TMatrix system(n * n, n * n);
  TVector free(n * n);
  for (std::size_t r = 0; r < n * n; ++r) {
    const std::size_t i = r / n;
    const std::size_t j = r % n;
    std::copy_n(elements.data() + i * n, n, system.rows[r].data + j * n);
    if (i == j) free.data[r] = 1.0;
  }
  TVector x(n * n);
  TMatrix inverse(n, n);
  if (Gauss(system, free, x) == 0.0) return inverse;
  for (std::size_t k = 0; k < n; ++k) inverse.SetColomn(k, x.GetSubVector(k * n, n));
  return inverse;
}

}  // namespace

TMatrix TMatrix::operator~() const {
  const std::vector<double> elements = SquareElements(*this, width);
  if (!StaysFinite(elements, width)) return SolveWholeSystem(elements, width);
  TMatrix inverse(width, width);
  TBlockSystem system(elements, width);
  if (system.Triangulate() == 0.0) return inverse;
  if (!system.SubstituteBack(&inverse)) return SolveWholeSystem(elements, width);
  return inverse;
}

}  // namespace SatCommonUtils
