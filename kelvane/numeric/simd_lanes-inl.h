/// \file
/// Vectors of doubles of the target that is compiled (internal), with the operators that formulas are written
/// in. Multiplication and addition stay apart: each lane has the bits of the same formula in doubles. To be
/// included once for each target, within none of the namespaces.
#if defined(KELVANE_NUMERIC_SIMD_LANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVANE_NUMERIC_SIMD_LANES_INL_H_
#undef KELVANE_NUMERIC_SIMD_LANES_INL_H_
#else
#define KELVANE_NUMERIC_SIMD_LANES_INL_H_
#endif

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace SatCommonUtils {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using TLaneTag = HWY_FULL(double);
inline constexpr std::size_t VectorLanes = HWY_LANES(double);
inline constexpr std::size_t LaneCount = 2 * VectorLanes;
/// How many points a step works on: all lanes, known beforehand, or a number of points at the end.
using TAllLanes = std::integral_constant<std::size_t, LaneCount>;

struct TLaneMask {
  hn::Mask<TLaneTag> Low;
  hn::Mask<TLaneTag> High;
};

/// Two vectors: while one waits for a sum the other is worked on.
struct TLanes {
  using TVector = hn::Vec<TLaneTag>;
  TVector Low;
  TVector High;

  TLanes() = default;
  HWY_INLINE TLanes(TVector low, TVector high) : Low(low), High(high) {}
  HWY_INLINE TLanes(double all)  // NOLINT(google-explicit-constructor): as in formulas of doubles
      : Low(hn::Set(TLaneTag(), all)), High(Low) {}

  static HWY_INLINE TLanes Load(const double* from, TAllLanes) {
    return {hn::LoadU(TLaneTag(), from), hn::LoadU(TLaneTag(), from + VectorLanes)};
  }
  HWY_INLINE void Store(double* to, TAllLanes) const {
    hn::StoreU(Low, TLaneTag(), to);
    hn::StoreU(High, TLaneTag(), to + VectorLanes);
  }
  /// Fewer than all, at least one; the other lanes repeat the first.
  static HWY_INLINE TLanes Load(const double* from, std::size_t count) {
    double lanes[LaneCount];
    for (std::size_t i = 0; i < LaneCount; ++i) lanes[i] = from[i < count ? i : 0];
    return Load(lanes, TAllLanes());
  }
  HWY_INLINE void Store(double* to, std::size_t count) const {
    double lanes[LaneCount];
    Store(lanes, TAllLanes());
    std::copy_n(lanes, count, to);
  }
};

HWY_API TLanes operator+(TLanes a, TLanes b) { return {hn::Add(a.Low, b.Low), hn::Add(a.High, b.High)}; }
HWY_API TLanes operator-(TLanes a, TLanes b) { return {hn::Sub(a.Low, b.Low), hn::Sub(a.High, b.High)}; }
HWY_API TLanes operator*(TLanes a, TLanes b) { return {hn::Mul(a.Low, b.Low), hn::Mul(a.High, b.High)}; }
HWY_API TLanes operator/(TLanes a, TLanes b) { return {hn::Div(a.Low, b.Low), hn::Div(a.High, b.High)}; }
HWY_API TLanes operator-(TLanes a) { return {hn::Neg(a.Low), hn::Neg(a.High)}; }
HWY_API TLanes& operator+=(TLanes& a, TLanes b) { return a = a + b; }

HWY_API TLaneMask operator<(TLanes a, TLanes b) { return {hn::Lt(a.Low, b.Low), hn::Lt(a.High, b.High)}; }
HWY_API TLaneMask operator<=(TLanes a, TLanes b) { return {hn::Le(a.Low, b.Low), hn::Le(a.High, b.High)}; }
HWY_API TLaneMask operator>(TLanes a, TLanes b) { return {hn::Gt(a.Low, b.Low), hn::Gt(a.High, b.High)}; }
HWY_API TLaneMask operator==(TLanes a, TLanes b) { return {hn::Eq(a.Low, b.Low), hn::Eq(a.High, b.High)}; }

HWY_API TLaneMask operator&(TLaneMask a, TLaneMask b) {
  return {hn::And(a.Low, b.Low), hn::And(a.High, b.High)};
}
HWY_API TLaneMask operator|(TLaneMask a, TLaneMask b) {
  return {hn::Or(a.Low, b.Low), hn::Or(a.High, b.High)};
}
HWY_API TLaneMask AndNot(TLaneMask a, TLaneMask not_b) {
  return {hn::AndNot(not_b.Low, a.Low), hn::AndNot(not_b.High, a.High)};
}
HWY_API TLaneMask AllLanes() {
  const hn::Mask<TLaneTag> all = hn::FirstN(TLaneTag(), VectorLanes);
  return {all, all};
}
HWY_API bool IsNone(TLaneMask mask) {
  return hn::AllFalse(TLaneTag(), mask.Low) && hn::AllFalse(TLaneTag(), mask.High);
}

/// Sums that run side by side: one must not be finished before the others have come as far, or each waits for
/// itself alone. Compilers like to do that.
HWY_API void Together(TLanes& a, TLanes& b, TLanes& c, TLanes& d) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR
  asm volatile(""
               : "+x"(a.Low.raw), "+x"(a.High.raw), "+x"(b.Low.raw), "+x"(b.High.raw), "+x"(c.Low.raw),
                 "+x"(c.High.raw), "+x"(d.Low.raw), "+x"(d.High.raw));
#else
  static_cast<void>(a), static_cast<void>(b), static_cast<void>(c), static_cast<void>(d);
#endif
}
/// Begins what takes long, a division, where it is written: compilers like to put off what is used later.
HWY_API void Begin(TLanes& x) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR
  asm volatile("" : "+x"(x.Low.raw), "+x"(x.High.raw));
#else
  static_cast<void>(x);
#endif
}
HWY_API bool IsAll(TLaneMask mask) {
  return hn::AllTrue(TLaneTag(), mask.Low) && hn::AllTrue(TLaneTag(), mask.High);
}

HWY_API TLanes Sqrt(TLanes x) { return {hn::Sqrt(x.Low), hn::Sqrt(x.High)}; }
HWY_API TLanes Abs(TLanes x) { return {hn::Abs(x.Low), hn::Abs(x.High)}; }
HWY_API TLanes Choose(TLaneMask where, TLanes yes, TLanes no) {
  return {hn::IfThenElse(where.Low, yes.Low, no.Low), hn::IfThenElse(where.High, yes.High, no.High)};
}
HWY_API TLaneMask IsFinite(TLanes x) { return Abs(x) <= TLanes(std::numeric_limits<double>::max()); }

/// Sets a byte for each of the first `count` lanes, 1 where the mask holds, unless `bytes` is null; gives how
/// many of them it does not hold in. The lanes behind them repeat the first.
HWY_API std::size_t StoreMask(TLaneMask mask, std::size_t count, unsigned char* bytes) {
  if (IsAll(mask)) {
    if (bytes != nullptr) std::fill_n(bytes, count, static_cast<unsigned char>(1));
    return 0;
  }
  // A vector has at most eight doubles; what is written has the room of eight bytes.
  unsigned char packed[2][8] = {};
  hn::StoreMaskBits(TLaneTag(), mask.Low, packed[0]);
  hn::StoreMaskBits(TLaneTag(), mask.High, packed[1]);
  std::size_t unset = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const bool set = ((packed[i / VectorLanes][0] >> i % VectorLanes) & 1) != 0;
    if (bytes != nullptr) bytes[i] = set ? 1 : 0;
    unset += set ? 0 : 1;
  }
  return unset;
}

}  // namespace HWY_NAMESPACE
}  // namespace SatCommonUtils
HWY_AFTER_NAMESPACE();

#endif  // toggled with the target
