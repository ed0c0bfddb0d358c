#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstddef>
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

/// Numbers to choose from, each multiplied by a random one of -1 to 1 when `Scaled`.
struct TKind {
  bool Scaled;
  test::Values Numbers;
};

/// Dense; few different numbers, for equal pivots, zeros of both signs and singular matrices; determinants
/// that under- and overflow; elements that overflow, are subnormal, or are not finite.
const TKind Kinds[] = {{true, {1.0}},
                       {false, {0.0, -0.0, 1.0, -1.0, -0.0}},
                       {false, {0.0, -0.0, 3.0, -3.0, 0.1, -7.0}},
                       {true, {1e-20, 1e-40, 1e-80}},
                       {true, {1e20, 1e80, 1.0, 0.0}},
                       {true, {DBL_MAX, DBL_MAX, DBL_MIN, 0.0}},
                       {true, {1.0, 5e-324, 1e-310, -0.0}},
                       {false, {0.3, 0.7, -0.0, 1.0, -2.0, NAN, INFINITY}}};

TEST(MatrixInverse, HasTheBitsOfTheWholeSystem) {
  std::mt19937_64 random(20240607);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  int singular = 0;
  int regular = 0;
  for (std::size_t n = 1; n <= 6; ++n) {
    for (const TKind& kind : Kinds) {
      const auto next = [&] {
        const double number = kind.Numbers[random() % kind.Numbers.size()];
        return kind.Scaled ? number * uniform(random) : number;
      };
      for (int round = 0; round < (n < 5 ? 200 : 20); ++round) {
        const TMatrix a = test::Filled(n, n, next);
        const TMatrix inverse = ~a;
        ASSERT_EQ(BitsOf(inverse), BitsOf(InverseByWholeSystem(a))) << "kind " << &kind - Kinds << '\n'
                                                                    << a.Output();
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

}  // namespace
