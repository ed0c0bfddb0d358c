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

/// Coefficient k of two polynomials.
class TPairs {
 public:
  explicit TPairs(const double (*pairs)[2]) : pairs_(pairs) {}
  TPair operator[](std::size_t k) const {
    TPair pair;
    std::memcpy(&pair, __builtin_assume_aligned(pairs_[k], sizeof pair), sizeof pair);
    return pair;
  }

 private:
  const double (*pairs_)[2];
};

/// Two rational functions of a normalised ground point, line and sample.
struct TPairRatio {
  TPairs Numerators;
  TPairs Denominators;

  static TRPCTerms<TPair> Terms(double P, double L, double H) {
    return {TPair{P, P}, TPair{L, L}, TPair{H, H}};
  }

  [[gnu::always_inline]] TPair Value(const TRPCTerms<TPair>& terms) const {
    return RPCValue(Numerators, terms) / RPCValue(Denominators, terms);
  }
};

/// A ratio's value at a point, and its derivatives.
class TPairDerivatives {
 public:
  [[gnu::always_inline]] TPairDerivatives(const TPairRatio& ratio, const TRPCTerms<TPair>& terms)
      : ratio_(ratio),
        terms_(terms),
        numerator_(RPCValue(ratio.Numerators, terms)),
        denominator_(RPCValue(ratio.Denominators, terms)) {}

  TPair Value() const { return numerator_ / denominator_; }
  TPair ByLatitude() const {
    return ByQuotientRule(RPCByLatitude(ratio_.Numerators, terms_),
                          RPCByLatitude(ratio_.Denominators, terms_));
  }
  TPair ByLongitude() const {
    return ByQuotientRule(RPCByLongitude(ratio_.Numerators, terms_),
                          RPCByLongitude(ratio_.Denominators, terms_));
  }
  TPair ByHeight() const {
    return ByQuotientRule(RPCByHeight(ratio_.Numerators, terms_), RPCByHeight(ratio_.Denominators, terms_));
  }

 private:
  TPair ByQuotientRule(TPair d_numerator, TPair d_denominator) const {
    return (denominator_ * d_numerator - numerator_ * d_denominator) / (denominator_ * denominator_);
  }

  const TPairRatio& ratio_;
  const TRPCTerms<TPair>& terms_;
  TPair numerator_;
  TPair denominator_;
};

}  // namespace SatCommonUtils
