/// \file
/// The rows of a matrix as products over pointers take them (internal).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {

/// Throws the index error when a row has no column `col`.
inline void RequireColumn(const TMatrix& m, std::size_t col) {
  for (std::size_t r = 0; r < m.height; ++r) static_cast<void>(m.rows[r][col]);
}

/// Throws the index error when a row is shorter than the matrix is wide.
inline void RequireFullRows(const TMatrix& m) {
  if (m.width != 0) RequireColumn(m, m.width - 1);
}

/// The pointers may be written through as far as the matrix may.
inline std::vector<double*> RowPointers(const TMatrix& m) {
  std::vector<double*> pointers(m.height);
  std::transform(m.rows, m.rows + m.height, pointers.begin(), [](const TVector& row) { return row.data; });
  return pointers;
}

}  // namespace SatCommonUtils
