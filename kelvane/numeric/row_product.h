/// \file
/// The matrix product over pointers to rows (internal).
#pragma once

#include <cstddef>

namespace SatCommonUtils {

/// c[i][j] = sum of a[i][k]*b[k][j] over k from 0 to `depth` - 1, in this order from 0.0, for `height` rows i
/// and `width` columns j. The rows of `c` overlap no other row.
void MultiplyRows(const double* const* a, std::size_t height, std::size_t depth, const double* const* b,
                  std::size_t width, double* const* c);

}  // namespace SatCommonUtils
