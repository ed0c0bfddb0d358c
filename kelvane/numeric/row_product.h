/// \file
/// Sums of products over pointers to rows (internal): what every matrix product of the library is made of.
///
/// Each element of a result is summed from 0.0 in the order of its terms, whatever stands beside it: neither
/// the blocks nor which rows are asked for together show in the bits.
#pragma once

#include <cstddef>

namespace SatCommonUtils {

/// One factor of the terms: its element (k, i) is `Rows[k][i]`, or `Rows[i][k]` when `Across`; times
/// `Scales[k]`, on the left of it, unless null.
struct TFactor {
  const double* const* Rows;
  bool Across = false;
  const double* Scales = nullptr;
};

/// result[i][j] = sum of left(k, i)*right(k, j), divided by `Divisors[k]` unless null, over k from 0 to
/// `Depth` - 1. The rows of the result overlap nothing else.
struct TRowProduct {
  TFactor Left;
  TFactor Right;
  std::size_t Depth;
  std::size_t Width;
  double* const* Result;
  const double* Divisors = nullptr;
  /// Only the elements with j of at least i are wanted; the factors are the same but for their scales.
  bool Upper = false;
  /// The result holds the sums of earlier terms, which go on.
  bool Continued = false;
};

/// How many rows are best worked out together: the operands are read once for so many.
constexpr std::size_t RowsTogether = 72;

/// Writes the rows from `first` to before `last`.
void MultiplyRows(const TRowProduct& product, std::size_t first, std::size_t last);

/// Completes the rows from `first` to before `last` of a symmetric matrix from the elements right of the
/// diagonal of the rows above.
void MirrorUpper(double* const* result, std::size_t first, std::size_t last);

}  // namespace SatCommonUtils
