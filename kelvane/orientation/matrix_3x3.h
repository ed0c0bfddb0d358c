/// \file
/// Matrices of rotations as formulas write them (internal). Here, and nowhere else in this folder, meet the
/// two orders of indices: the formulas say (row, column), `TMatrix` takes (column, row).
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/rounded.h"

namespace SatCommonUtils {

/// Rows from top to bottom.
using T3x3 = std::array<std::array<double, 3>, 3>;

/// Throws the index error when the matrix has no such element.
inline double At(const TMatrix& m, std::size_t row, std::size_t col) {
  static const TVector no_row;
  const TVector& elements = row < m.height ? m.rows[row] : no_row;
  return elements[col];
}

/// Throws the index error when the matrix is smaller.
inline void Require3x3(const TMatrix& m) {
  for (std::size_t row = 0; row < 3; ++row) static_cast<void>(At(m, row, 2));
}

/// Overwrites the upper left 3 x 3 elements, or throws with nothing written.
inline void Write(const T3x3& elements, TMatrix* m) {
  Require3x3(*m);
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t col = 0; col < 3; ++col) m->SetElement(col, row, elements[row][col]);
  }
}

inline TMatrix Made(const T3x3& elements) {
  TMatrix m(3, 3);
  Write(elements, &m);
  return m;
}

/// Makes the matrix 3 x 3 with these elements; allocates only when it is of another shape.
inline void Assign(const T3x3& elements, TMatrix* m) {
  const bool fits =
      m->height == 3 && m->width == 3 &&
      std::all_of(m->rows, m->rows + m->height, [](const TVector& row) { return row.size == 3; });
  if (!fits) *m = TMatrix(3, 3);
  Write(elements, m);
}

/// Summed from 0.0 in the order of the terms, as the product of two `TMatrix`.
inline T3x3 Product(const T3x3& a, const T3x3& b) {
  T3x3 product = {};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t col = 0; col < 3; ++col) {
      for (std::size_t k = 0; k < 3; ++k) product[row][col] += a[row][k] * b[k][col];
    }
  }
  return product;
}

/// A turn about an axis, differentiated by its angle `order` times (0 to 2).
class TTurn {
 public:
  explicit TTurn(double angle, int order = 0) : axis_(order == 0 ? 1.0 : 0.0) {
    const double c = rounded::cos(angle);
    const double s = rounded::sin(angle);
    cos_ = order == 0 ? c : order == 1 ? -s : -c;
    sin_ = order == 0 ? s : order == 1 ? c : -s;
  }

  T3x3 AboutX() const { return {{{axis_, 0.0, 0.0}, {0.0, cos_, -sin_}, {0.0, sin_, cos_}}}; }
  T3x3 AboutY() const { return {{{cos_, 0.0, sin_}, {0.0, axis_, 0.0}, {-sin_, 0.0, cos_}}}; }
  T3x3 AboutZ() const { return {{{cos_, -sin_, 0.0}, {sin_, cos_, 0.0}, {0.0, 0.0, axis_}}}; }

 private:
  double axis_;
  double cos_;
  double sin_;
};

}  // namespace SatCommonUtils
