/// \file
/// Normal equations of a weighted least-squares system (internal), as the solvers sum them.
#pragma once

#include <cstddef>

namespace SatCommonUtils {

/// Adds one observation to rows `first` to `end` - 1 of the normal matrix, from the diagonal on, and to the
/// same elements of the free term `u`. `row` are the observation's n coefficients. `normal[i]` is row i.
template <class Rows, class Size>
inline void AddObservation(const double* row, double value, double weight, Size n, std::size_t first,
                           std::size_t end, const Rows& normal, double* u) {
  for (std::size_t i = first; i < end; ++i) {
    const double weighted = weight * row[i];
    double* __restrict const normal_row = normal[i];
    for (std::size_t j = i; j < n; ++j) normal_row[j] += weighted * row[j];
    u[i] += weighted * value;
  }
}

/// Copies what lies right of the diagonal in row i to the column below it.
template <class Rows, class Size>
inline void MirrorRow(const Rows& normal, std::size_t i, Size n) {
  for (std::size_t j = i + 1; j < n; ++j) normal[j][i] = normal[i][j];
}

}  // namespace SatCommonUtils
