/// \file
/// From kernels that are compiled for several targets to the one that is in use (internal). The library keeps
/// a choice of its own: that of Highway belongs to the whole process, and to others who use it. (It is asked
/// once what the processor has, which settles its choice as any use of it does.)
/// To be included before any header of Highway, and where kernels are compiled before `hwy/foreach_target.h`.
#pragma once

// All kernels are built for the same targets. Those left out have no instruction more, for doubles, than the
// baseline and AVX-512.
#ifndef KELVANE_SANITIZED
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#else
// Instrumented, each target takes half a minute to compile: one with wide vectors shows what all do.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_SSE4 | HWY_AVX3 | HWY_AVX3_DL)
#endif

#include <cstddef>

namespace SatCommonUtils {

/// Where the table of an exported kernel has the target in use.
std::size_t SimdTargetIndex();

}  // namespace SatCommonUtils

/// The function, exported by HWY_EXPORT, of the target in use.
#define KELVANE_SIMD_DISPATCH(function) (*(HWY_DISPATCH_TABLE(function)[SimdTargetIndex()]))
