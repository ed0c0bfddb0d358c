#include "kelvane/numeric/normal_equations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::BitsOf;
using test::RuntimeErrorOf;
using test::ValuesOf;

// More than a product works off together.
constexpr std::size_t Observations = 100;
constexpr std::size_t Unknowns = 39;
constexpr std::size_t Others = 9;

class NormalEquations : public testing::Test {
 protected:
  TMatrix Random(std::size_t width, std::size_t height) {
    return test::Filled(width, height, [this] { return uniform_(random_); });
  }

  std::mt19937_64 random_{5};
  std::uniform_real_distribution<double> uniform_{-1.0, 1.0};
  TMatrix a_ = Random(Unknowns, Observations);
  TMatrix b_ = Random(Others, Observations);
  TVector w_ = Random(1, Observations)(0);
  TVector l_ = Random(1, Observations)(0);
};

TEST_F(NormalEquations, SumInTheOrderOfTheObservations) {
  TMatrix n("N");
  TMatrix c("C");
  TVector u;
  ASSERT_TRUE(NormalEquationsMatrix(a_, w_, &n));
  ASSERT_TRUE(NormalEquationsSubMatrix(a_, w_, b_, &c));
  ASSERT_TRUE(NormalEquationsFreeTerm(a_, l_, w_, &u));
  EXPECT_EQ(n.name, "N");
  const auto A = [&](auto column, auto k) { return a_.GetElement(column, k); };
  const auto square = test::Sums(Unknowns, Unknowns, Observations, [&](auto i, auto j, auto k) {
    return w_[k] * A(std::max(i, j), k) * A(std::min(i, j), k);
  });
  const auto mixed = test::Sums(Others, Unknowns, Observations, [&](auto i, auto j, auto k) {
    return w_[k] * A(i, k) * b_.GetElement(j, k);
  });
  const auto free =
      test::Sums(1, Unknowns, Observations, [&](auto i, auto, auto k) { return A(i, k) * (l_[k] * w_[k]); });
  EXPECT_EQ(BitsOf(n), BitsOf(square));
  ASSERT_EQ(c.width, Others);
  EXPECT_EQ(BitsOf(c), BitsOf(mixed));
  EXPECT_EQ(BitsOf(u), BitsOf(free));
}

TEST_F(NormalEquations, TheOutputMayBeAnInput) {
  TMatrix n("");
  ASSERT_TRUE(NormalEquationsMatrix(a_, w_, &n));
  TMatrix a = a_;
  ASSERT_TRUE(NormalEquationsMatrix(a, w_, &a));
  EXPECT_EQ(BitsOf(a), BitsOf(n));
  TVector u;
  TVector w = w_;
  ASSERT_TRUE(NormalEquationsFreeTerm(a_, l_, w_, &u));
  ASSERT_TRUE(NormalEquationsFreeTerm(a_, l_, w, &w));
  EXPECT_EQ(BitsOf(w), BitsOf(u));
}

TEST_F(NormalEquations, FailuresLeaveTheOutput) {
  TMatrix out(1);
  TVector u(4, 2, 1);
  const TVector less = w_.GetSubVector(1, Observations - 1);
  for (const TMatrix& empty : {TMatrix(0, Observations), TMatrix(5, 0)}) {
    const TVector w(empty.height);
    EXPECT_FALSE(NormalEquationsMatrix(empty, w, &out));
    EXPECT_FALSE(NormalEquationsFreeTerm(empty, w, w, &u));
    EXPECT_FALSE(NormalEquationsSubMatrix(empty, w, b_, &out));
  }
  EXPECT_FALSE(NormalEquationsMatrix(a_, less, &out) || NormalEquationsSubMatrix(a_, less, b_, &out));
  EXPECT_FALSE(NormalEquationsFreeTerm(a_, less, w_, &u) || NormalEquationsFreeTerm(a_, w_, less, &u));
  EXPECT_FALSE(NormalEquationsSubMatrix(a_, w_, TMatrix(0, Observations), &out));
  EXPECT_FALSE(NormalEquationsSubMatrix(a_, w_, TMatrix(3, Observations + 1), &out));

  TMatrix ragged = a_;
  ragged.rows[Observations - 1].Clip(2);
  EXPECT_EQ(RuntimeErrorOf([&] { NormalEquationsMatrix(ragged, w_, &out); }), test::IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { NormalEquationsFreeTerm(ragged, l_, w_, &u); }), test::IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { NormalEquationsSubMatrix(a_, w_, ragged, &out); }), test::IndexError);
  EXPECT_EQ(ValuesOf(out), test::Values{1.0});
  EXPECT_EQ(ValuesOf(u), (test::Values{4, 2, 1}));
}

}  // namespace
