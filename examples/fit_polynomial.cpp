// Fits a polynomial to measurements over time, with the time brought to -1 to 1, and takes it back to
// seconds.
//
// $ fit_polynomial
// height 500.0 + 7.50 t - 0.0490 t²
// at 42 s: 728.564, rising by 3.384 a second
#include <cstdio>
#include <vector>

#include "kelvane/numeric/normalization.h"
#include "kelvane/numeric/polynomial_approximation.h"

int main() {
  using namespace SatCommonUtils;
  const TLinearNormalization time(0.0, 100.0, -1.0, 1.0);  // 0 s becomes -1, 100 s becomes 1
  std::vector<double> at;
  std::vector<double> heights;
  for (int second = 0; second <= 100; second += 5) {
    at.push_back(time.Initial2Normalized(second));
    heights.push_back(500.0 + 7.5 * second - 0.049 * second * second);
  }

  TLeastSquaresPolynomialApproximation fitted(2);
  if (!fitted.Build(at.size(), at.data(), heights.data())) {
    std::fprintf(stderr, "more different times than the order are needed\n");
    return 1;
  }

  // p(t / scale - offset / scale) is the same function of seconds.
  TPolynome height(0, nullptr);
  LinearSubstitution(&fitted, 1.0 / time.Scale(), -time.Offset() / time.Scale(), &height);
  double coefficients[3];
  height.GetCoefs(coefficients, 3);
  std::printf("height %.1f + %.2f t - %.4f t²\n", coefficients[0], coefficients[1], -coefficients[2]);
  std::printf("at 42 s: %.3f, rising by %.3f a second\n", height.GetValue(42.0),
              height.Derivative().GetValue(42.0));
  return 0;
}
