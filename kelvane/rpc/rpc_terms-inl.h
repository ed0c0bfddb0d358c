/// \file
/// The 20 terms of the rational polynomial model and the ratio of two such polynomials (internal), written
/// once for numbers and vectors of them. `V` is what a ground coordinate is: a double, or a vector of several
/// points' doubles. `C` gives coefficient k as `c[k]`: a double, or a vector of several polynomials' doubles.
/// The order of every sum and product is part of the result's bits.
///
/// To be included within a namespace, again for each set of instructions that the code is compiled for: a
/// function takes its instructions from where it is defined. Needs <utility>.
/// The monomials at one normalised ground point, formed once for polynomials that are summed side by side.
template <class V>
struct TRPCTerms {
  // P latitude, L longitude, H height, all normalised.
  V P, L, H;
  V LP, LH, PH, LL, PP, HH;

  TRPCTerms(const V& p, const V& l, const V& h)
      : P(p), L(l), H(h), LP(l * p), LH(l * h), PH(p * h), LL(l * l), PP(p * p), HH(h * h) {}

  // Formed when their turn comes: vectors of all of them would have to wait in memory.
  V PLH() const { return LP * H; }
  V LLL() const { return LL * L; }
  V LPP() const { return L * PP; }
  V LHH() const { return L * HH; }
  V LLP() const { return LL * P; }
  V PPP() const { return PP * P; }
  V PHH() const { return P * HH; }
  V LLH() const { return LL * H; }
  V PPH() const { return PP * H; }
  V HHH() const { return HH * H; }
};

// Each sum is made term after term, in statements, so that compilers read a coefficient when its turn comes.

template <class V, class C>
inline auto RPCValue(const C& c, const TRPCTerms<V>& t) {
  auto sum = c[0] + c[1] * t.L;
  sum += c[2] * t.P;
  sum += c[3] * t.H;
  sum += c[4] * t.LP;
  sum += c[5] * t.LH;
  sum += c[6] * t.PH;
  sum += c[7] * t.LL;
  sum += c[8] * t.PP;
  sum += c[9] * t.HH;
  sum += c[10] * t.PLH();
  sum += c[11] * t.LLL();
  sum += c[12] * t.LPP();
  sum += c[13] * t.LHH();
  sum += c[14] * t.LLP();
  sum += c[15] * t.PPP();
  sum += c[16] * t.PHH();
  sum += c[17] * t.LLH();
  sum += c[18] * t.PPH();
  sum += c[19] * t.HHH();
  return sum;
}

// In the derivatives, doubling a term or its coefficient gives the same bits: doubling is exact.

/// Derivative by P.
template <class V, class C>
inline auto RPCByLatitude(const C& c, const TRPCTerms<V>& t) {
  auto sum = c[2] + c[4] * t.L;
  sum += c[6] * t.H;
  sum += c[8] * (t.P + t.P);
  sum += c[10] * t.LH;
  sum += c[12] * (t.LP + t.LP);
  sum += c[14] * t.LL;
  sum += 3.0 * c[15] * t.PP;
  sum += c[16] * t.HH;
  sum += c[18] * (t.PH + t.PH);
  return sum;
}

/// Derivative by L.
template <class V, class C>
inline auto RPCByLongitude(const C& c, const TRPCTerms<V>& t) {
  auto sum = c[1] + c[4] * t.P;
  sum += c[5] * t.H;
  sum += c[7] * (t.L + t.L);
  sum += c[10] * t.PH;
  sum += 3.0 * c[11] * t.LL;
  sum += c[12] * t.PP;
  sum += c[13] * t.HH;
  sum += c[14] * (t.LP + t.LP);
  sum += c[17] * (t.LH + t.LH);
  return sum;
}

/// Derivative by H.
template <class V, class C>
inline auto RPCByHeight(const C& c, const TRPCTerms<V>& t) {
  auto sum = c[3] + c[5] * t.L;
  sum += c[6] * t.P;
  sum += c[9] * (t.H + t.H);
  sum += c[10] * t.LP;
  sum += c[13] * (t.LH + t.LH);
  sum += c[16] * (t.PH + t.PH);
  sum += c[17] * t.LL;
  sum += c[18] * t.PP;
  sum += 3.0 * c[19] * t.HH;
  return sum;
}

/// Numerator and denominator of a ratio, or a coefficient of each. Worked on side by side: what one sum waits
/// for, the others use.
template <class T>
struct TRPCFraction {
  T Numerator;
  T Denominator;
};

template <class A, class B>
inline auto operator+(const TRPCFraction<A>& a, const TRPCFraction<B>& b) {
  using TSum = decltype(a.Numerator + b.Numerator);
  return TRPCFraction<TSum>{a.Numerator + b.Numerator, a.Denominator + b.Denominator};
}
template <class A, class B>
inline void operator+=(TRPCFraction<A>& a, const TRPCFraction<B>& b) {
  a.Numerator += b.Numerator;
  a.Denominator += b.Denominator;
}
template <class A, class B>
inline auto operator*(const TRPCFraction<A>& a, const B& b) {
  using TProduct = decltype(a.Numerator * b);
  return TRPCFraction<TProduct>{a.Numerator * b, a.Denominator * b};
}
template <class A>
inline auto operator*(double b, const TRPCFraction<A>& a) {
  using TProduct = decltype(b * a.Numerator);
  return TRPCFraction<TProduct>{b * a.Numerator, b * a.Denominator};
}

/// A ratio at one ground point, or several side by side, and its derivatives. Coefficient k of `C` is a
/// fraction. Refers to what it is made of.
template <class V, class C>
class TRPCRatioAt {
 public:
  TRPCRatioAt(const C& coefficients, const TRPCTerms<V>& terms)
      : coefficients_(coefficients), terms_(terms), value_(RPCValue(coefficients, terms)) {}

  auto Value() const { return value_.Numerator / value_.Denominator; }
  auto ByLatitude() const { return ByQuotientRule(RPCByLatitude(coefficients_, terms_)); }
  auto ByLongitude() const { return ByQuotientRule(RPCByLongitude(coefficients_, terms_)); }
  auto ByHeight() const { return ByQuotientRule(RPCByHeight(coefficients_, terms_)); }

 private:
  using TFraction = decltype(RPCValue(std::declval<const C&>(), std::declval<const TRPCTerms<V>&>()));

  auto ByQuotientRule(const TFraction& d) const {
    return (value_.Denominator * d.Numerator - value_.Numerator * d.Denominator) /
           (value_.Denominator * value_.Denominator);
  }

  const C& coefficients_;
  const TRPCTerms<V>& terms_;
  TFraction value_;
};
