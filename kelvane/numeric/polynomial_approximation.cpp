#include "kelvane/numeric/polynomial_approximation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "kelvane/numeric/different_numbers.h"
#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {

TInterpolation::~TInterpolation() = default;

bool TLeastSquaresPolynomialApproximation::Build(std::size_t n, double* x, double* y) {
  const std::size_t count = static_cast<std::size_t>(Order()) + 1;  // 0 for the order -1
  if (count == 0 || !HasDifferent(x, n, count)) return false;

  std::vector<double> power_sums(2 * count - 1);
  TVector free_term(count);
  for (std::size_t s = 0; s < n; ++s) {
    double power = 1.0;
    for (std::size_t p = 0; p < power_sums.size(); ++p) {
      power_sums[p] += power;
      if (p < count) free_term[p] += y[s] * power;
      power *= x[s];
    }
  }
  TMatrix normal(count, count);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = 0; j < count; ++j) normal.SetElement(j, i, power_sums[i + j]);
  }

  TVector solution(count);
  if (Gauss(normal, free_term, solution) == 0.0) return false;
  std::vector<double> coefs(count);
  solution.Put2Buffer(coefs.data());
  return std::all_of(coefs.begin(), coefs.end(), [](double coef) { return std::isfinite(coef); }) &&
         Initialize(coefs, false);
}

void TLeastSquaresPolynomialApproximation::Destroy() {}

}  // namespace SatCommonUtils
