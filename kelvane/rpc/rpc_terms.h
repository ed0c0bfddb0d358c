/// \file
/// The 20 terms of the rational polynomial model (internal), written once for numbers and vectors of them.
/// `V` is what a ground coordinate is: a double, or a vector of several points' doubles. `C` gives
/// coefficient k as `c[k]`: a double, or a vector of several polynomials' doubles. The order of every sum
/// and product is part of the result's bits.
#pragma once

#include <array>

namespace SatCommonUtils {

/// The monomials above first order at one normalised ground point, formed once for all polynomials.
template <class V>
struct TRPCTerms {
  // P latitude, L longitude, H height, all normalised.
  V P, L, H;
  V LP, LH, PH, LL, PP, HH;
  V PLH, LLL, LPP, LHH, LLP, PPP, PHH, LLH, PPH, HHH;

  TRPCTerms(const V& p, const V& l, const V& h)
      : P(p),
        L(l),
        H(h),
        LP(l * p),
        LH(l * h),
        PH(p * h),
        LL(l * l),
        PP(p * p),
        HH(h * h),
        PLH(LP * h),
        LLL(LL * l),
        LPP(l * PP),
        LHH(l * HH),
        LLP(LL * p),
        PPP(PP * p),
        PHH(p * HH),
        LLH(LL * h),
        PPH(PP * h),
        HHH(HH * h) {}
};

/// The monomials in the order of their coefficients.
inline std::array<double, 20> RPCMonomials(const TRPCTerms<double>& t) {
  return {1.0,   t.L,   t.P,   t.H,   t.LP,  t.LH,  t.PH,  t.LL,  t.PP,  t.HH,
          t.PLH, t.LLL, t.LPP, t.LHH, t.LLP, t.PPP, t.PHH, t.LLH, t.PPH, t.HHH};
}

template <class V, class C>
inline auto RPCValue(const C& c, const TRPCTerms<V>& t) {
  return c[0] + c[1] * t.L + c[2] * t.P + c[3] * t.H + c[4] * t.LP + c[5] * t.LH + c[6] * t.PH + c[7] * t.LL +
         c[8] * t.PP + c[9] * t.HH + c[10] * t.PLH + c[11] * t.LLL + c[12] * t.LPP + c[13] * t.LHH +
         c[14] * t.LLP + c[15] * t.PPP + c[16] * t.PHH + c[17] * t.LLH + c[18] * t.PPH + c[19] * t.HHH;
}

// In the derivatives, doubling a term or its coefficient gives the same bits: doubling is exact.

/// Derivative by P.
template <class V, class C>
inline auto RPCByLatitude(const C& c, const TRPCTerms<V>& t) {
  return c[2] + c[4] * t.L + c[6] * t.H + c[8] * (t.P + t.P) + c[10] * t.LH + c[12] * (t.LP + t.LP) +
         c[14] * t.LL + 3.0 * c[15] * t.PP + c[16] * t.HH + c[18] * (t.PH + t.PH);
}

/// Derivative by L.
template <class V, class C>
inline auto RPCByLongitude(const C& c, const TRPCTerms<V>& t) {
  return c[1] + c[4] * t.P + c[5] * t.H + c[7] * (t.L + t.L) + c[10] * t.PH + 3.0 * c[11] * t.LL +
         c[12] * t.PP + c[13] * t.HH + c[14] * (t.LP + t.LP) + c[17] * (t.LH + t.LH);
}

/// Derivative by H.
template <class V, class C>
inline auto RPCByHeight(const C& c, const TRPCTerms<V>& t) {
  return c[3] + c[5] * t.L + c[6] * t.P + c[9] * (t.H + t.H) + c[10] * t.LP + c[13] * (t.LH + t.LH) +
         c[16] * (t.PH + t.PH) + c[17] * t.LL + c[18] * t.PP + 3.0 * c[19] * t.HH;
}

}  // namespace SatCommonUtils
