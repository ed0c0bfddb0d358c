#include "kelvane/numeric/raw_solvers.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/numeric/solver_testing.h"

namespace {

using namespace SatCommonUtils;
using namespace test;

/// A matrix as row pointers; exchanged pointers keep their rows alive.
class RawMatrix {
 public:
  explicit RawMatrix(const TMatrix& m) : values_(m) {
    for (std::size_t r = 0; r < m.height; ++r) rows_.push_back(values_.rows[r].data);
  }
  double** Rows() { return rows_.data(); }

 private:
  TMatrix values_;
  std::vector<double*> rows_;
};

int calls_made = 0;
int cancelling = -1;
int Progress() { return calls_made++ == cancelling ? 1 : 0; }

/// Cancels at the n-th call, from 0; never when negative.
int (*CancelAt(int n))() {
  calls_made = 0;
  cancelling = n;
  return &Progress;
}

TEST(RawSolvers, GaussChangesItsArraysAsThePlainFormulas) {
  for (unsigned seed = 0; seed < 80; ++seed) {
    Numbers next(seed);
    const std::size_t n = 1 + seed / 4;
    TMatrix a = Filled(n, n, next);
    TVector b = next.Vector(n);
    RawMatrix raw(a);
    TVector right = b;
    TVector x(n);
    TVector plain(n);
    double* const first = raw.Rows()[0];
    const bool stays = n == 1 || a(0).Norma1() == std::fabs(a.rows[0][0]) || std::isnan(a.rows[0][0]);
    EXPECT_EQ(ValueBits(Gauss(raw.Rows(), right.data, x.data, n, nullptr)),
              ValueBits(PlainGauss(a, b, plain)));
    EXPECT_EQ(raw.Rows()[0] == first, stays) << seed << ": pointers are exchanged, of equal pivots the first";
    for (std::size_t r = 0; r < n; ++r) {
      EXPECT_EQ(ValueBits(TVector(n, raw.Rows()[r])), ValueBits(a.rows[r])) << seed;
    }
    EXPECT_EQ(ValueBits(right), ValueBits(b)) << seed;
    EXPECT_EQ(ValueBits(x), ValueBits(plain)) << seed;
  }
}

TEST(RawSolvers, CancelWhereverTheCallbackComes) {
  constexpr std::size_t N = 4;
  const TMatrix definite = Matrix(N, {4, 2, 0, 1, 2, 5, 1, 0, 0, 1, 6, 2, 1, 0, 2, 7});
  Values b = {1, 2, 3, 4};
  for (int at = 0; at <= 12; ++at) {
    Values x(N, 9.0);
    RawMatrix gauss(definite);
    Values right = b;
    EXPECT_EQ(Gauss(gauss.Rows(), right.data(), x.data(), N, CancelAt(at)) == 0.0, at < 3);
    EXPECT_EQ(calls_made, std::min(at + 1, 3));
    EXPECT_EQ(x == Values(N, 9.0), at < 3);

    RawMatrix a(definite);
    RawMatrix u(Filled(N, N, [] { return 9.0; }));
    EXPECT_EQ(CholesskyDecomposition(a.Rows(), u.Rows(), N, CancelAt(at)), at >= 4);
    EXPECT_EQ(calls_made, std::min(at + 1, 4));
    EXPECT_EQ(u.Rows()[3][3] == 9.0, at < 3);
    EXPECT_EQ(u.Rows()[3][0], 0.0);

    x.assign(N, 9.0);
    EXPECT_EQ(Cholesky(a.Rows(), b.data(), x.data(), N, CancelAt(at)), at >= 12);
    EXPECT_EQ(calls_made, std::min(at + 1, 12));
    EXPECT_EQ(x == Values(N, 9.0), at < 12);

    EXPECT_TRUE(CholeskyMatrixInversion(a.Rows(), u.Rows(), N, CancelAt(at)));
    EXPECT_EQ(calls_made, 4);

    x.assign(N, 9.0);
    EXPECT_EQ(SolveOverdefined(a.Rows(), b.data(), nullptr, x.data(), N, N, CancelAt(at)), at >= 4);
    EXPECT_EQ(calls_made, std::min(at + 1, 4));
    EXPECT_EQ(x == Values(N, 9.0), at < 4);
  }
}

TEST(RawSolvers, RefuseWhatIsNotPositiveDefinite) {
  for (const double last : {1.0, 0.0, -1.0, NaN}) {
    RawMatrix a(Matrix(2, {1, 1, 1, last}));
    RawMatrix out(Matrix(2, {8, 8, 8, 8}));
    Values b = {1, 2};
    Values x = {5, 6};
    EXPECT_FALSE(Cholesky(a.Rows(), b.data(), x.data(), 2, nullptr));
    EXPECT_FALSE(CholeskyMatrixInversion(a.Rows(), out.Rows(), 2, nullptr));
    EXPECT_EQ(x, Values({5, 6}));
    EXPECT_EQ(out.Rows()[0][0], 8.0);
  }
  EXPECT_TRUE(CholeskyMatrixInversion(static_cast<double**>(nullptr), nullptr, 0, nullptr));
  RawMatrix same(Matrix(2, {1, 1, 2, 2}));
  Values l = {1, 2};
  Values x = {5, 6};
  EXPECT_TRUE(SolveOverdefined(same.Rows(), l.data(), nullptr, x.data(), 2, 2, nullptr));
  EXPECT_EQ(x, Values({0, 0})) << "singular for both";
}

}  // namespace
