/// \file
/// Sparse vectors of doubles.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// A vector of doubles that stores some of its elements, in the order of their indices; the others are 0.
/// Constructors store only what is not exactly 0 (a NaN is stored); zeros that come later, by `operator[]` or
/// by arithmetic, stay until `Compress`. Indices and ranges are checked, and what fails, in assignment too,
/// leaves the vector as it was. Parameters may be, or belong to, the vector itself.
class KELVANE_API TSparseVector {
 public:
  /// Of length 0.
  TSparseVector() = default;
  /// `size` zeros.
  explicit TSparseVector(std::size_t size) : size_(size) {}
  /// The unit vector with 1 at `pos`. Throws `std::runtime_error`
  /// "TSparseVector::TSparseVector(size_t size, size_t pos)" unless `pos` is less than `size`.
  TSparseVector(std::size_t size, std::size_t pos);
  /// The same for other integers: a literal 0 would be a null pointer as well.
  template <class TInteger, class = std::enable_if_t<std::is_integral_v<TInteger>>>
  TSparseVector(std::size_t size, TInteger pos) : TSparseVector(size, static_cast<std::size_t>(pos)) {}
  /// Reads `size` numbers; `values` is not read when `size` is 0.
  TSparseVector(std::size_t size, double* values);
  /// The numbers of a text such as "(1;0;-3)", zeros written out; its tokens are those of `Split` between
  /// parentheses and semicolons. A text without numbers gives length 0.
  explicit TSparseVector(const std::string& text);
  /// A deep copy.
  TSparseVector(const TSparseVector&) = default;
  /// Leaves `other` with length 0.
  TSparseVector(TSparseVector&& other) noexcept { Swap(&other); }
  ~TSparseVector() = default;

  /// Takes length and stored elements of `other`.
  TSparseVector& operator=(const TSparseVector& other) { return *this = TSparseVector(other); }
  /// Leaves `other` with length 0.
  TSparseVector& operator=(TSparseVector&& other) noexcept;

  /// The length, stored elements or not.
  std::size_t Size() const { return size_; }
  /// What is stored, by index.
  const std::map<std::size_t, double>& Elements() const { return elements_; }

  /// `size` zeros, nothing stored.
  void Reset(std::size_t size);
  /// Cuts off what lies at `size` and behind it, or adds zeros.
  void Resize(std::size_t size);

  /// The element, stored from now on. Throws `std::runtime_error`
  /// "double& TSparseVector::operator[](size_t index)" unless `index` is less than the length.
  double& operator[](std::size_t index);
  /// The value; stores nothing. Throws the text of `operator[]`.
  double operator()(std::size_t index) const;

  /// Of the stored elements.
  TSparseVector operator-() const;
  /// Arithmetic with a number concerns the stored elements: the others stay 0, whatever is added.
  TSparseVector& operator+=(const double& value);
  TSparseVector& operator-=(const double& value);
  TSparseVector& operator*=(const double& value);
  /// Division by zero gives what it gives.
  TSparseVector& operator/=(const double& value);

  /// Stores no more what is exactly 0.
  void Compress();

  /// The `length` elements from `first_pos` on; of length 0, whatever `first_pos`, when `length` is 0. Throws
  /// `std::runtime_error` "TSparseVector TSparseVector::GetSubVector(size_t first_pos, size_t length) const"
  /// when they reach beyond the vector.
  TSparseVector GetSubVector(std::size_t first_pos, std::size_t length) const;
  /// Makes room at `begin_pos`, which may be the length, and puts all of `what` there; then `Compress`.
  /// Throws `std::runtime_error` "void TSparseVector::InsertSubVector(size_t begin_pos, const TSparseVector&
  /// what)" when `begin_pos` is greater than the length, or when no length can tell the result's.
  void InsertSubVector(std::size_t begin_pos, const TSparseVector& what);

 private:
  void Require(std::size_t index) const;
  void Swap(TSparseVector* other) noexcept;

  std::size_t size_ = 0;
  std::map<std::size_t, double> elements_;
};

}  // namespace SatCommonUtils
