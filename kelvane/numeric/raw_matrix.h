/// \file
/// Matrices and vectors as plain arrays: a matrix is an array of row pointers, element (row r, column c) is
/// `a[r][c]`. Whoever creates one owns it and releases it.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// `rows` rows of `cols` zeros; null when there is no memory. Release with `ReleaseMatrix`.
KELVANE_API double** CreateMatrix(std::size_t cols, std::size_t rows);
/// The identity of `n` rows and columns; null when there is no memory.
KELVANE_API double** CreateMatrix(std::size_t n);
/// Frees the rows and the array of row pointers; `a`, and any of its rows, may be null.
KELVANE_API void ReleaseMatrix(double** a, std::size_t rows);
/// Sets the first `cols` elements of the first `rows` rows to 0.
KELVANE_API void SetToZero(double** a, std::size_t cols, std::size_t rows);

/// `n` zeros; null when there is no memory. Release with `ReleaseVector`.
KELVANE_API double* CreateVector(std::size_t n);
/// `v` may be null.
KELVANE_API void ReleaseVector(double* v);
/// Zeroes `n` elements.
KELVANE_API void SetToZero(double* v, std::size_t n);

}  // namespace SatCommonUtils
