/// \file
/// The line polynomials beside the sample polynomials (internal): two sums run side by side in one register,
/// each in its own order.
#pragma once

#include <cstddef>
#include <cstring>

#include "kelvane/rpc/rpc_terms.h"

namespace SatCommonUtils {

/// A number of the line beside the same of the sample.
using TPair [[gnu::vector_size(16)]] = double;

struct TLineSample {
  double Line;
  double Sample;
};

inline TLineSample Parts(TPair pair) {
  TLineSample parts;
  std::memcpy(&parts, &pair, sizeof parts);
  return parts;
}

/// The coefficients of two rational functions of a normalised ground point, line and sample.
class TPairRatio {
 public:
  TPairRatio(const double (*numerators)[2], const double (*denominators)[2])
      : numerators_(numerators), denominators_(denominators) {}

  TRPCFraction<TPair> operator[](std::size_t k) const {
    return {Load(numerators_[k]), Load(denominators_[k])};
  }

  static TRPCTerms<TPair> Terms(double P, double L, double H) {
    return {TPair{P, P}, TPair{L, L}, TPair{H, H}};
  }

 private:
  static TPair Load(const double* numbers) {
    TPair pair;
    std::memcpy(&pair, __builtin_assume_aligned(numbers, sizeof pair), sizeof pair);
    return pair;
  }

  const double (*numerators_)[2];
  const double (*denominators_)[2];
};

/// Their values at a point, and their derivatives.
using TPairRatioAt = TRPCRatioAt<TPair, TPairRatio>;

}  // namespace SatCommonUtils
