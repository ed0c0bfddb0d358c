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

constexpr std::size_t Observations = 9;

class NormalEquations : public testing::Test {
 protected:
  TMatrix Random(std::size_t width, std::size_t height) {
    return test::Filled(width, height, [this] { return uniform_(random_); });
  }

  std::mt19937_64 random_{5};
  std::uniform_real_distribution<double> uniform_{-1.0, 1.0};
  TMatrix a_ = Random(5, Observations);
  TMatrix b_ = Random(3, Observations);
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
  ASSERT_EQ(c.width, 3U);
  ASSERT_EQ(c.height, 5U);
  for (std::size_t i = 0; i < 5; ++i) {
    double free = 0.0;
    for (std::size_t k = 0; k < Observations; ++k) free += a_.GetElement(i, k) * (l_[k] * w_[k]);
    EXPECT_EQ(u[i], free);
    for (std::size_t j = 0; j < 5; ++j) {
      double square = 0.0;
      double mixed = 0.0;
      for (std::size_t k = 0; k < Observations; ++k) {
        square += w_[k] * a_.GetElement(std::max(i, j), k) * a_.GetElement(std::min(i, j), k);
        if (j < 3) mixed += w_[k] * a_.GetElement(i, k) * b_.GetElement(j, k);
      }
      EXPECT_EQ(n.GetElement(i, j), square);
      if (j < 3) {
        EXPECT_EQ(c.GetElement(j, i), mixed);
      }
    }
  }
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
  EXPECT_FALSE(NormalEquationsMatrix(a_, less, &out));
  EXPECT_FALSE(NormalEquationsFreeTerm(a_, less, w_, &u));
  EXPECT_FALSE(NormalEquationsFreeTerm(a_, w_, less, &u));
  EXPECT_FALSE(NormalEquationsSubMatrix(a_, less, b_, &out));
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
