#include "kelvane/numeric/small_systems.h"

#include <gtest/gtest.h>

#include "kelvane/numeric/linear_solvers.h"
#include "tests/numeric/solver_testing.h"

namespace {

using namespace SatCommonUtils;
using namespace test;

template <std::size_t M, std::size_t N>
void Fill(const TMatrix& from, double (&to)[M][N]) {
  for (std::size_t r = 0; r < M; ++r) from.rows[r].Put2Buffer(to[r]);
}

/// Holds systems of N equations against the general solvers.
template <std::size_t N>
void CompareWithGeneral() {
  constexpr std::size_t M = N + 3;
  for (unsigned seed = 0; seed < 400; ++seed) {
    Numbers next(seed);
    const TMatrix a = Filled(N, N, next);
    const TVector b = next.Vector(N);
    TVector general = Vector(Values(N, 7.0));
    double small_a[N][N];
    double small_b[N];
    double x[N];
    std::fill_n(x, N, 7.0);
    Fill(a, small_a);
    b.Put2Buffer(small_b);
    EXPECT_EQ(ValueBits(SmallGauss(small_a, small_b, x)), ValueBits(Gauss(a, b, general))) << seed;
    EXPECT_EQ(ValueBits(TVector(N, x)), ValueBits(general)) << seed;

    const TMatrix design = Filled(N, M, next);
    const bool weighted = seed % 8 < 4;
    TVector l = next.Vector(M);
    TVector w = weighted ? next.Vector(M) : Vector(Values(M, 1.0));
    double small_design[M][N];
    Fill(design, small_design);
    SmallNormalEquations(small_design, l.data, weighted ? w.data : nullptr, M, small_a, small_b);
    if (!SmallCholesky(small_a, small_b, x)) {
      std::fill_n(x, N, 0.0);
      SmallGauss(small_a, small_b, x);
    }
    TOverdefinedLinearSystem(design, l, w).Solution(general);
    EXPECT_EQ(ValueBits(TVector(N, x)), ValueBits(general)) << seed;
  }
}

TEST(SmallSystems, SameBitsAsTheGeneralSolvers) {
  CompareWithGeneral<2>();
  CompareWithGeneral<3>();
}

}  // namespace
