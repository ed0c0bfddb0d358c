/// \file
/// Polynomials in one variable.
#pragma once

#include <string>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/numeric/vector.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

class TStringTree;

/// A polynomial; coefficient i belongs to the power i of the variable. A valid one has an order of at least
/// 0. One of order -1 holds no coefficient and has the value 0: a tree without entries, the derivative of a
/// constant and a failed `Reset` leave it. Units are the caller's.
///
/// Constructors and `Reset` throw bare C strings (`const char*`).
class KELVANE_API TPolynome {
 public:
  /// Copies the order + 1 values at `coefs`; zeros when it is null. Throws "TPolynome::TPolynome(int, const
  /// double*)" (with one blank behind "const") when the order is negative.
  TPolynome(int order, const double* coefs);
  /// Element i becomes coefficient i. Throws "TPolynome::TPolynome(const TVector& src)" when `src` is empty.
  explicit TPolynome(const TVector& src);
  /// The same; throws "TPolynome::TPolynome(const vector<double>& src)" when `src` is empty.
  explicit TPolynome(const std::vector<double>& src);
  /// Reads the text form, see `GetCoefsString`; the constant 0 when the text holds no number.
  explicit TPolynome(const std::string& text);
  /// Takes the tree's entries of the tag, coefficient i at index i; the order is their count - 1. Throws
  /// "TPolynome::TPolynome(TStringTree *src, int tag)" when one of these indices is missing.
  TPolynome(TStringTree* src, int tag);

  /// All coefficients 0, of the given order. When it is negative the polynomial is left with the order -1,
  /// and "void TPolynome::Reset(int new_order)" is thrown.
  void Reset(int new_order);

  /// `Reset`, then copies the order + 1 values at `coefs` unless it is null. False when `Reset` threw.
  bool Initialize(int order, const double* coefs);
  /// Reads the text form. False, and the polynomial is the constant 0, when the text holds no number.
  bool Initialize(const std::string& text);
  /// Takes the values as coefficients, highest power first when `reverse` is true. False, and the polynomial
  /// stays as it was, when there are none.
  bool Initialize(const std::vector<double>& src, bool reverse);

  /// The number of coefficients less 1, leading zeros counted; -1 when empty.
  int Order() const { return static_cast<int>(coefs_.size()) - 1; }

  /// The text form: the coefficients from the highest power down to the constant, each with the digits that
  /// give it back exactly, such as "(3;2;1)" for 1 + 2x + 3x². Reading divides numbers at "(", ")", ";", ",".
  std::string GetCoefsString() const;

  /// A new array of the order + 1 coefficients, which the caller deletes (`delete[]`); `count` their number.
  double* GetCoefs(int& count) const;
  /// Copies the coefficients, fills the rest of the `size` elements with zeros and returns order + 1. When
  /// `size` is less than that, returns 0 and writes nothing.
  int GetCoefs(double* dst, int size) const;

  /// The sum of coefficient i times power i in ascending order, each power the one before times x.
  double GetValue(double x) const;

  /// Of one order less; the derivative of a constant has the order -1.
  TPolynome Derivative() const;

  /// Coefficient by coefficient; division by zero as the division gives it.
  TPolynome operator-() const;
  TPolynome& operator*=(double factor);
  TPolynome& operator/=(double divisor);
  /// The result has the larger of the two orders.
  TPolynome& operator+=(const TPolynome& other);
  TPolynome& operator-=(const TPolynome& other);

  /// The same order and exactly the same coefficients.
  bool operator==(const TPolynome& other) const;
  bool operator!=(const TPolynome& other) const { return !(*this == other); }
  /// True when coefficients of the same power differ by less than `tol`, and those that only one of the two
  /// has are less than `tol` in absolute value.
  bool ApproximatelyEqual(const TPolynome& other, const double& tol) const;
  /// True when every coefficient is exactly 0.0, or there is none.
  bool IsNull() const;

  /// Drops coefficients of the highest powers that are exactly 0.0; the constant always stays.
  void Optimize();

  /// Inserts coefficient i at index i of the tag, named `name` followed by i. False at the first insert that
  /// fails.
  bool WriteToTree(TStringTree* tree, int tag, std::string name) const;

  /// Reads the section `key`: "PolynomeOrder", and in the section "PolynomeCoefs" coefficient i under the key
  /// i. False when anything is missing or no number, or the order is negative; the polynomial then stays as
  /// it was. Lets no exception out.
  bool InitializeFromXML(TKaXIniReader* reader, std::string key);
  /// Writes the same form; false at the first write that fails.
  bool SaveToXML(TKaXIniWriter* writer, std::string key) const;

 private:
  friend KELVANE_API void LinearSubstitution(TPolynome* p, double a, double b, TPolynome* result);

  std::vector<double> coefs_;
};

/// Writes p(a·x + b), of the order of `p`, by binomial expansion. `result` may be `p`.
KELVANE_API void LinearSubstitution(TPolynome* p, double a, double b, TPolynome* result);

}  // namespace SatCommonUtils
