#include "kelvane/numeric/polynomial.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "kelvane/module/host/string_tree.h"
#include "kelvane/numeric/polynomial_approximation.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::TextThrownBy;
using test::Values;

Values CoefsOf(const TPolynome& p) {
  int count = -1;
  const std::unique_ptr<double[]> coefs(p.GetCoefs(count));
  EXPECT_EQ(count, p.Order() + 1);
  return Values(coefs.get(), coefs.get() + count);
}

TPolynome Of(const Values& coefs) { return TPolynome(coefs); }

/// A polynomial without coefficients.
TPolynome None() { return Of({1}).Derivative(); }

TEST(Polynome, ConstructionAndItsTexts) {
  EXPECT_EQ(TextThrownBy([] { TPolynome(-1, nullptr); }), "TPolynome::TPolynome(int, const double*)");
  EXPECT_EQ(TextThrownBy([] { TPolynome{TVector()}; }), "TPolynome::TPolynome(const TVector& src)");
  EXPECT_EQ(TextThrownBy([] { TPolynome{Values()}; }), "TPolynome::TPolynome(const vector<double>& src)");
  TPolynome p = Of({1, 2});
  EXPECT_EQ(TextThrownBy([&] { p.Reset(-2); }), "void TPolynome::Reset(int new_order)");
  EXPECT_EQ(p.GetCoefsString(), "()");
  EXPECT_TRUE(p.IsNull());

  EXPECT_TRUE(TPolynome(2, nullptr).IsNull());
  EXPECT_EQ(CoefsOf(TPolynome(TVector(1, 2, 3))), Values({1, 2, 3}));
  EXPECT_FALSE(p.Initialize(-1, nullptr));
  const double values[] = {4, 5};
  EXPECT_TRUE(p.Initialize(1, values));
  EXPECT_FALSE(p.Initialize(Values(), true));
  EXPECT_EQ(CoefsOf(p), Values({4, 5}));
  EXPECT_TRUE(p.Initialize({1, 2, 3}, true));
  EXPECT_EQ(CoefsOf(p), Values({3, 2, 1}));

  Values out(5, 9.0);
  EXPECT_EQ(p.GetCoefs(out.data(), 2), 0);
  EXPECT_EQ(out, Values(5, 9.0));
  EXPECT_EQ(p.GetCoefs(out.data(), 5), 3);
  EXPECT_EQ(out, Values({3, 2, 1, 0, 0}));
}

TEST(Polynome, TextGoesThereAndBack) {
  EXPECT_EQ(CoefsOf(TPolynome("(3;2;1)")), Values({1, 2, 3}));
  EXPECT_EQ(CoefsOf(TPolynome(" 1.5 , x; -2e3")), Values({-2000, 1.5}));
  EXPECT_EQ(TPolynome("(3;2;1)").GetCoefsString(), "(3;2;1)");
  const Values odd = {0.1, -1.0 / 3.0, 5e-324, 1.7976931348623157e308};
  EXPECT_EQ(CoefsOf(TPolynome(Of(odd).GetCoefsString())), odd);
  EXPECT_EQ(CoefsOf(TPolynome("()")), Values({0}));
  TPolynome p = Of({1, 2});
  EXPECT_FALSE(p.Initialize("none"));
  EXPECT_EQ(CoefsOf(p), Values({0}));
}

TEST(Polynome, Arithmetic) {
  // Sums of powers, not Horner's scheme: the two differ here.
  EXPECT_EQ(Of({0.1, 0.7, 0.3, 0.9}).GetValue(1.1),
            0.1 + 0.7 * 1.1 + 0.3 * (1.1 * 1.1) + 0.9 * (1.1 * 1.1 * 1.1));
  EXPECT_EQ(None().GetValue(3.0), 0.0);
  EXPECT_EQ(CoefsOf(Of({7, 5, 3}).Derivative()), Values({5, 6}));
  EXPECT_EQ(None().Derivative().Order(), -1);

  TPolynome p = Of({1, 2});
  EXPECT_EQ(CoefsOf(p += Of({1, 1, 1})), Values({2, 3, 1}));
  EXPECT_EQ(CoefsOf(p -= Of({1, 1, 1, 1})), Values({1, 2, 0, -1}));
  EXPECT_EQ(CoefsOf(p -= p), Values({0, 0, 0, 0}));
  p.Optimize();
  EXPECT_EQ(CoefsOf(p), Values({0}));
  EXPECT_EQ(CoefsOf(-((p += Of({2, 4})) *= 3.0) /= 2.0), Values({-3, -6}));
  EXPECT_TRUE(Of({1, 2}) == Of({1, 2}));
  EXPECT_TRUE(Of({1, 2}) != Of({1, 2, 0}));

  EXPECT_TRUE(Of({1, 1}).ApproximatelyEqual(Of({1, 1, 1e-9}), 1e-6));
  EXPECT_FALSE(Of({1, 1}).ApproximatelyEqual(Of({1, 1, 1e-9}), 1e-10));
  EXPECT_FALSE(Of({1, 1, -0.5}).ApproximatelyEqual(Of({1, 1}), 0.5));
  EXPECT_FALSE(Of({1}).ApproximatelyEqual(Of({0.5}), 0.5));

  TPolynome q = Of({0, 0, 1});
  LinearSubstitution(&q, 2.0, 1.0, &q);
  EXPECT_EQ(CoefsOf(q), Values({1, 4, 4}));
  q = Of({0, 0, 0, 0, 0, 0, 1});
  LinearSubstitution(&q, 1.0, 1.0, &q);
  EXPECT_EQ(CoefsOf(q), Values({1, 6, 15, 20, 15, 6, 1}));
  q = Of({1, -2, 0, 3, 0.5, -1});
  LinearSubstitution(&q, -0.5, 2.0, &p);
  for (const double x : {-3.0, 0.0, 0.5, 2.0}) EXPECT_EQ(p.GetValue(x), q.GetValue(-0.5 * x + 2.0));
}

TEST(Polynome, LivesInATree) {
  TStringTree tree;
  ASSERT_TRUE(Of({3, 4}).WriteToTree(&tree, 7, "roll"));
  EXPECT_EQ(tree.GetName(7, 1), "roll1");
  EXPECT_EQ(CoefsOf(TPolynome(&tree, 7)), Values({3, 4}));
  EXPECT_EQ(TPolynome(&tree, 8).Order(), -1);
  tree.InsertDouble("gap", 7, 3, 1.0);
  EXPECT_EQ(TextThrownBy([&] { TPolynome(&tree, 7); }), "TPolynome::TPolynome(TStringTree *src, int tag)");

  class TFullTree : public TStringTree {
    bool InsertDouble(std::string name, int tag, int index, const double& value) override {
      return index < 1 && TStringTree::InsertDouble(name, tag, index, value);
    }
  } full;
  EXPECT_FALSE(Of({3, 4, 5}).WriteToTree(&full, 7, "roll"));
  EXPECT_EQ(full.Count(7), 1);
  EXPECT_TRUE(None().WriteToTree(&full, 9, ""));
}

TEST(Polynome, AnOrderThatTheCoefficientsBelieIsRefused) {
  const std::string xml = test::XmlOf(Of({0.1, -2, 1e300}), "P");
  TPolynome read(0, nullptr);
  for (const char* order : {"-1", "2000000000"}) {
    const std::string other =
        test::Replaced(xml, "\"PolynomeOrder\">2", std::string("\"PolynomeOrder\">") + order);
    EXPECT_FALSE(test::ReadXml(other, &read, "P")) << order;
  }
}

TEST(LeastSquaresPolynomialApproximation, FitsOrLeavesThePolynomial) {
  std::vector<double> x;
  std::vector<double> y;
  const TPolynome truth = Of({0.5, -1, 2, 0.25});
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (int i = 0; i < 50; ++i) {
    x.push_back(uniform(random));
    y.push_back(truth.GetValue(x.back()));
  }
  TLeastSquaresPolynomialApproximation fit(3);
  ASSERT_TRUE(fit.Build(x.size(), x.data(), y.data()));
  EXPECT_TRUE(fit.ApproximatelyEqual(truth, 1e-12));
  const TInterpolation& function = fit;
  EXPECT_NEAR(function.GetValue(0.3), truth.GetValue(0.3), 1e-13);
  // A fit, not an interpolation: the mean of what stands at one place.
  double twice[] = {0.1, 0.1, 0.7};
  double values[] = {1.0, 3.0, 5.0};
  TLeastSquaresPolynomialApproximation line(1);
  ASSERT_TRUE(line.Build(3, twice, values));
  EXPECT_NEAR(line.GetValue(0.1), 2.0, 1e-13);

  const TPolynome before = fit;
  double same[] = {0.1, 0.1, 0.1, 0.1, 0.7, 0.9};
  EXPECT_FALSE(fit.Build(6, same, y.data()));
  EXPECT_FALSE(fit.Build(3, x.data(), y.data()));
  y[9] = 1.0 / 0.0;
  EXPECT_FALSE(fit.Build(x.size(), x.data(), y.data()));
  EXPECT_EQ(fit, before);
  EXPECT_THROW(fit.Reset(-1), const char*);
  EXPECT_FALSE(fit.Build(x.size(), x.data(), y.data()));
  EXPECT_THROW(TLeastSquaresPolynomialApproximation(-1), const char*);
}

}  // namespace
