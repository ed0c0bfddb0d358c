/// \file
/// The terms of the rational polynomial model for this processor's baseline (internal).
#pragma once

#include <array>
#include <utility>

namespace SatCommonUtils {

#include "kelvane/rpc/rpc_terms-inl.h"

/// The monomials in the order of their coefficients.
inline std::array<double, 20> RPCMonomials(const TRPCTerms<double>& t) {
  return {1.0,     t.L,     t.P,     t.H,     t.LP,    t.LH,    t.PH,    t.LL,    t.PP,    t.HH,
          t.PLH(), t.LLL(), t.LPP(), t.LHH(), t.LLP(), t.PPP(), t.PHH(), t.LLH(), t.PPH(), t.HHH()};
}

}  // namespace SatCommonUtils
