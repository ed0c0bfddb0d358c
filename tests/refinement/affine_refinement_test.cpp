#include "kelvane/refinement/affine_refinement.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/refinement/refinement_testing.h"

namespace {

using namespace SatCommonUtils;
using test::Values;
using test::XmlOf;

const TRPCRefinementDataAffine Skewed = {test::Skewed};
const TRPCRefinementDataAffine Flat = {test::Flat};

TEST(AffineRefinement, TellsUnityAndBiasExactly) {
  const std::tuple<TRPCRefinementDataAffine, bool, bool> cases[] = {
      {{}, true, true},
      {{7.0, 1.0, 0.0, -2.0, 0.0, 1.0}, false, true},
      {{1e-300, 1.0, 0.0, 0.0, 0.0, 1.0}, false, true},
      {{0.0, 1.0, 1e-9, 0.0, 0.0, 1.0}, false, false},
      {{0.0, 1.0, 0.0, 0.0, 1e-9, 1.0 + 1e-15}, false, false},
      {{0.0, 1.0 - 1e-15, 0.0, 0.0, 0.0, 1.0}, false, false},
  };
  for (const auto& [data, unity, bias] : cases) {
    EXPECT_EQ(data.IsUnity(), unity) << XmlOf(data);
    EXPECT_EQ(data.IsBias(), bias) << XmlOf(data);
  }
}

TEST(AffineRefinement, CorrectsBothWays) {
  const std::tuple<TRPCRefinementDataAffine, Values, Values> cases[] = {
      {{5.0, 1.0, 0.0, -3.0, 0.0, 1.0}, {100.0, 200.0}, {105.0, 197.0}},
      {{10.0, 2.0, 0.0, 0.0, 0.0, 2.0}, {5.0, 2.0}, {20.0, 4.0}},
      {{1.0, 0.0, 4.0, 2.0, 0.5, 0.0}, {8.0, 3.0}, {13.0, 6.0}},
  };
  for (const auto& [data, raw, refined] : cases) {
    const TRPCRefinementAffine refinement(data);
    Values at = raw;
    refinement.RawToRefined(at[0], at[1], &at[0], &at[1]);
    EXPECT_EQ(at, refined);
    refinement.RefinedToRaw(at[0], at[1], &at[0], &at[1]);
    EXPECT_EQ(at, raw);
  }
  TRPCRefinementAffine refused(Skewed);
  TRPCRefinementAffine expected(Skewed);
  expected.SetRawToRefinedCoefs(Flat);
  EXPECT_FALSE(refused.Setup(Flat));
  EXPECT_EQ(XmlOf(refused), XmlOf(expected));
  refused.Reset();
  EXPECT_EQ(XmlOf(refused), XmlOf(TRPCRefinementAffine()));
  EXPECT_TRUE(refused.CalculateRefinedToRawCoefs()) << "only a singular correction has no way back";
  EXPECT_EQ(test::RuntimeErrorOf([] { TRPCRefinementAffine made(Flat); }),
            "TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine& src)");
}

TEST(AffineRefinement, AStoredInverseStandsForOneThatThereIsNot) {
  TRPCRefinementAffine read;
  TRPCRefinementAffine flat;
  flat.SetRawToRefinedCoefs(Flat);
  EXPECT_TRUE(test::ReadXml(XmlOf(flat), &read));
  EXPECT_FALSE(test::ReadXml(test::Replaced(XmlOf(flat), "RefinedToRaw", "Other"), &read));
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
