/// \file
/// Vectors and matrices to test with, and a look at their bits.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "host/runtime.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/vector.h"
#include "tests/support/errors.h"

namespace test {

constexpr char IndexError[] = "double& TVector::operator[] (size_t index)";

using Values = std::vector<double>;

inline Values ValuesOf(const SatCommonUtils::TVector& v) { return Values(v.data, v.data + v.size); }

/// Row after row, each in its own length.
inline Values ValuesOf(const SatCommonUtils::TMatrix& m) {
  Values all;
  for (std::size_t r = 0; r < m.height; ++r) {
    all.insert(all.end(), m.rows[r].data, m.rows[r].data + m.rows[r].size);
  }
  return all;
}

/// What tells 0 from -0 and one NaN from another.
template <class T>
std::vector<std::uint64_t> BitsOf(const T& numbers) {
  const Values values = ValuesOf(numbers);
  std::vector<std::uint64_t> bits(values.size());
  if (!values.empty()) std::memcpy(bits.data(), values.data(), values.size() * sizeof(double));
  return bits;
}

inline SatCommonUtils::TVector Vector(Values values) {
  return SatCommonUtils::TVector(values.size(), values.data());
}

/// The matrix whose elements, row after row, come from `next()`.
template <class Next>
SatCommonUtils::TMatrix Filled(std::size_t width, std::size_t height, Next next) {
  SatCommonUtils::TMatrix m(width, height);
  for (std::size_t r = 0; r < height; ++r) {
    for (std::size_t c = 0; c < width; ++c) m.SetElement(c, r, next());
  }
  return m;
}

inline SatCommonUtils::TMatrix Matrix(std::size_t width, const Values& values) {
  const double* next = values.data();
  return Filled(width, values.size() / width, [&next] { return *next++; });
}

/// The result whose element (column j, row i) is the sum of term(i, j, k) in increasing k.
template <class Term>
SatCommonUtils::TMatrix Sums(std::size_t width, std::size_t height, std::size_t depth, Term term) {
  SatCommonUtils::TMatrix result(width, height);
  for (std::size_t i = 0; i < height; ++i) {
    for (std::size_t j = 0; j < width; ++j) {
      for (std::size_t k = 0; k < depth; ++k) result.rows[i].data[j] += term(i, j, k);
    }
  }
  return result;
}

/// The messages that the action prints for debugging, each ended by "#".
template <class Action>
std::string DebugTextOf(Action action) {
  std::string text;
  KaSetDbgMsgSink([&text](const std::string& message) { text += message + '#'; });
  action();
  KaSetDbgMsgSink(nullptr);
  return text;
}

}  // namespace test
