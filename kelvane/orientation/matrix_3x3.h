/// \file
/// Matrices of rotations as formulas write them (internal). Here, and nowhere else in this folder, meet the
/// two orders of indices: the formulas say (row, column), `TMatrix` takes (column, row).
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "kelvane/numeric/matrix.h"

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

/// Turns about an axis, `Order` times differentiated by the angle: order 0 is the turn, order 1 its
/// derivative, order 2 minus the turn with a zero on the axis.
template <int Order>
struct TTurn {
  static_assert(0 <= Order && Order <= 2);

  explicit TTurn(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    Cos = Order == 0 ? c : Order == 1 ? -s : -c;
    Sin = Order == 0 ? s : Order == 1 ? c : -s;
  }

  T3x3 AboutX() const { return {{{Axis, 0.0, 0.0}, {0.0, Cos, -Sin}, {0.0, Sin, Cos}}}; }
  T3x3 AboutY() const { return {{{Cos, 0.0, Sin}, {0.0, Axis, 0.0}, {-Sin, 0.0, Cos}}}; }
  T3x3 AboutZ() const { return {{{Cos, -Sin, 0.0}, {Sin, Cos, 0.0}, {0.0, 0.0, Axis}}}; }

  static constexpr double Axis = Order == 0 ? 1.0 : 0.0;
  double Cos;
  double Sin;
};

}  // namespace SatCommonUtils
