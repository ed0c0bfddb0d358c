#include "kelvane/numeric/vector.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "kelvane/module/host/message.h"
#include "tests/support/failing_ini.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::Values;
using test::ValuesOf;
using test::Vector;

constexpr double Infinity = std::numeric_limits<double>::infinity();

TEST(Vector, IsMade) {
  double source[] = {1.0, 2.0};
  EXPECT_EQ(TVector(std::size_t{0}).data, nullptr);
  EXPECT_EQ(TVector(0, static_cast<double*>(nullptr)).data, nullptr);
  EXPECT_EQ(ValuesOf(TVector(2)), (Values{0.0, 0.0}));
  EXPECT_EQ(ValuesOf(TVector(2, source)), (Values{1.0, 2.0}));
  EXPECT_EQ(ValuesOf(TVector(3, 2)), (Values{0.0, 0.0, 1.0}));
  EXPECT_EQ(ValuesOf(TVector(1, 2, 3)), (Values{1.0, 2.0, 3.0}));
  EXPECT_EQ(ValuesOf(TVector("(1;x;-2.5e1)")), (Values{1.0, -25.0}));
  EXPECT_THROW(TVector(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

TEST(Vector, FailuresAreOfThreeKinds) {
  EXPECT_EQ(test::ErrorOf<TKaMessage>([] { TVector(3, 3); }),
            "SatCommonUtils::TVector::TVector(size_t, size_t): TVector index error");
  for (const char* text : {"", "()", "abc"}) {
    EXPECT_EQ(test::TextThrownBy([text] { TVector v(text); }), "TVector::TVector(const char* src)");
  }
  TVector v(2);
  EXPECT_EQ(test::RuntimeErrorOf([&v] { v[2] = 1.0; }), test::IndexError);
  EXPECT_EQ(test::RuntimeErrorOf([&v] { return std::as_const(v)[2]; }), test::IndexError);
}

TEST(Vector, CopiesAreDeepAndMovesLeaveNothing) {
  TVector a(1, 2, 3);
  TVector b(a);
  b[0] = 9.0;
  const double* const kept = a.data;
  a = b;
  EXPECT_EQ(a.data, kept);
  a = *&a;
  EXPECT_EQ(ValuesOf(a), (Values{9.0, 2.0, 3.0}));
  b = TVector(5);
  a = b;
  EXPECT_EQ(a.size, 5U);
  b = std::move(a);
  EXPECT_EQ(a.data, nullptr);  // NOLINT(bugprone-use-after-move): stated
  EXPECT_EQ(a.size, 0U);
}

TEST(Vector, ChangesItsSize) {
  TVector v = Vector({1.0, 2.0, 3.0});
  EXPECT_FALSE(v.Clip(0) || v.Clip(4));
  EXPECT_TRUE(v.Clip(3));
  EXPECT_EQ(ValuesOf(v), (Values{1.0, 2.0, 3.0}));
  EXPECT_TRUE(v.Clip(2));
  EXPECT_EQ(ValuesOf(v), (Values{1.0, 2.0}));
  EXPECT_EQ(ValuesOf(v.Reset(2)), (Values{0.0, 0.0}));
  EXPECT_EQ(v.Reset(0).data, nullptr);
}

TEST(Vector, Calculates) {
  const TVector a(1, 2, 3);
  const TVector b(4, 5, 7);
  EXPECT_EQ(ValuesOf(a + b), (Values{5.0, 7.0, 10.0}));
  EXPECT_EQ(ValuesOf(a - b), (Values{-3.0, -3.0, -4.0}));
  EXPECT_EQ(a * b, 35.0);
  EXPECT_EQ(TVector() * a, 0.0);
  EXPECT_EQ(ValuesOf(a ^ b), (Values{-1.0, 5.0, -3.0}));
  EXPECT_EQ(ValuesOf(a | Vector({8.0})), (Values{1.0, 2.0, 3.0, 8.0}));
  EXPECT_EQ(ValuesOf(1.0 + a), ValuesOf(a + 1.0));
  EXPECT_EQ(ValuesOf(a - 1.0), (Values{0.0, 1.0, 2.0}));
  EXPECT_EQ(ValuesOf(2.0 * a), (Values{2.0, 4.0, 6.0}));
  EXPECT_EQ((a / 3.0)[0], 1.0 / 3.0);
  EXPECT_EQ((Vector({49.0}) / 49.0)[0], 1.0);  // not by the reciprocal
  EXPECT_TRUE(std::signbit((-TVector(1))[0]));
  EXPECT_EQ(ValuesOf(b.GetSubVector(1, 2)), (Values{5.0, 7.0}));
  TVector v = b;
  EXPECT_EQ(ValuesOf(v.InsertSubVector(1, a.GetSubVector(0, 2))), (Values{4.0, 1.0, 2.0}));
  EXPECT_EQ(ValuesOf(v.FillWithValue(v[2])), (Values{2.0, 2.0, 2.0}));
  double buffer[] = {7.0, 8.0, 9.0};
  EXPECT_EQ(a.Put2Buffer(buffer), 3U);
  EXPECT_EQ(ValuesOf(v.FillFromBuffer(buffer)), ValuesOf(a));
  const std::unique_ptr<double[]> copy(a.Put2Buffer());
  EXPECT_EQ(copy[2], 3.0);
}

TEST(Vector, Norms) {
  EXPECT_EQ(Vector({-3.0, 2.0}).Norma1(), 3.0);
  EXPECT_EQ(Vector({NAN, -0.5}).Norma1(), 0.5);
  EXPECT_EQ(TVector().Norma1(), -1.0);
  EXPECT_EQ(TVector().Norma(), 0.0);
  EXPECT_EQ(TVector(49, 3, 5).Norma(), 49.345719165901315) << "the root in extended precision";
  EXPECT_EQ(ValuesOf(Vector({3.0, -4.0}).GetNormalized()), (Values{0.6, -0.8}));
  EXPECT_EQ(ValuesOf(TVector(2).Normalize()), (Values{0.0, 0.0}));
  EXPECT_EQ(Vector({5.0, NAN}).Normalize()[0], 5.0);
  EXPECT_TRUE(Vector({0.0, -0.0}).IsNull() && TVector().IsNull());
  EXPECT_FALSE(Vector({1e-300}).IsNull() || Vector({NAN}).IsNull());
}

TEST(Vector, Texts) {
  const TVector v = Vector({1.0, 2.0});
  EXPECT_EQ(v.Output(), "(   1.0000;   2.0000)");
  EXPECT_EQ(v.GetString(), "(1;2)");
  EXPECT_EQ(TVector().Output() + TVector().GetString(), "()()");
  EXPECT_EQ(Vector({0.1}).GetString(), "(0.10000000000000000555)");
  EXPECT_EQ(Vector({-DBL_MAX}).Output().size(), 317U);
  char name[] = "name";
  EXPECT_EQ(test::DebugTextOf([&] {
              v.DebugOutput();
              v.DebugOutput(name);
              v.DebugOutput(std::string());
            }),
            "(   1.0000;   2.0000)#name (   1.0000;   2.0000)\r\n# (   1.0000;   2.0000)\r\n#");
}

TEST(Vector, LivesInXml) {
  const TVector v = Vector({DBL_MAX, -5e-324, -0.0, 1.0 / 3.0, Infinity, -Infinity});
  const std::string xml = test::SavedXml([&v](TKaXIniWriter* writer) {
    return v.SaveToXML(writer, "v") && writer->WriteS("none", "(a;b)") && TVector().SaveToXML(writer, "()");
  });
  TVector read(1, 2, 3);
  for (const char* key : {"absent", "none", "()"}) EXPECT_FALSE(test::ReadXml(xml, &read, key)) << key;
  EXPECT_EQ(ValuesOf(read), (Values{1.0, 2.0, 3.0}));
  ASSERT_TRUE(test::ReadXml(xml, &read, "v"));
  EXPECT_EQ(test::BitsOf(read), test::BitsOf(v));
}

}  // namespace
