#include "kelvane/numeric/linear_solvers.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>

#include "tests/numeric/solver_testing.h"

namespace {

using namespace SatCommonUtils;
using namespace test;
using LongMatrix = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;
using LongVector = Eigen::Matrix<long double, Eigen::Dynamic, 1>;

Eigen::Index Index(std::size_t i) { return static_cast<Eigen::Index>(i); }

LongMatrix Long(const TMatrix& m) {
  LongMatrix made(Index(m.height), Index(m.width));
  for (std::size_t r = 0; r < m.height; ++r) {
    for (std::size_t c = 0; c < m.width; ++c) made(Index(r), Index(c)) = m.GetElement(c, r);
  }
  return made;
}

LongVector Long(const TVector& v) {
  return Eigen::Map<Eigen::VectorXd>(v.data, Index(v.size)).cast<long double>();
}

/// Random rows and columns, scaled by powers of ten between -span and span; nearly singular when `close`.
TMatrix Scaled(std::size_t n, int span, bool close, std::mt19937_64& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  TMatrix a = Filled(n, n, [&] { return uniform(random); });
  if (close && n > 1) a.SetRow(0, a.GetRow(1) * 3.0 + 1e-11 * a.GetRow(0));
  for (std::size_t i = 0; i < n; ++i) {
    a.SetRow(i, a.GetRow(i) * std::pow(10.0, span * uniform(random)));
    a.SetColomn(i, a.GetColomn(i) * std::pow(10.0, span * uniform(random)));
  }
  return a;
}

TEST(LinearSolvers, ResidualsKeepTheBoundsOfTheHeader) {
  std::mt19937_64 random(23);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  int determinants = 0;
  for (std::size_t n = 1; n <= 40; ++n) {
    for (const int kind : {0, 1, 2}) {
      const TMatrix a = Scaled(n, kind == 1 ? 4 : 0, kind == 2, random);
      TVector b(n);
      for (std::size_t i = 0; i < n; ++i) b[i] = uniform(random);
      TMatrix triangle = a;
      TVector changed = b;
      TVector x(n);
      const double determinant = GaussTriangle(triangle, changed, x);
      const LongMatrix exact = Long(a);
      const long double bound =
          GaussResidualBound(n) *
          Long(triangle).triangularView<Eigen::Upper>().toDenseMatrix().cwiseAbs().maxCoeff();
      EXPECT_LE((exact * Long(x) - Long(b)).cwiseAbs().maxCoeff(), bound * Long(x).cwiseAbs().sum()) << n;
      const Eigen::FullPivLU<LongMatrix> lu(exact);
      const long double tolerance = 2.0L * bound * lu.inverse().cwiseAbs().sum();
      if (tolerance < 0.1L) {
        EXPECT_NEAR(static_cast<double>(determinant / lu.determinant()), 1.0, static_cast<double>(tolerance));
        ++determinants;
      }

      // The transpose first: a scaled column becomes a scaled row and column of the product.
      const TMatrix s = !a * a;
      TVector y(n);
      TMatrix inverse(n, n);
      if (!Cholesky(s, b, y)) continue;
      ASSERT_TRUE(CholeskyMatrixInversion(s, &inverse, nullptr));
      const LongVector root = Long(s).diagonal().cwiseSqrt();
      const auto within = [&](const LongVector& solution, const LongVector& right) {
        const LongVector residual = (Long(s) * solution - right).cwiseAbs();
        const long double size = root.dot(solution.cwiseAbs()) * CholeskyResidualBound(n);
        return (residual.array() <= size * root.array()).all();
      };
      EXPECT_TRUE(within(Long(y), Long(b))) << n;
      for (std::size_t c = 0; c < n; ++c) {
        EXPECT_TRUE(within(Long(inverse.GetColomn(c)), Long(TVector(n, c)))) << n;
      }
    }
  }
  EXPECT_GE(determinants, 40);
}

TEST(LinearSolvers, SameBitsAsThePlainFormulas) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    Numbers next(seed);
    const std::size_t n = 1 + seed / 4 % 21;
    const TMatrix a = Filled(n + seed % 3, n + seed % 2, next);
    const TVector b = next.Vector(n);
    TMatrix plain_a = a;
    TVector plain_b = b;
    TVector plain_x = Vector(Values(n, 7.0));
    const double determinant = PlainGauss(plain_a, plain_b, plain_x);
    TMatrix left = a;
    TVector right = b;
    TVector x = Vector(Values(n, 7.0));
    TVector copied = x;
    EXPECT_EQ(ValueBits(GaussTriangle(left, right, x)), ValueBits(determinant)) << seed;
    EXPECT_EQ(ValueBits(left), ValueBits(plain_a)) << seed;
    EXPECT_EQ(ValueBits(right), ValueBits(plain_b)) << seed;
    EXPECT_EQ(ValueBits(x), ValueBits(plain_x)) << seed;
    EXPECT_EQ(ValueBits(Gauss(a, b, copied)), ValueBits(determinant)) << seed;
    EXPECT_EQ(ValueBits(copied), ValueBits(x)) << seed;

    // Least squares, and on its normal matrix the Cholesky family.
    const std::size_t m = n + seed % 5;
    const TMatrix design = Filled(n, m, next);
    const TVector l = next.Vector(m);
    const TVector w = next.Vector(m);
    const auto weighted = [&](std::size_t k, std::size_t i) { return w[k] * w[k] * design.rows[k][i]; };
    TMatrix normal = Sums(n, n, m, [&](auto i, auto j, auto k) {
      return weighted(k, std::min(i, j)) * design.rows[k][std::max(i, j)];
    });
    TVector u = Sums(1, n, m, [&](auto i, auto, auto k) { return weighted(k, i) * l[k]; })(0);
    TMatrix plain_factor = Filled(n, n, [] { return 7.0; });
    TMatrix factor = plain_factor;
    const bool definite = PlainFactor(normal, plain_factor);
    EXPECT_EQ(CholesskyDecomposition(normal, factor, nullptr), definite) << seed;
    EXPECT_EQ(ValueBits(factor), ValueBits(plain_factor)) << seed;
    TMatrix inverse(n, n);
    EXPECT_EQ(CholeskyMatrixInversion(normal, &inverse, nullptr), definite) << seed;
    for (std::size_t c = 0; definite && c < n; ++c) {
      EXPECT_EQ(ValueBits(inverse(c)), ValueBits(PlainSolution(plain_factor, TVector(n, c)))) << seed;
    }
    plain_x.FillWithZeroes();
    if (definite) {
      plain_x = PlainSolution(plain_factor, u);
      for (std::size_t i = 1; i < n; ++i) normal.rows[i][0] = NaN;  // not read
      ASSERT_TRUE(CholesskyDecomposition(normal, normal, nullptr));
      EXPECT_EQ(ValueBits(normal), ValueBits(factor)) << "in place";
    } else {
      PlainGauss(normal, u, plain_x);
    }
    TVector squares = w;
    for (std::size_t k = 0; k < m; ++k) squares[k] *= w[k];
    TOverdefinedLinearSystem(design, l, squares).Solution(x);
    EXPECT_EQ(ValueBits(x), ValueBits(plain_x)) << seed;
  }
}

TEST(LinearSolvers, SingularAndTooSmallLeaveTheResult) {
  TVector x(5.0, 6.0, 7.0);
  const TMatrix singular = Matrix(2, {1, 2, 2, 4});
  EXPECT_EQ(Gauss(singular, Vector({1, 2}), x), 0.0);
  EXPECT_EQ(Gauss(Matrix(2, {0, 1, 0, 2}), Vector({1, 2}), x), 0.0);
  EXPECT_FALSE(Cholesky(Matrix(2, {1, 2, 2, 1}), Vector({1, 2}), x));
  EXPECT_FALSE(Cholesky(Matrix(1, {1e-20}), Vector({1}), x));
  EXPECT_EQ(ValuesOf(x), Values({5, 6, 7}));
  EXPECT_TRUE(Cholesky(Matrix(1, {1.0000001e-20}), Vector({1}), x));
  EXPECT_EQ(Gauss(Matrix(2, {0, 1, 1, 0}), Vector({2, 3}), x), -1.0);
  EXPECT_EQ(ValuesOf(x), Values({3, 2, 7}));

  const TMatrix two = Matrix(2, {4, 2, 2, 3});
  TVector shorter(1);
  TMatrix narrow(1, 2);
  EXPECT_EQ(RuntimeErrorOf([&] { Gauss(two, Vector({1, 2}), shorter); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { Gauss(two, Vector({1, 2, 3}), x); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { Gauss(narrow, Vector({1, 2}), x); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { Cholesky(two, Vector({1, 2}), shorter); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { Cholesky(two, shorter, x); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { CholesskyDecomposition(two, narrow, nullptr); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { CholeskyMatrixInversion(two, &narrow, nullptr); }), IndexError);
  EXPECT_EQ(shorter[0], 0.0);
  EXPECT_EQ(Gauss(singular, Vector({1, 2}), shorter), 0.0);
  TVector none;
  EXPECT_EQ(Gauss(TMatrix("none"), none, none), 1.0);

  const TLinearSystem system(Matrix(2, {0, 2, 4, 0}), Vector({2, 4}));
  EXPECT_EQ(system.SolutionGauss(x), -8.0);
  EXPECT_EQ(ValuesOf(x), Values({1, 1}));
  EXPECT_EQ(TLinearSystem(singular, Vector({1, 2})).SolutionGauss(x), 0.0);
  EXPECT_EQ(ValuesOf(x), Values({1, 1})) << "kept where the size is right already";
  EXPECT_EQ(system.Det(), -8.0);
  EXPECT_EQ(system.Cond(), 2.0);
  EXPECT_EQ(Cond(singular), 0.0);
}

TEST(OverdefinedLinearSystem, RefusesBadShapes) {
  const std::size_t shapes[][4] = {{3, 3, 3, 3}, {3, 2, 2, 2}, {2, 3, 2, 2}, {2, 3, 3, 2}, {0, 0, 0, 0}};
  for (const auto& shape : shapes) {
    const std::string thrown = TextThrownBy(
        [&] { TOverdefinedLinearSystem(TMatrix(shape[0], shape[1]), TVector(shape[2]), TVector(shape[3])); });
    EXPECT_EQ(thrown,
              &shape == shapes
                  ? ""
                  : "TOverdefinedLinearSystem::TOverdefinedLinearSystem(const TMatrix&,const TVector&)");
  }
  EXPECT_THROW(TOverdefinedLinearSystem(TMatrix(2, 3), TVector(2)), const char*);
}

TEST(OverdefinedLinearSystem, FallsBackToGaussAndToZeros) {
  TVector x;
  // Below the threshold of Cholesky, but regular.
  TOverdefinedLinearSystem(Matrix(1, {1e-12, 1e-12}), Vector({2e-12, 4e-12})).Solution(x);
  ASSERT_EQ(x.size, 1U);
  EXPECT_NEAR(x[0], 3.0, 1e-14);
  // A negative weight: the normal matrix is indefinite.
  TOverdefinedLinearSystem(TMatrix(2), Vector({2, 3}), Vector({1, -2})).Solution(x);
  EXPECT_EQ(ValuesOf(x), Values({2, 3}));
  TOverdefinedLinearSystem(Matrix(2, {1, 1, 2, 2, 3, 3}), Vector({1, 2, 3})).Solution(x);
  EXPECT_EQ(ValuesOf(x), Values({0, 0}));
  TOverdefinedLinearSystem(Matrix(1, {1, 1}), Vector({1, 5}), Vector({3, 1})).Solution(x);
  EXPECT_EQ(ValuesOf(x), Values({2}));
}

TEST(ClosedForms, SolveInPlaceOrLeaveTheResult) {
  double x = 5.0;
  double y = 6.0;
  EXPECT_FALSE(SolveEquationsSet(1, 2, 2, 4, x, y, &x, &y));
  EXPECT_EQ(x, 5.0);
  ASSERT_TRUE(SolveEquationsSet(1, 2, 3, 4, x, y, &x, &y));
  EXPECT_EQ(x, -4.0);
  EXPECT_EQ(y, 4.5);

  Values b = {1, 2, 4};
  const double singular[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  SolveKramer3(singular, b.data(), b.data());
  EXPECT_EQ(b, Values({1, 2, 4}));
  const double a[9] = {2, 1, 0, -1, 3, 1, 0, 5, 4};
  b = {4, 8, 22};
  SolveKramer3(a, b.data(), b.data());
  EXPECT_EQ(b, Values({1, 2, 3}));
}

}  // namespace
