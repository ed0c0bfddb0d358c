/// \file
/// Which of the processor's instructions the kernels use. All give the same bits; only the speed differs.
#pragma once

#include <string>
#include <vector>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// The environment variable that forces a target, by its name, from the first use of a kernel on. A name that
/// is not among `SimdTargets` changes nothing; the host's `KaPrintDbgMsg` is told.
inline constexpr char SimdTargetVariable[] = "KELVANE_SIMD";

/// The targets that the kernels are built for and this processor has, best first. On x86-64 they are
/// "avx512", "avx2", "sse4" and "baseline"; the last of the list is always "baseline".
KELVANE_API std::vector<std::string> SimdTargets();

/// The one that the kernels use: the first of `SimdTargets` unless another was forced.
KELVANE_API std::string SimdTarget();

/// Forces a target for the whole process; false, and nothing changes, when it is not among `SimdTargets`.
/// Safe at any time: a kernel that runs ends as it began.
KELVANE_API bool SetSimdTarget(const std::string& name);

}  // namespace SatCommonUtils
