/// \file
/// Dense vectors of doubles.
#pragma once

#include <cstddef>
#include <string>

#include "kelvane/module/export.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// A dense vector, owning its elements; copies are deep. Only the unit-vector constructor, the text
/// constructor and `operator[]` check what they are given: sizes, positions and buffers are the caller's
/// responsibility everywhere else. Where a parameter is a vector or a reference to a number, it may be (or
/// belong to) the vector itself. What the allocator throws passes through unless a member says otherwise;
/// the vector is then as it was.
class KELVANE_API TVector {
 public:
  /// Number of elements.
  std::size_t size;
  /// The elements, from array new; null exactly when `size` is 0.
  double* data;

  /// Empty.
  TVector() noexcept : size(0), data(nullptr) {}
  /// `n` zeros.
  explicit TVector(std::size_t n);
  /// The unit vector of `n` elements with 1 at position `k`. Throws `TKaMessage`
  /// "SatCommonUtils::TVector::TVector(size_t, size_t): TVector index error" unless `k` is less than `n`.
  TVector(std::size_t n, std::size_t k);
  /// A copy of `n` numbers; `src` is not read when `n` is 0.
  TVector(std::size_t n, double* src);
  /// Three elements.
  TVector(double x, double y, double z);
  /// A deep copy.
  TVector(const TVector& other);
  /// Leaves `other` empty.
  TVector(TVector&& other) noexcept;
  /// The numbers of a text such as "(1;2.5;-3)": tokens between parentheses and semicolons, see `Split`; a
  /// token that is no number is passed over. Throws the C string (`const char*`)
  /// "TVector::TVector(const char* src)" when the text holds no number.
  explicit TVector(const std::string& text);
  virtual ~TVector();

  /// Keeps the array when the sizes agree.
  TVector& operator=(const TVector& other);
  /// Leaves `other` empty.
  TVector& operator=(TVector&& other) noexcept;

  /// Throws `std::runtime_error` "double& TVector::operator[] (size_t index)" unless `index` is less than
  /// `size`.
  double& operator[](std::size_t index) {
    if (index >= size) ThrowIndexError();
    return data[index];
  }
  const double& operator[](std::size_t index) const {
    if (index >= size) ThrowIndexError();
    return data[index];
  }

  /// Element by element.
  TVector& operator+=(double value);
  TVector& operator-=(double value);
  TVector& operator*=(double value);
  /// Divides each element; by zero as the division gives it.
  TVector& operator/=(double value);
  /// `other` has at least `size` elements.
  TVector& operator+=(const TVector& other);
  TVector& operator-=(const TVector& other);

  /// Length and array stay.
  TVector& FillWithZeroes();
  TVector& FillWithValue(const double& value);
  /// `n` zeros; the array is kept when `n` is the present size.
  TVector& Reset(std::size_t n);
  /// Shortens to the first `n` elements. False, unchanged, when `n` is 0 or greater than `size`, or when
  /// there is no memory.
  bool Clip(std::size_t n);
  /// Divides by the Euclidean norm; a vector whose norm is 0 or NaN stays as it is.
  TVector& Normalize();
  /// Copies all of `what` to the elements from `pos` on.
  TVector& InsertSubVector(std::size_t pos, const TVector& what);
  /// Copies `size` numbers from `src`.
  TVector& FillFromBuffer(double* src);

  /// Element by element; a zero becomes -0.
  TVector operator-() const;
  /// The `count` elements from `first` on.
  TVector GetSubVector(std::size_t first, std::size_t count) const;
  /// The Euclidean norm: squares summed in index order, the root taken in extended precision; 0 when empty.
  double Norma() const;
  /// The maximum norm; -1 when empty. A NaN element counts for nothing.
  double Norma1() const;
  /// A copy after `Normalize`.
  TVector GetNormalized() const;
  /// True when every element is exactly 0, as in an empty vector.
  bool IsNull() const;

  /// For display: "(" elements as "%9.4f" with ";" between them ")". A decimal point under every locale.
  std::string Output() const;
  /// The same with "%.20lg", which reads back bit for bit (a NaN as some NaN).
  std::string GetString() const;
  /// `Output()` through the host's `KaPrintDbgMsg`.
  void DebugOutput() const;
  /// One message: `name`, a blank, `Output()`, CR LF.
  void DebugOutput(char* name) const;
  void DebugOutput(const std::string& name) const;

  /// Copies the elements to `dst`; returns `size`.
  std::size_t Put2Buffer(double* dst) const;
  /// A new array with a copy of the elements, which the caller frees with array delete; null when there is
  /// no memory.
  double* Put2Buffer() const;

  /// Takes the numbers of the text that stands under `key` in the current section (see the text
  /// constructor). False, and the vector as it was, when there is no such key or it holds no number. Lets
  /// no exception out.
  bool InitializeFromXML(TKaXIniReader* reader, std::string key);
  /// Writes `GetString()` under `key`; false when that fails. Lets no exception out.
  bool SaveToXML(TKaXIniWriter* writer, std::string key) const;

 private:
  [[noreturn]] static void ThrowIndexError();
};

/// Element by element over the size of `a`; `b` has at least as many elements.
KELVANE_API TVector operator+(const TVector& a, const TVector& b);
KELVANE_API TVector operator-(const TVector& a, const TVector& b);
/// The dot product over the size of `a`, summed in index order from 0.0; `b` has at least as many elements.
KELVANE_API double operator*(const TVector& a, const TVector& b);
/// The cross product of the first three elements of each; both have at least three.
KELVANE_API TVector operator^(const TVector& a, const TVector& b);
/// The elements of `a`, then those of `b`.
KELVANE_API TVector operator|(const TVector& a, const TVector& b);
/// Element by element; division by zero as the division gives it.
KELVANE_API TVector operator+(const TVector& v, double d);
KELVANE_API TVector operator+(double d, const TVector& v);
KELVANE_API TVector operator-(const TVector& v, double d);
KELVANE_API TVector operator*(const TVector& v, double d);
KELVANE_API TVector operator*(double d, const TVector& v);
KELVANE_API TVector operator/(const TVector& v, double d);

}  // namespace SatCommonUtils
