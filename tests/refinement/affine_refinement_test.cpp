#include "kelvane/refinement/affine_refinement.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;

constexpr double Max = 1.7976931348623157e308;

test::Values ValuesOf(const TAffineCorrection& c) {
  return {c.LineBias, c.LineDrift, c.LineTilt, c.SampleBias, c.SampleDrift, c.SampleTilt};
}

template <class Object>
std::string Xml(const Object& object) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return object.SaveToXML(writer); });
}

template <class Object>
bool Read(const std::string& xml, Object* object) {
  TKaXIniStreamReader reader = test::XmlReader(xml);
  return object->InitializeFromXML(&reader);
}

test::Values Forward(const TRPCRefinementAffine& refinement) {
  TRPCRefinementDataAffine data;
  refinement.GetRefinementData(&data);
  return ValuesOf(data);
}

test::Values Backward(const TRPCRefinementAffine& refinement) {
  TRPCRefinementDataAffine data;
  refinement.GetRefinedToRawCoefs(&data);
  return ValuesOf(data);
}

const TRPCRefinementDataAffine Skewed = {5.0, 1.0 + 1e-7, -1.0 / 3.0, -0.0, 5e-324, 2.0};
const TRPCRefinementDataAffine Flat = {1.0, 2.0, 1.0, 1.0, 4.0, 2.0};

TEST(AffineRefinement, TellsUnityAndBiasExactly) {
  const struct {
    TRPCRefinementDataAffine data;
    bool unity;
    bool bias;
  } cases[] = {
      {{}, true, true},
      {{7.0, 1.0, 0.0, -2.0, 0.0, 1.0}, false, true},
      {{1e-300, 1.0, 0.0, 0.0, 0.0, 1.0}, false, true},
      {{0.0, 1.0, 1e-9, 0.0, 0.0, 1.0}, false, false},
      {{0.0, 1.0, 0.0, 0.0, -1e-9, 1.0}, false, false},
      {{0.0, 1.0, 0.0, 0.0, 0.0, 1.0 + 1e-15}, false, false},
      {{0.0, 1.0 - 1e-15, 0.0, 0.0, 0.0, 1.0}, false, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.data.IsUnity(), c.unity) << Xml(c.data);
    EXPECT_EQ(c.data.IsBias(), c.bias) << Xml(c.data);
  }
}

TEST(AffineRefinement, CorrectsBothWays) {
  const struct {
    TRPCRefinementDataAffine data;
    double raw[2];
    double refined[2];
  } cases[] = {
      {{5.0, 1.0, 0.0, -3.0, 0.0, 1.0}, {100.0, 200.0}, {105.0, 197.0}},
      {{10.0, 2.0, 0.0, 0.0, 0.0, 2.0}, {5.0, 2.0}, {20.0, 4.0}},
      {{1.0, 0.0, 4.0, 2.0, 0.5, 0.0}, {8.0, 3.0}, {13.0, 6.0}},
  };
  for (const auto& c : cases) {
    const TRPCRefinementAffine refinement(c.data);
    double at[] = {c.raw[0], c.raw[1]};
    refinement.RawToRefined(at[0], at[1], &at[0], &at[1]);
    EXPECT_EQ(at[0], c.refined[0]);
    EXPECT_EQ(at[1], c.refined[1]);
    refinement.RefinedToRaw(at[0], at[1], &at[0], &at[1]);
    EXPECT_EQ(at[0], c.raw[0]);
    EXPECT_EQ(at[1], c.raw[1]);
  }
}

TEST(AffineRefinement, WhatHasNoInverseIsRefused) {
  TRPCRefinementAffine refinement(Skewed);
  const test::Values back = Backward(refinement);
  EXPECT_FALSE(refinement.Setup(Flat));
  EXPECT_EQ(Forward(refinement), ValuesOf(Flat));
  EXPECT_EQ(Backward(refinement), back);
  refinement.Reset();
  EXPECT_FALSE(refinement.CalculateRefinedToRawCoefs());
  EXPECT_EQ(Forward(refinement), test::Values(6, Max));
  EXPECT_EQ(Backward(refinement), test::Values(6, Max));
  EXPECT_EQ(test::RuntimeErrorOf([] { TRPCRefinementAffine made(Flat); }),
            "TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine& src)");
}

TEST(AffineRefinement, RecordNeedsAllItsKeys) {
  const std::string xml = Xml(Skewed);
  TRPCRefinementDataAffine data;
  ASSERT_TRUE(Read(xml, &data));
  EXPECT_EQ(Xml(data), xml);
  EXPECT_EQ(Xml(*data.CreateCopyN()), xml);

  data = TRPCRefinementDataAffine();
  data.SampleTilt = 9.0;
  EXPECT_FALSE(Read(test::Replaced(xml, "SampleTilt", "Other"), &data));
  test::Values expected = ValuesOf(Skewed);
  expected.back() = 9.0;
  EXPECT_EQ(ValuesOf(data), expected);
  EXPECT_EQ(test::ReportedWrites([](TKaXIniWriter* writer) { return Skewed.SaveToXML(writer); }), 6);
}

TEST(AffineRefinement, StoredInverseIsTakenAsItStands) {
  TRPCRefinementAffine odd(Skewed);
  odd.SetRefinedToRawCoefs(Flat);
  const std::string xml = Xml(odd);
  TRPCRefinementAffine read;
  ASSERT_TRUE(Read(xml, &read));
  EXPECT_EQ(Xml(read), xml);
  EXPECT_EQ(test::ReportedWrites([&](TKaXIniWriter* writer) { return odd.SaveToXML(writer); }), 16);

  // Entering, leaving, and two operations a key: what fails in the second section leaves the inverse
  // computed.
  for (int failing = 0; failing < 28; ++failing) {
    test::FailingReader reader(xml, failing);
    TRPCRefinementAffine half_read;
    EXPECT_EQ(half_read.InitializeFromXML(&reader), failing >= 14) << failing;
    EXPECT_EQ(Forward(half_read), failing < 14 ? test::Values(6, Max) : ValuesOf(Skewed)) << failing;
    if (failing >= 14) {
      EXPECT_EQ(Backward(half_read), Backward(TRPCRefinementAffine(Skewed))) << failing;
    }
  }

  TRPCRefinementAffine flat;
  flat.SetRawToRefinedCoefs(Flat);
  EXPECT_TRUE(Read(Xml(flat), &read));
  EXPECT_FALSE(Read(test::Replaced(Xml(flat), "RefinedToRaw", "Other"), &read));
}

TEST(AffineRefinement, PrintsItself) {
  const TRPCRefinementDataAffine data = {1.5, 2.0, 3.0, -4.0, 5e-10, 6.0};
  EXPECT_EQ(
      test::DebugTextOf([&] { data.DebugOutput(); }),
      "-------------------------------------------#LineBias      1.5#LineDrift     2#LineTilt      3#"
      "- - - - - - - - - - - - - - - - - - - - - -#SampleBias    -4#SampleDrift   5e-10#SampleTilt    6#"
      "-------------------------------------------#");
}

}  // namespace
