#include "kelvane/numeric/sparse_vector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/support/matrices.h"

namespace {

using SatCommonUtils::TSparseVector;
using test::Values;

Values Dense(const TSparseVector& v) {
  Values all;
  for (std::size_t i = 0; i < v.Size(); ++i) all.push_back(v(i));
  return all;
}

constexpr std::size_t Largest = std::numeric_limits<std::size_t>::max();

TEST(SparseVector, StoresWhatIsNotZero) {
  double values[] = {0.0, std::nan(""), -0.0, 4.0};
  const TSparseVector v(4, values);
  EXPECT_EQ(v.Elements().size(), 2U);
  EXPECT_TRUE(std::isnan(v(1)));
  EXPECT_EQ(Dense(TSparseVector(3, 0)), (Values{1, 0, 0}));
  EXPECT_EQ(Dense(TSparseVector("(0;-2.5; 0;1e3)")), (Values{0, -2.5, 0, 1000}));
  EXPECT_EQ(TSparseVector("(0;-2.5)").Elements().size(), 1U);
  EXPECT_EQ(TSparseVector("(;a)").Size(), 0U);
  EXPECT_EQ(TSparseVector(Largest)(Largest - 1), 0.0);
}

TEST(SparseVector, ArithmeticLeavesZerosAlone) {
  TSparseVector v("(0;2;0;-1)");
  EXPECT_EQ(Dense(v += 1.0), (Values{0, 3, 0, 0}));
  EXPECT_EQ(v.Elements().size(), 2U);
  v[2];
  EXPECT_EQ(v.Elements().size(), 3U);
  v.Compress();
  EXPECT_EQ(v.Elements().size(), 1U);
  v[0] = 6.0;
  EXPECT_EQ(Dense(v /= v[1]), (Values{2, 1, 0, 0}));
  EXPECT_EQ(Dense(-(v *= v[0])), (Values{-4, -2, 0, 0}));
  EXPECT_EQ(Dense(v -= v[0]), (Values{0, -2, 0, 0}));
}

TEST(SparseVector, IsCutAndJoined) {
  TSparseVector v("(1;2;3)");
  EXPECT_EQ(Dense(v.GetSubVector(1, 2)), (Values{2, 3}));
  EXPECT_EQ(v.GetSubVector(9, 0).Size(), 0U);
  TSparseVector joined = v;
  joined.InsertSubVector(1, TSparseVector("(7;0)"));
  EXPECT_EQ(Dense(joined), (Values{1, 7, 0, 2, 3}));
  joined[2] = 0.0;
  joined.InsertSubVector(5, TSparseVector());
  EXPECT_EQ(joined.Elements().size(), 4U);
  v.InsertSubVector(1, v);
  EXPECT_EQ(Dense(v), (Values{1, 1, 2, 3, 2, 3}));
  v.InsertSubVector(6, TSparseVector(2, 1));
  EXPECT_EQ(Dense(v), (Values{1, 1, 2, 3, 2, 3, 0, 1}));
  v.Resize(2);
  v.Resize(4);
  EXPECT_EQ(Dense(v), (Values{1, 1, 0, 0}));
  v.Reset(2);
  EXPECT_EQ(Dense(v), (Values{0, 0}));
}

TEST(SparseVector, IndicesAndRangesAreChecked) {
  TSparseVector v("(1;2;3)");
  const std::string index = "double& TSparseVector::operator[](size_t index)";
  const std::string part = "TSparseVector TSparseVector::GetSubVector(size_t first_pos, size_t length) const";
  const std::string insertion =
      "void TSparseVector::InsertSubVector(size_t begin_pos, const TSparseVector& what)";
  using test::RuntimeErrorOf;
  EXPECT_EQ(RuntimeErrorOf([] { TSparseVector(3, 3); }),
            "TSparseVector::TSparseVector(size_t size, size_t pos)");
  EXPECT_EQ(RuntimeErrorOf([&] { v(3); }), index);
  EXPECT_EQ(RuntimeErrorOf([&] { v[3] = 1.0; }), index);
  EXPECT_EQ(RuntimeErrorOf([&] { v.GetSubVector(2, 2); }), part);
  EXPECT_EQ(RuntimeErrorOf([&] { v.GetSubVector(Largest, 2); }), part);
  EXPECT_EQ(RuntimeErrorOf([&] { v.InsertSubVector(4, v); }), insertion);
  EXPECT_EQ(RuntimeErrorOf([&] { v.InsertSubVector(0, TSparseVector(Largest)); }), insertion);
  EXPECT_EQ(Dense(v), (Values{1, 2, 3}));
}

}  // namespace
