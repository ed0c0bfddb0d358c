#include "kelvane/numeric/simd_target.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kelvane/module/host/runtime.h"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/highway.h>

namespace SatCommonUtils {

namespace {

/// What every processor has that this library runs on.
constexpr bool IsBaseline(std::int64_t target) {
  return target == HWY_STATIC_TARGET || target == HWY_EMU128 || target == HWY_SCALAR;
}

const char* NameOf(std::int64_t target) {
  if (IsBaseline(target)) return "baseline";
#if HWY_ARCH_X86
  if (target == HWY_AVX3) return "avx512";
  if (target == HWY_AVX2) return "avx2";
  if (target == HWY_SSE4) return "sse4";
#endif
  return hwy::TargetName(target);
}

std::int64_t SupportedTargets() {
  static const std::int64_t supported = hwy::SupportedTargets() & HWY_TARGETS;
  return supported;
}

/// Calls `visit` with each target that this processor has, best first, until it says true; the baseline comes
/// last. Gives that target, or 0. (No list: the first use of a kernel, too, takes no memory.)
template <class Visit>
std::int64_t FindTarget(const Visit& visit) {
  // Highway numbers the best lowest.
  for (std::int64_t rest = SupportedTargets(); rest != 0; rest &= rest - 1) {
    const std::int64_t target = rest & -rest;
    if (!IsBaseline(target) && visit(target)) return target;
  }
  return visit(HWY_STATIC_TARGET) ? HWY_STATIC_TARGET : 0;
}

/// The target of a name; none is 0.
std::int64_t TargetOf(const char* name) {
  return FindTarget([=](std::int64_t target) { return std::strcmp(NameOf(target), name) == 0; });
}

/// What the environment asks for, or null.
const char* AskedName() {
  const char* const asked = std::getenv(SimdTargetVariable);
  return asked != nullptr && *asked != '\0' ? asked : nullptr;
}

std::int64_t FirstTarget() {
  const char* const asked = AskedName();
  const std::int64_t target = asked == nullptr ? 0 : TargetOf(asked);
  return target != 0 ? target : FindTarget([](std::int64_t) { return true; });
}

std::atomic<std::int64_t>& Target() {
  static std::atomic<std::int64_t> target = FirstTarget();
  static std::atomic_flag looked = ATOMIC_FLAG_INIT;
  // After the choice: whoever takes the message may ask for it.
  if (!looked.test_and_set()) {
    const char* const asked = AskedName();
    if (asked != nullptr && TargetOf(asked) == 0) {
      KaPrintDbgMsg(std::string(SimdTargetVariable) + ": this machine has no target of that name\n");
    }
  }
  return target;
}

}  // namespace

std::vector<std::string> SimdTargets() {
  std::vector<std::string> names;
  FindTarget([&](std::int64_t target) {
    names.emplace_back(NameOf(target));
    return false;
  });
  return names;
}

std::string SimdTarget() { return NameOf(Target()); }

bool SetSimdTarget(const std::string& name) {
  const std::int64_t target = TargetOf(name.c_str());
  if (target != 0) Target() = target;
  return target != 0;
}

std::size_t SimdTargetIndex() {
  // With one target alone there is no table to choose from.
  if (HWY_TARGETS == HWY_STATIC_TARGET) return 0;
  hwy::ChosenTarget chosen;
  chosen.Update(Target());
  return chosen.GetIndex();
}

}  // namespace SatCommonUtils
