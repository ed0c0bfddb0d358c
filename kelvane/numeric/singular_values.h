/// \file
/// Singular values of small matrices (internal).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

namespace SatCommonUtils {

/// The largest and the smallest singular value of a matrix of at least as many rows as columns, given by its
/// columns: one-sided Jacobi rotations (M. R. Hestenes, "Inversion of matrices by biorthogonalization and
/// related results", SIAM Journal 6(1), 1958), which lose no small value beside a large one. A NaN spreads,
/// in bounded time.
inline std::pair<double, double> ExtremeSingularValues(std::vector<std::vector<double>> columns) {
  constexpr int MaxSweeps = 60;
  constexpr double Negligible = 1e-15;
  const auto product = [](const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
    return sum;
  };
  bool turned = true;
  for (int sweep = 0; sweep < MaxSweeps && turned; ++sweep) {
    turned = false;
    for (std::size_t p = 0; p < columns.size(); ++p) {
      for (std::size_t q = p + 1; q < columns.size(); ++q) {
        const double pp = product(columns[p], columns[p]);
        const double qq = product(columns[q], columns[q]);
        const double pq = product(columns[p], columns[q]);
        if (!(std::fabs(pq) > Negligible * std::sqrt(pp * qq))) continue;
        turned = true;
        const double zeta = (qq - pp) / (2.0 * pq);
        const double tangent = std::copysign(1.0, zeta) / (std::fabs(zeta) + std::hypot(1.0, zeta));
        const double c = 1.0 / std::hypot(1.0, tangent);
        const double s = c * tangent;
        for (std::size_t i = 0; i < columns[p].size(); ++i) {
          const double x = columns[p][i];
          columns[p][i] = c * x - s * columns[q][i];
          columns[q][i] = s * x + c * columns[q][i];
        }
      }
    }
  }
  double largest = 0.0;
  double smallest = std::numeric_limits<double>::infinity();
  for (const std::vector<double>& column : columns) {
    const double norm = std::sqrt(product(column, column));
    largest = std::max(largest, norm);
    smallest = std::min(smallest, norm);
  }
  return {largest, smallest};
}

}  // namespace SatCommonUtils
