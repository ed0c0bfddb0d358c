/// \file
/// Dense matrices of doubles.
///
/// Sizes and positions are given column first, then row: width before height, (column, row).
#pragma once

#include <cstddef>
#include <string>

#include "kelvane/module/export.h"
#include "kelvane/numeric/vector.h"

class TKaStream;
class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// A dense matrix, stored as row vectors. The rows are open: one may be given another length than `width`
/// (`SetRow`, `Clip`, a text read from XML). What must find an element that its row does not hold throws
/// the index error, `std::runtime_error` "double& TVector::operator[] (size_t index)", where a member says
/// so. Where nothing is said, rows, positions and sizes are not checked. Parameters may be, or belong to,
/// the matrix itself, but in `SetColomn`. What the allocator throws passes through unless a member says
/// otherwise; the matrix is then as it was.
class KELVANE_API TMatrix {
 public:
  /// `height` rows, from array new; null only in a matrix made from a name or moved from.
  TVector* rows;
  /// Number of columns.
  std::size_t width;
  /// Number of rows.
  std::size_t height;
  /// Printed by `DebugOutput`; neither copied nor moved.
  std::string name;

  /// An empty matrix of that name; the text is not parsed.
  explicit TMatrix(const std::string& name);
  /// `height` rows of `width` zeros.
  TMatrix(std::size_t width, std::size_t height);
  /// The identity of `n` rows and columns.
  explicit TMatrix(std::size_t n);
  /// The square matrix with `d` on its diagonal.
  explicit TMatrix(const TVector& d);
  /// A deep copy, but for the name.
  TMatrix(const TMatrix& other);
  /// Leaves `other` empty, without rows.
  TMatrix(TMatrix&& other) noexcept;
  ~TMatrix();

  /// A deep copy, but for the name, which stays.
  TMatrix& operator=(const TMatrix& other);
  /// Leaves `other` empty, without rows.
  TMatrix& operator=(TMatrix&& other) noexcept;

  /// Neither index is checked.
  double GetElement(std::size_t col, std::size_t row) const { return rows[row].data[col]; }
  /// Throws the index error when the row has no column `col`.
  void SetElement(std::size_t col, std::size_t row, double value) { rows[row][col] = value; }
  /// A copy of column `col`, `height` elements. Throws the index error when a row is too short.
  TVector operator()(std::size_t col) const;
  TVector GetColomn(std::size_t col) const;
  /// A copy of the row.
  TVector GetRow(std::size_t row) const;
  /// The row takes length and elements of `v`.
  void SetRow(std::size_t row, const TVector& v);
  /// Element (col, r) of every row r becomes `v[r]`. Throws the index error at the first row that is too
  /// short, or that `v` has no element for; the rows before it are then written.
  void SetColomn(std::size_t col, const TVector& v);
  /// Exchanges the arrays of the two, whatever their lengths; the indices are not checked.
  void SwapRows(std::size_t a, std::size_t b);
  /// Throws the index error, with nothing exchanged, when a row is too short.
  void SwapColomns(std::size_t a, std::size_t b);
  /// Copies row k of `m`, for every k, into row `row` + k from column `col` on.
  void InsertSubmatrix(std::size_t col, std::size_t row, const TMatrix& m);
  /// `v` has at least as many elements as the row.
  void AddToRow(std::size_t row, const TVector& v);
  void SubtractFromRow(std::size_t row, const TVector& v);
  /// Element (k, k) is increased by `d[k]` for k from 0 to `width` - 1. Throws the index error at the first
  /// k whose row is too short or that `d` has no element for; the elements before it are then changed. The
  /// matrix has at least `width` rows.
  void AddToDiag(const TVector& d);
  void SubtractFromDiag(const TVector& d);

  /// `other` has at least this matrix's columns and rows.
  TMatrix& operator+=(const TMatrix& other);
  TMatrix& operator-=(const TMatrix& other);
  /// Element by element; a zero becomes -0.
  TMatrix operator-() const;
  /// The transpose; what a short row lacks is 0.
  TMatrix operator!() const;
  /// The inverse of the square matrix of `width` rows, or the zero matrix of that size when `Gauss` finds
  /// the system that it solves singular (its determinant, the `width`-th power of this one's, is 0, be it by
  /// underflow). What a short row or a missing row lacks is 0.
  ///
  /// The columns of the inverse are the unknowns of one system of width*width equations, which is solved
  /// as `Gauss` would, bit for bit, in about width to the fourth operations; a matrix with infinite or NaN
  /// elements, or whose elimination overflows, takes width to the sixth.
  TMatrix operator~() const;
  /// The maximum-row-sum norm; -1 when there are no rows. A row whose sum is NaN counts for nothing.
  double Norma1() const;
  /// Size and arrays stay.
  void FillWithZeroes();
  /// `height` new rows of `width` zeros.
  void Reset(std::size_t width, std::size_t height);
  /// Shortens to the first columns and rows. False, unchanged, when a size is 0 or greater than the present
  /// one. With a new height, false and unchanged also when a row cannot be shortened (see `TVector::Clip`).
  /// With the present height the rows that can be are shortened, `width` keeps its old value, and the result
  /// is true.
  bool Clip(std::size_t width, std::size_t height);

  /// The rows' `Output()`, each ended by LF.
  std::string Output() const;
  /// Prints through the host's `KaPrintDbgMsg`: the name, unless it is empty; LF and the row's `Output()` for
  /// each row; LF.
  void DebugOutput() const;
  /// Prints a picture of the pattern, one character for an element, framed by '=' and '|': 0 as "0" with
  /// `showZeros`, else " "; 1 and -1 as "1" and "!" with `showOnes`; any other value as its sign, "+" or "-"
  /// (a NaN as "-"), with `showSigns`, else as "*".
  void DebugOutputPortrait(bool showZeros, bool showOnes, bool showSigns) const;

  /// Copies the elements row after row, `width` of each, to `dst`; what a short row lacks is 0. False, with
  /// nothing written, when the matrix has no rows or no columns.
  bool PutToBuffer(double* dst) const;
  /// A new array of `height` new arrays of `width` elements, all freed by the caller with array delete; what
  /// a short row lacks is 0. Null when there is no memory.
  double** Put2Buffer() const;
  /// Row r takes `width` numbers from `src[r]`, or as many as it has room for.
  void FillFromBuffer(double** src);
  /// Writes the rows in order as native doubles, `width` of each; what a short row lacks is 0. False when
  /// the stream does not take all of it.
  bool PutToStream(TKaStream* s) const;

  /// Reads the matrix from section `key`: "MatrixWidth", "MatrixHeight", and in section "MatrixRows" a
  /// `TVector` text per row under the row's number. Rows are taken as they come, whatever the sizes: a row
  /// takes the length that its text has, and one that is missing or unreadable is zero. False, and the matrix
  /// as it was, when the section or a size is missing, when such zeros would take more than `LargestMissing`,
  /// when a section cannot be left, or when there is no memory. Lets no exception out.
  bool InitializeFromXML(TKaXIniReader* reader, std::string key);
  /// Bytes that the zeros of rows which a file does not hold may take, 512 for each such row included.
  static constexpr std::size_t LargestMissing = std::size_t{1} << 28;
  /// Writes that form, of any size; false at the first failure. Lets no exception out.
  bool SaveToXML(TKaXIniWriter* writer, std::string key) const;
};

/// Element (column j, row i) is the dot product of row i of `a` with column j of `b`, over the length of
/// the row, which is at most the height of `b`. Throws the index error when a row of `b` is shorter than
/// its width, unless `a` has no rows.
KELVANE_API TMatrix operator*(const TMatrix& a, const TMatrix& b);
/// Element by element, with the sizes of `a`; `b` is at least as large.
KELVANE_API TMatrix operator+(const TMatrix& a, const TMatrix& b);
KELVANE_API TMatrix operator-(const TMatrix& a, const TMatrix& b);
/// Element by element, with the sizes of `a`; division by zero as the division gives it.
KELVANE_API TMatrix operator*(double d, const TMatrix& a);
KELVANE_API TMatrix operator*(const TMatrix& a, double d);
KELVANE_API TMatrix operator/(const TMatrix& a, double d);
/// Element i is the dot product of `v` with row i, over the length of `v`, which no row is shorter than.
KELVANE_API TVector operator*(const TMatrix& a, const TVector& v);
/// Element j is the dot product of `v` with column j, over the length of `v`, which is at most the height of
/// `a`. Throws the index error when a row of `a` is shorter than its width.
KELVANE_API TVector operator*(const TVector& v, const TMatrix& a);

}  // namespace SatCommonUtils
