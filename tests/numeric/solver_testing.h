/// \file
/// Systems to solve, and solvers as plain as the formulas.
#pragma once

#include <cmath>
#include <limits>
#include <random>

#include "tests/support/matrices.h"

namespace test {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// Bits, with one and the same NaN for all: which operand's NaN goes on is the processor's business.
template <class T>
std::vector<std::uint64_t> ValueBits(const T& numbers) {
  Values values = ValuesOf(numbers);
  for (double& value : values) value = std::isnan(value) ? NaN : value;
  return BitsOf(Vector(values));
}
inline std::vector<std::uint64_t> ValueBits(double number) { return ValueBits(Vector({number})); }

/// Numbers of every kind: plain, mostly zeros, of few values so that pivots are equal, or not all finite.
class Numbers {
 public:
  explicit Numbers(unsigned seed) : random_(seed), kind_(seed % 4) {}
  double operator()() {
    const double plain = std::uniform_real_distribution<double>(-2.0, 2.0)(random_);
    const unsigned dice = static_cast<unsigned>(random_() % 16);
    if (kind_ == 1 && dice < 9) return dice < 8 ? 0.0 : -0.0;
    if (kind_ == 2) return std::trunc(plain);
    if (kind_ == 3 && dice < 2) return dice == 0 ? NaN : std::numeric_limits<double>::infinity();
    return plain;
  }
  SatCommonUtils::TVector Vector(std::size_t n) { return Filled(n, 1, *this).rows[0]; }

 private:
  std::mt19937_64 random_;
  unsigned kind_;
};

/// Elimination over whole rows.
inline double PlainGauss(SatCommonUtils::TMatrix& a, SatCommonUtils::TVector& b, SatCommonUtils::TVector& x) {
  double determinant = 1.0;
  for (std::size_t k = 0; k + 1 < b.size; ++k) {
    std::size_t p = k;
    for (std::size_t i = k + 1; i < b.size; ++i) {
      if (std::fabs(a.rows[i][k]) > std::fabs(a.rows[p][k])) p = i;
    }
    if (a.rows[p][k] == 0.0) return 0.0;
    if (p != k) determinant = -determinant;
    a.SwapRows(k, p);
    std::swap(b[k], b[p]);
    for (std::size_t i = k + 1; i < b.size; ++i) {
      const double factor = a.rows[i][k] / a.rows[k][k];
      a.rows[i] -= factor * a.rows[k];
      b[i] -= factor * b[k];
    }
  }
  for (std::size_t k = 0; k < b.size; ++k) determinant *= a.rows[k][k];
  for (std::size_t i = b.size; determinant != 0.0 && i-- > 0;) {
    double sum = 0.0;
    for (std::size_t j = i + 1; j < b.size; ++j) sum += a.rows[i][j] * x[j];
    x[i] = (b[i] - sum) / a.rows[i][i];
  }
  return determinant;
}

/// The Cholesky factor, as far as it gets.
inline bool PlainFactor(const SatCommonUtils::TMatrix& a, SatCommonUtils::TMatrix& u) {
  for (std::size_t i = 0; i < a.width; ++i) {
    for (std::size_t j = i; j < a.width; ++j) {
      double sum = 0.0;
      for (std::size_t k = 0; k < i; ++k) sum += u.rows[k][i] * u.rows[k][j];
      const double rest = a.rows[i][j] - sum;
      if (j == i && !(rest > 1e-20)) return false;
      u.rows[j][i] = 0.0;
      u.rows[i][j] = j == i ? std::sqrt(rest) : rest / u.rows[i][i];
    }
  }
  return true;
}

/// Solves Uᵀ·U·x = b.
inline SatCommonUtils::TVector PlainSolution(const SatCommonUtils::TMatrix& u, SatCommonUtils::TVector x) {
  for (std::size_t i = 0; i < x.size; ++i) {
    double sum = 0.0;
    for (std::size_t k = 0; k < i; ++k) sum += u.rows[k][i] * x[k];
    x[i] = (x[i] - sum) / u.rows[i][i];
  }
  for (std::size_t i = x.size; i-- > 0;) {
    double sum = 0.0;
    for (std::size_t k = i + 1; k < x.size; ++k) sum += u.rows[i][k] * x[k];
    x[i] = (x[i] - sum) / u.rows[i][i];
  }
  return x;
}

}  // namespace test
