#include "kelvane/transforms/affine_2d.h"

#include <gtest/gtest.h>

#include <string>

#include "kelvane/module/module.h"
#include "kelvane/transforms/affine_transform_2d.h"
#include "tests/support/errors.h"
#include "tests/support/failing_ini.h"

namespace {

using namespace SatCommonUtils;

constexpr T2DAffineParams Skewed = {1.5, -0.25, 100.0, 0.5, 2.0, -7.0};

bool Same(const T2DAffineParams& a, const T2DAffineParams& b) {
  return a.A1 == b.A1 && a.A2 == b.A2 && a.A3 == b.A3 && a.B1 == b.B1 && a.B2 == b.B2 && a.B3 == b.B3;
}

T2DAffineParams Parameters(const T2DAffineTransform& transform) {
  T2DAffineParams params;
  transform.GetParameters(&params);
  return params;
}

TEST(AffineParams, InverseUndoesTheMap) {
  T2DAffineParams inverse;
  ASSERT_TRUE(Invert2DAffineParams(Skewed, &inverse));
  T2DAffineParams both;
  Combine2DAffineParams(Skewed, inverse, &both);
  for (const double T2DAffineParams::*turn :
       {&T2DAffineParams::A1, &T2DAffineParams::A2, &T2DAffineParams::B1, &T2DAffineParams::B2}) {
    EXPECT_NEAR(both.*turn, T2DAffineParams().*turn, 1e-15);
  }
  EXPECT_NEAR(both.A3, 0.0, 1e-13);
  EXPECT_NEAR(both.B3, 0.0, 1e-13);

  // To the bit: the constant terms are those of the map, not of the inverse's factors.
  ASSERT_TRUE(Invert2DAffineParams({1.5, -0.25, 100.1, 0.5, 2.1, -7.3}, &both));
  EXPECT_TRUE(Same(both, {0x1.484e2afe0bb9ap-1, 0x1.38abf82ee6986p-4, -0x1.fd083527798d1p+5,
                          -0x1.38abf82ee6986p-3, 0x1.d501f44659e49p-2, 0x1.2a03e88cb3c94p+4}));

  T2DAffineParams in_place = Skewed;
  ASSERT_TRUE(Invert2DAffineParams(in_place, &in_place));
  EXPECT_TRUE(Same(in_place, inverse));
}

TEST(AffineParams, SmallestDeterminantIsRefused) {
  T2DAffineParams params = {0.0, 1.0, 0.0, 1e-20, 0.0, 0.0};
  T2DAffineParams kept = Skewed;
  EXPECT_FALSE(Invert2DAffineParams(params, &kept));
  EXPECT_TRUE(Same(kept, Skewed));
  params.B1 = 1e-19;
  EXPECT_TRUE(Invert2DAffineParams(params, &kept));
}

TEST(AffineParams, FirstIsAppliedFirst) {
  const T2DAffineParams shift = {1.0, 0.0, 10.0, 0.0, 1.0, 20.0};
  const T2DAffineParams doubled = {2.0, 0.0, 0.0, 0.0, 2.0, 0.0};
  T2DAffineParams result = shift;
  Combine2DAffineParams(result, doubled, &result);
  EXPECT_TRUE(Same(result, {2.0, 0.0, 20.0, 0.0, 2.0, 40.0}));
}

TEST(AffineTransform, IsMadeByTheHost) {
  Init_Kelvane();
  const std::string xml = test::SavedXml([](TKaXIniWriter* writer) {
    T2DAffineTransform(Skewed).SaveContent(writer);
    return true;
  });
  var_a<TKa2DTransform*> made = TKa2DTransform::TSerializer::CreateByName("sat_affine");
  ASSERT_TRUE(made);
  TKaXIniStreamReader reader = test::XmlReader(xml);
  made->LoadContent(&reader);
  Deinit_Kelvane();

  EXPECT_STREQ(made->GetContentName(), "sat_affine");
  EXPECT_EQ(made->GetTransformTime(true), 1.0);
  EXPECT_FALSE(made->GetMatrix(nullptr));
  const xy_d to = made->CreateCopy()->GetTraCoord({3.0, 4.0});
  EXPECT_EQ(to.x, 1.5 * 3.0 - 0.25 * 4.0 + 100.0);
  EXPECT_EQ(to.y, 0.5 * 3.0 + 2.0 * 4.0 - 7.0);
  xy_d at = {3.0, 4.0};
  const T2DAffineTransform direct(Skewed);
  direct.DirectTransform(at.x, at.y, &at.x, &at.y);
  EXPECT_TRUE(at.x == to.x && at.y == to.y) << "in one place";
  direct.InverseTransform(at.x, at.y, &at.x, &at.y);
  EXPECT_NEAR(at.x, 3.0, 1e-13);
  for (const xy_d back : {made->GetInverseTraCoord(to), made->CreateInverseTransform()->GetTraCoord(to)}) {
    EXPECT_NEAR(back.x, 3.0, 1e-13);
    EXPECT_NEAR(back.y, 4.0, 1e-13);
  }
}

TEST(AffineTransform, TakesAStoredInverseAsItStands) {
  const auto read = [](bool with_inverse, const T2DAffineParams& inverse = {}) {
    const std::string xml = test::SavedXml([&](TKaXIniWriter* writer) {
      return SaveToXML(Skewed, writer, "Direct2DAffineTransform") &&
             (!with_inverse || SaveToXML(inverse, writer, "Inverse2DAffineTransform"));
    });
    TKaXIniStreamReader reader = test::XmlReader(xml);
    return T2DAffineTransform(&reader);
  };
  EXPECT_EQ(read(true).GetInverseTraCoord({5.0, 6.0}).x, 5.0);
  EXPECT_EQ(read(false).GetInverseTraCoord({5.0, 6.0}).x,
            T2DAffineTransform(Skewed).GetInverseTraCoord({5.0, 6.0}).x);
  const T2DAffineTransform flat = read(true, {1.0, 1.0, 0.0, 1.0, 1.0, 0.0});
  EXPECT_EQ(test::RuntimeErrorOf([&] { flat.CreateInverseTransform(); }),
            "T2DAffineTransform::T2DAffineTransform(const T2DAffineParams& src)");
}

TEST(AffineTransform, FailuresCarryTheirTexts) {
  constexpr T2DAffineParams flat = {1.0, 1.0, 0.0, 1.0, 1.0, 0.0};
  TKaXIniStreamReader empty = test::XmlReader(test::SavedXml([](TKaXIniWriter*) { return true; }));
  EXPECT_EQ(test::RuntimeErrorOf([&] { T2DAffineTransform transform(flat); }),
            "T2DAffineTransform::T2DAffineTransform(const T2DAffineParams& src)");
  EXPECT_EQ(test::RuntimeErrorOf([&] { T2DAffineTransform transform(&empty); }),
            "T2DAffineTransform::T2DAffineTransform(TKaXIniReader *src))");
  EXPECT_EQ(test::RuntimeErrorOf([&] { T2DAffineTransform transform(&empty, "Key"); }),
            "T2DAffineTransform::T2DAffineTransform(TKaXIniReader *src, std::string key)");
  EXPECT_EQ(test::RuntimeErrorOf([&] { T2DAffineTransform().LoadContent(&empty); }),
            "void T2DAffineTransform::LoadContent( TKaXIniReader *ini)");
  test::FailingWriter writer(0);
  EXPECT_EQ(test::RuntimeErrorOf([&] { T2DAffineTransform().SaveContent(&writer); }),
            "void T2DAffineTransform::SaveContent( TKaXIniWriter *ini) const");
  T2DAffineTransform kept(Skewed);
  EXPECT_FALSE(kept.Initialize(flat));
  EXPECT_TRUE(Same(Parameters(kept), Skewed));
}

}  // namespace
