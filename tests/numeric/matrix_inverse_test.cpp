#include <gtest/gtest.h>

#include <Eigen/LU>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <random>

#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/matrix.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::BitsOf;
using test::Matrix;

/// The system of n*n unknowns, written out.
TMatrix InverseByWholeSystem(const TMatrix& a) {
  const std::size_t n = a.width;
  TMatrix system(n * n, n * n);
  TVector free(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      system.rows[i * n + j].InsertSubVector(j * n, a.rows[i]);
      free[i * n + j] = i == j ? 1.0 : 0.0;
    }
  }
  TVector x(n * n);
  TMatrix inverse(n, n);
  if (Gauss(system, free, x) == 0.0) return inverse;
  for (std::size_t k = 0; k < n; ++k) inverse.SetColomn(k, x.GetSubVector(k * n, n));
  return inverse;
}

/// Numbers of one kind after the other: dense, few different ones (equal pivots, zeros of both signs,
/// singular matrices), determinants that under- and overflow, elements that overflow or are not finite.
class AwkwardNumbers {
 public:
  static constexpr int Kinds = 8;

  double Next(int kind) {
    const double uniform = std::uniform_real_distribution<double>(-1.0, 1.0)(random_);
    const auto one_of = [this](std::initializer_list<double> numbers) {
      return numbers.begin()[random_() % numbers.size()];
    };
    switch (kind) {
      case 0:
        return uniform;
      case 1:
        return one_of({0.0, -0.0, 1.0, -1.0, -0.0});
      case 2:
        return one_of({0.0, -0.0, 3.0, -3.0, 0.1, -7.0, uniform});
      case 3:
        return uniform * one_of({1e-20, 1e-40, 1e-80});
      case 4:
        return uniform * one_of({1e20, 1e80, 1.0, 0.0});
      case 5:
        return uniform * one_of({DBL_MAX, DBL_MAX, DBL_MIN, 0.0});
      case 6:
        return uniform * one_of({1.0, 5e-324, 1e-310, -0.0});
      default:
        return one_of({uniform, uniform, -0.0, 1.0, -2.0, NAN, std::numeric_limits<double>::infinity()});
    }
  }

 private:
  std::mt19937_64 random_{20240607};
};

TEST(MatrixInverse, HasTheBitsOfTheWholeSystem) {
  AwkwardNumbers numbers;
  int singular = 0;
  int regular = 0;
  for (std::size_t n = 1; n <= 6; ++n) {
    for (int kind = 0; kind < AwkwardNumbers::Kinds; ++kind) {
      for (int round = 0; round < (n < 5 ? 200 : 20); ++round) {
        const TMatrix a = test::Filled(n, n, [&] { return numbers.Next(kind); });
        const TMatrix inverse = ~a;
        ASSERT_EQ(BitsOf(inverse), BitsOf(InverseByWholeSystem(a))) << "kind " << kind << '\n' << a.Output();
        ++(inverse.Norma1() == 0.0 ? singular : regular);
      }
    }
  }
  EXPECT_GT(singular, 500);
  EXPECT_GT(regular, 500);
}

TEST(MatrixInverse, OfKnownMatrices) {
  EXPECT_EQ(test::ValuesOf(~TMatrix(test::Vector({2.0, 4.0}))), (test::Values{0.5, 0.0, 0.0, 0.25}));
  EXPECT_EQ((~TMatrix(0, 0)).width, 0U);
  TMatrix turned(5);
  for (std::size_t k = 0; k + 1 < 5; ++k) turned.SwapRows(k, k + 1);
  EXPECT_EQ(test::ValuesOf(~turned), test::ValuesOf(!turned));

  TMatrix ragged = Matrix(2, {1.0, 2.0, 3.0, 4.0});
  ragged.SetRow(0, TVector(2, 1, 9));
  EXPECT_EQ(BitsOf(~ragged), BitsOf(~Matrix(2, {2.0, 1.0, 3.0, 4.0})));
  ragged.SetRow(1, TVector(1));
  for (const TMatrix& singular : {~ragged, ~TMatrix(2, 1)}) {
    EXPECT_EQ(test::ValuesOf(singular), test::Values(4, 0.0));
  }
}

TEST(MatrixInverse, AgreesWithAnIndependentOne) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (const int n : {1, 2, 3, 6, 12}) {
    Eigen::MatrixXd a(n, n);
    for (int k = 0; k < n * n; ++k) a(k / n, k % n) = uniform(random) + (k % (n + 1) == 0 ? 3.0 : 0.0);
    int next = 0;
    const auto size = static_cast<std::size_t>(n);
    const test::Values inverse = test::ValuesOf(~test::Filled(size, size, [&] {
      const int k = next++;
      return a(k / n, k % n);
    }));
    const Eigen::MatrixXd expected = a.inverse();
    for (int k = 0; k < n * n; ++k) {
      EXPECT_NEAR(inverse[static_cast<std::size_t>(k)], expected(k / n, k % n), 1e-14 * n) << n;
    }
  }
}

}  // namespace
