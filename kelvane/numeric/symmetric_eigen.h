/// \file
/// Eigenvalues and eigenvectors of small symmetric matrices (internal).
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>

namespace SatCommonUtils {

/// Turns rows and columns i and j of `A` so that A(i, j) becomes 0, and the rows of `vectors` with them.
template <std::size_t N>
inline void JacobiRotation(std::size_t i, std::size_t j, double (&A)[N][N], double (&vectors)[N][N]) {
  const double theta = (A[j][j] - A[i][i]) / (2.0 * A[i][j]);
  const double tangent = std::copysign(1.0, theta) / (std::fabs(theta) + std::hypot(1.0, theta));
  const double c = 1.0 / std::hypot(1.0, tangent);
  const double s = tangent * c;
  const auto turn = [c, s](double& x, double& y) {
    const double turned = c * x - s * y;
    y = s * x + c * y;
    x = turned;
  };
  for (std::size_t k = 0; k < N; ++k) turn(A[k][i], A[k][j]);
  for (std::size_t k = 0; k < N; ++k) turn(A[i][k], A[j][k]);
  for (std::size_t k = 0; k < N; ++k) turn(vectors[i][k], vectors[j][k]);
  A[i][j] = A[j][i] = 0.0;
}

/// The eigenvalues of the symmetric `A` in falling order, and for each a unit eigenvector, a row of
/// `vectors`: cyclic Jacobi iteration (G. H. Golub, C. F. Van Loan, Matrix Computations, 4th ed., Johns
/// Hopkins 2013, section 8.5). Overwrites `A`. Errors are those of a change of `A` by a few roundings of its
/// largest element. A NaN or an infinity spreads, in bounded time.
template <std::size_t N>
inline void SymmetricEigen(double (&A)[N][N], double (&values)[N], double (&vectors)[N][N]) {
  constexpr int MaxSweeps = 50;
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t k = 0; k < N; ++k) vectors[i][k] = i == k ? 1.0 : 0.0;
  }
  bool turned = true;
  for (int sweep = 0; sweep < MaxSweeps && turned; ++sweep) {
    turned = false;
    for (std::size_t i = 0; i < N; ++i) {
      for (std::size_t j = i + 1; j < N; ++j) {
        const double off = std::fabs(A[i][j]);
        const bool negligible =
            std::fabs(A[i][i]) + off == std::fabs(A[i][i]) && std::fabs(A[j][j]) + off == std::fabs(A[j][j]);
        if (negligible) continue;
        JacobiRotation(i, j, A, vectors);
        turned = true;
      }
    }
  }
  for (std::size_t i = 0; i < N; ++i) values[i] = A[i][i];
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t j = i + 1; j < N; ++j) {
      if (!(values[j] > values[i])) continue;
      std::swap(values[i], values[j]);
      std::swap(vectors[i], vectors[j]);
    }
  }
}

}  // namespace SatCommonUtils
