/// \file
/// Zeros of denominators within the cube (internal).
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "kelvane/rpc/rpc_terms.h"

namespace SatCommonUtils {

/// Whether a cubic polynomial, positive at the centre, can be shown to stay positive over the cube of edges
/// from -1 to 1. The cube is halved along each axis where the polynomial's value at the centre of a part does
/// not exceed what its derivatives can take away within the part; parts of 1/64 are not halved again, so that
/// one which only just stays positive counts as one with a zero.
class TPoleSearch {
 public:
  explicit TPoleSearch(const std::array<double, 20>& denominator) : denominator_(denominator) {
    for (std::size_t k = 0; k < denominator.size(); ++k) {
      sizes_[k] = std::fabs(denominator[k]);
    }
  }
  bool IsPositive() const { return IsPositive(0.0, 0.0, 0.0, 1.0); }

 private:
  bool IsPositive(double P, double L, double H, double half) const {
    constexpr double LeastHalf = 1.0 / 64.0;
    // Derivatives of absolute coefficients at the far corner bound those within the part.
    const TRPCTerms<double> far(std::fabs(P) + half, std::fabs(L) + half, std::fabs(H) + half);
    const double fall =
        half * (RPCByLatitude(sizes_, far) + RPCByLongitude(sizes_, far) + RPCByHeight(sizes_, far));
    const double value = RPCValue(denominator_, TRPCTerms<double>(P, L, H));
    if (value > fall) return true;
    if (!(value > 0.0) || half <= LeastHalf) return false;
    const double quarter = 0.5 * half;
    for (int corner = 0; corner < 8; ++corner) {
      const auto towards = [&](int axis) { return (corner >> axis & 1) != 0 ? quarter : -quarter; };
      if (!IsPositive(P + towards(0), L + towards(1), H + towards(2), quarter)) return false;
    }
    return true;
  }

  const std::array<double, 20>& denominator_;
  std::array<double, 20> sizes_ = {};
};

}  // namespace SatCommonUtils
