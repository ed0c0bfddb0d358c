/// \file
/// What the tests of both generations share.
#pragma once

#include "kelvane/refinement/affine_correction.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"

namespace test {

constexpr double Max = 1.7976931348623157e308;
constexpr SatCommonUtils::TAffineCorrection Skewed = {5.0, 1.0 + 1e-7, -1.0 / 3.0, -0.0, 5e-324, 2.0};
constexpr SatCommonUtils::TAffineCorrection Flat = {1.0, 2.0, 1.0, 1.0, 4.0, 2.0};

}  // namespace test
