#include "kelvane/numeric/matrix.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "kelvane/numeric/matrix_rows.h"
#include "kelvane/numeric/row_product.h"

namespace SatCommonUtils {

namespace {

using TRows = std::unique_ptr<TVector[]>;

TRows ZeroRows(std::size_t width, std::size_t height) {
  TRows rows(new TVector[height]);
  for (std::size_t r = 0; r < height; ++r) rows[r].Reset(width);
  return rows;
}

TRows CopiedRows(const TMatrix& m) {
  TRows rows(new TVector[m.height]);
  std::copy_n(m.rows, m.height, rows.get());
  return rows;
}

/// The matrix with `change(row)` done to every row.
template <class TChange>
TMatrix Changed(const TMatrix& m, TChange change) {
  TMatrix result(m);
  std::for_each(result.rows, result.rows + result.height, change);
  return result;
}

/// Over the columns of `m`, as far as its rows have them.
template <class TOperation>
void Combine(TMatrix* m, const TMatrix& other, TOperation operation) {
  for (std::size_t r = 0; r < m->height; ++r) {
    double* const row = m->rows[r].data;
    const std::size_t length = std::min(m->width, m->rows[r].size);
    std::transform(row, row + length, other.rows[r].data, row, operation);
  }
}

}  // namespace

TMatrix::TMatrix(const std::string& text) : rows(nullptr), width(0), height(0), name(text) {}

TMatrix::TMatrix(std::size_t columns, std::size_t lines)
    : rows(ZeroRows(columns, lines).release()), width(columns), height(lines) {}

TMatrix::TMatrix(std::size_t n) : TMatrix(n, n) {
  for (std::size_t k = 0; k < n; ++k) rows[k].data[k] = 1.0;
}

TMatrix::TMatrix(const TVector& d) : TMatrix(d.size, d.size) {
  for (std::size_t k = 0; k < d.size; ++k) rows[k].data[k] = d.data[k];
}

TMatrix::TMatrix(const TMatrix& other)
    : rows(CopiedRows(other).release()), width(other.width), height(other.height) {}

TMatrix::TMatrix(TMatrix&& other) noexcept
    : rows(std::exchange(other.rows, nullptr)),
      width(std::exchange(other.width, 0)),
      height(std::exchange(other.height, 0)) {}

TMatrix::~TMatrix() { delete[] rows; }

TMatrix& TMatrix::operator=(const TMatrix& other) {
  if (this != &other) *this = TMatrix(other);
  return *this;
}

TMatrix& TMatrix::operator=(TMatrix&& other) noexcept {
  TMatrix taken(std::move(other));
  std::swap(rows, taken.rows);
  std::swap(width, taken.width);
  std::swap(height, taken.height);
  return *this;
}

TVector TMatrix::operator()(std::size_t col) const {
  TVector result(height);
  for (std::size_t r = 0; r < height; ++r) result.data[r] = std::as_const(rows[r])[col];
  return result;
}

TVector TMatrix::GetColomn(std::size_t col) const { return (*this)(col); }

TVector TMatrix::GetRow(std::size_t row) const { return rows[row]; }

void TMatrix::SetRow(std::size_t row, const TVector& v) { rows[row] = v; }

void TMatrix::SetColomn(std::size_t col, const TVector& v) {
  for (std::size_t r = 0; r < height; ++r) rows[r][col] = v[r];
}

void TMatrix::SwapRows(std::size_t a, std::size_t b) { std::swap(rows[a], rows[b]); }

void TMatrix::SwapColomns(std::size_t a, std::size_t b) {
  RequireColumn(*this, std::max(a, b));
  for (std::size_t r = 0; r < height; ++r) std::swap(rows[r].data[a], rows[r].data[b]);
}

void TMatrix::InsertSubmatrix(std::size_t col, std::size_t row, const TMatrix& m) {
  for (std::size_t k = 0; k < m.height; ++k) rows[row + k].InsertSubVector(col, m.rows[k]);
}

void TMatrix::AddToRow(std::size_t row, const TVector& v) { rows[row] += v; }

void TMatrix::SubtractFromRow(std::size_t row, const TVector& v) { rows[row] -= v; }

void TMatrix::AddToDiag(const TVector& d) {
  for (std::size_t k = 0; k < width; ++k) rows[k][k] += d[k];
}

void TMatrix::SubtractFromDiag(const TVector& d) {
  for (std::size_t k = 0; k < width; ++k) rows[k][k] -= d[k];
}

TMatrix& TMatrix::operator+=(const TMatrix& other) {
  Combine(this, other, [](double a, double b) { return a + b; });
  return *this;
}

TMatrix& TMatrix::operator-=(const TMatrix& other) {
  Combine(this, other, [](double a, double b) { return a - b; });
  return *this;
}

TMatrix TMatrix::operator-() const {
  return Changed(*this, [](TVector& row) { row = -row; });
}

TMatrix TMatrix::operator!() const {
  TMatrix result(height, width);
  for (std::size_t r = 0; r < height; ++r) {
    const std::size_t length = std::min(width, rows[r].size);
    for (std::size_t c = 0; c < length; ++c) result.rows[c].data[r] = rows[r].data[c];
  }
  return result;
}

double TMatrix::Norma1() const {
  double largest = -1.0;
  for (std::size_t r = 0; r < height; ++r) {
    double sum = 0.0;
    for (std::size_t c = 0; c < rows[r].size; ++c) sum += std::fabs(rows[r].data[c]);
    if (sum > largest) largest = sum;
  }
  return largest;
}

void TMatrix::FillWithZeroes() {
  for (std::size_t r = 0; r < height; ++r) rows[r].FillWithZeroes();
}

void TMatrix::Reset(std::size_t columns, std::size_t lines) { *this = TMatrix(columns, lines); }

bool TMatrix::Clip(std::size_t columns, std::size_t lines) try {
  if (columns == 0 || lines == 0 || columns > width || lines > height) return false;
  if (lines == height) {
    std::for_each(rows, rows + height, [columns](TVector& row) { row.Clip(columns); });
    return true;
  }
  TMatrix clipped(0, lines);
  clipped.width = columns;
  for (std::size_t r = 0; r < lines; ++r) {
    clipped.rows[r] = rows[r];
    if (!clipped.rows[r].Clip(columns)) return false;
  }
  *this = std::move(clipped);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

TMatrix operator*(const TMatrix& a, const TMatrix& b) {
  if (a.height != 0) RequireFullRows(b);
  TMatrix result(b.width, a.height);
  const std::vector<double*> left = RowPointers(a);
  const std::vector<double*> right = RowPointers(b);
  const std::vector<double*> sums = RowPointers(result);
  // Neighbouring rows of one length are multiplied together.
  for (std::size_t i = 0, next = 0; i < a.height; i = next) {
    const std::size_t depth = a.rows[i].size;
    while (next < a.height && a.rows[next].size == depth) ++next;
    MultiplyRows({{left.data(), true}, {right.data()}, depth, b.width, sums.data()}, i, next);
  }
  return result;
}

TMatrix operator+(const TMatrix& a, const TMatrix& b) {
  TMatrix result(a);
  result += b;
  return result;
}

TMatrix operator-(const TMatrix& a, const TMatrix& b) {
  TMatrix result(a);
  result -= b;
  return result;
}

TMatrix operator*(double d, const TMatrix& a) {
  return Changed(a, [d](TVector& row) { row *= d; });
}

TMatrix operator*(const TMatrix& a, double d) { return d * a; }

TMatrix operator/(const TMatrix& a, double d) {
  return Changed(a, [d](TVector& row) { row /= d; });
}

TVector operator*(const TMatrix& a, const TVector& v) {
  TVector result(a.height);
  for (std::size_t i = 0; i < a.height; ++i) result.data[i] = v * a.rows[i];
  return result;
}

TVector operator*(const TVector& v, const TMatrix& a) {
  RequireFullRows(a);
  TVector result(a.width);
  for (std::size_t k = 0; k < v.size; ++k) {
    for (std::size_t j = 0; j < a.width; ++j) result.data[j] += v.data[k] * a.rows[k].data[j];
  }
  return result;
}

}  // namespace SatCommonUtils
