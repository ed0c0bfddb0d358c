#include "kelvane/numeric/simd_target.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdint>
#include <cstdlib>

#include "kelvane/module/host/runtime.h"
#include "kelvane/numeric/simd_dispatch.h"
// Behind the choice of targets.
#include <hwy/highway.h>

namespace SatCommonUtils {

namespace {

constexpr char BaselineName[] = "baseline";

/// What every processor has that this library runs on.
constexpr bool IsBaseline(std::int64_t target) {
  return target == HWY_STATIC_TARGET || target == HWY_EMU128 || target == HWY_SCALAR;
}

std::string NameOf(std::int64_t target) {
  if (IsBaseline(target)) return BaselineName;
#if HWY_ARCH_X86
  if (target == HWY_AVX3) return "avx512";
#endif
  std::string name = hwy::TargetName(target);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

/// Best first: Highway numbers them so. The baseline is the last.
std::vector<std::int64_t> UsableTargets() {
  std::vector<std::int64_t> targets;
  const std::int64_t usable = hwy::SupportedTargets() & HWY_TARGETS;
  for (std::int64_t rest = usable; rest != 0; rest &= rest - 1) {
    const std::int64_t target = rest & -rest;
    if (!IsBaseline(target)) targets.push_back(target);
  }
  targets.push_back(HWY_STATIC_TARGET);
  return targets;
}

/// The target of a name; none is 0.
std::int64_t TargetOf(const std::string& name) {
  const std::vector<std::int64_t> targets = UsableTargets();
  const auto found = std::find_if(targets.begin(), targets.end(),
                                  [&](std::int64_t target) { return NameOf(target) == name; });
  return found == targets.end() ? 0 : *found;
}

std::int64_t FirstTarget() {
  const std::int64_t best = UsableTargets().front();
  const char* const asked = std::getenv(SimdTargetVariable);
  if (asked == nullptr || *asked == '\0') return best;
  const std::int64_t target = TargetOf(asked);
  if (target != 0) return target;
  KaPrintDbgMsg(std::string(SimdTargetVariable) + ": this machine has no target of that name\n");
  return best;
}

std::atomic<std::int64_t>& Target() {
  static std::atomic<std::int64_t> target = FirstTarget();
  return target;
}

}  // namespace

std::vector<std::string> SimdTargets() {
  const std::vector<std::int64_t> targets = UsableTargets();
  std::vector<std::string> names(targets.size());
  std::transform(targets.begin(), targets.end(), names.begin(), NameOf);
  return names;
}

std::string SimdTarget() { return NameOf(Target()); }

bool SetSimdTarget(const std::string& name) {
  const std::int64_t target = TargetOf(name);
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
