#include "kelvane/numeric/sparse_vector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "tests/support/matrices.h"

namespace {

using SatCommonUtils::TSparseVector;
using test::Values;

Values Dense(const TSparseVector& v) {
  Values all;
  for (std::size_t i = 0; i < v.Size(); ++i) all.push_back(v(i));
  return all;
}

TEST(SparseVector, StoresWhatIsNotZero) {
  double values[] = {0.0, std::nan(""), -0.0, 4.0};
  EXPECT_EQ(TSparseVector(4, values).Elements().size(), 2U);
  EXPECT_EQ(Dense(TSparseVector(3, 0)), (Values{1, 0, 0}));
  EXPECT_EQ(TSparseVector("(;a)").Size(), 0U);
  TSparseVector v("(0;2; 0;-1e0)");
  EXPECT_EQ(Dense(v += 1.0), (Values{0, 3, 0, 0}));
  v[2];
  EXPECT_EQ(v.Elements().size(), 3U);
  v.Compress();
  EXPECT_EQ(v.Elements().size(), 1U);
  v[0] = 6.0;
  EXPECT_EQ(Dense(v /= v[0]), (Values{1, 0.5, 0, 0}));
  EXPECT_EQ(Dense(-(v *= 4.0)), (Values{-4, -2, 0, 0}));
  EXPECT_EQ(Dense(v -= v[0]), (Values{0, -2, 0, 0}));
}

TEST(SparseVector, IsCutAndJoined) {
  TSparseVector v("(1;2;3)");
  EXPECT_EQ(Dense(v.GetSubVector(1, 2)), (Values{2, 3}));
  EXPECT_EQ(v.GetSubVector(0, 2).Elements(), (std::map<std::size_t, double>{{0, 1.0}, {1, 2.0}}));
  EXPECT_EQ(v.GetSubVector(9, 0).Size(), 0U);
  v.InsertSubVector(1, TSparseVector("(7;0)"));
  EXPECT_EQ(Dense(v), (Values{1, 7, 0, 2, 3}));
  v.InsertSubVector(5, v);
  EXPECT_EQ(Dense(v), (Values{1, 7, 0, 2, 3, 1, 7, 0, 2, 3}));
  v.Resize(2);
  v.Resize(4);
  v[3] = 0.0;
  v.InsertSubVector(0, TSparseVector());
  EXPECT_EQ(Dense(v), (Values{1, 7, 0, 0}));
  EXPECT_EQ(v.Elements().size(), 2U);
  v.Reset(1);
  EXPECT_EQ(Dense(v), (Values{0}));
  TSparseVector w("(1;2;3)");
  v = w;
  w = std::move(v);
  EXPECT_EQ(Dense(w), (Values{1, 2, 3}));
  EXPECT_EQ(v.Size() + v.Elements().size(), 0U);  // NOLINT(bugprone-use-after-move)
}

TEST(SparseVector, IndicesAndRangesAreChecked) {
  constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();
  constexpr char index[] = "double& TSparseVector::operator[](size_t index)";
  constexpr char part[] = "TSparseVector TSparseVector::GetSubVector(size_t first_pos, size_t length) const";
  constexpr char room[] = "void TSparseVector::InsertSubVector(size_t begin_pos, const TSparseVector& what)";
  constexpr char unit[] = "TSparseVector::TSparseVector(size_t size, size_t pos)";
  using test::RuntimeErrorOf;
  TSparseVector v("(1;2;3)");
  EXPECT_EQ(RuntimeErrorOf([] { TSparseVector(3, 3); }), unit);
  EXPECT_EQ(RuntimeErrorOf([&] { v(3); }), index);
  EXPECT_EQ(RuntimeErrorOf([&] { v[3] = 1.0; }), index);
  EXPECT_EQ(RuntimeErrorOf([&] { v.GetSubVector(2, 2); }), part);
  EXPECT_EQ(RuntimeErrorOf([&] { v.GetSubVector(largest, 2); }), part);
  EXPECT_EQ(RuntimeErrorOf([&] { v.InsertSubVector(4, v); }), room);
  EXPECT_EQ(RuntimeErrorOf([&] { v.InsertSubVector(0, TSparseVector(largest)); }), room);
  EXPECT_EQ(Dense(v), (Values{1, 2, 3}));
}

}  // namespace
