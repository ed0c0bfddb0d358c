#include "kelvane/rpc/footprint.h"

#include <gtest/gtest.h>

#include <cmath>

#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/model_difference.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

TEST(Footprint, CornersProjectToTheImagesCorners) {
  TRPCData data = test::SampleRecord("worldview3.RPB");
  std::array<TGroundPosition, 4> corners;
  ASSERT_TRUE(CalculateFootprint(TRPC(data, nullptr), &corners));
  const double signs[4][2] = {{-1, -1}, {-1, 1}, {1, 1}, {1, -1}};
  for (std::size_t i = 0; i < 4; ++i) {
    const test::ImagePoint seen =
        test::Projected(data, corners[i].Latitude, corners[i].Longitude, data.HeightOffset);
    EXPECT_NEAR(static_cast<double>(seen.line), data.LineOffset + signs[i][0] * data.LineScale, 1e-6);
    EXPECT_NEAR(static_cast<double>(seen.sample), data.SampleOffset + signs[i][1] * data.SampleScale, 1e-6);
  }
  // Longitudes stay within half a turn.
  data.LongitudeOffset = 180.0;
  ASSERT_TRUE(CalculateFootprint(TRPC(data, nullptr), &corners));
  EXPECT_NEAR(corners[0].Longitude, 179.98, 0.01);
  EXPECT_NEAR(corners[1].Longitude, -179.98, 0.01);
}

TEST(Footprint, PixelSizeOnTheGround) {
  // A north-up image at the equator, a hundred pixels a degree: the meridian's and the equator's degree.
  TRPCData data = test::IdentityRecord();
  data.LineScale = -100.0;
  data.SampleScale = 100.0;
  TGroundSampleDistance distance;
  ASSERT_TRUE(CalculateGroundSampleDistance(TRPC(data, nullptr), &distance));
  EXPECT_NEAR(distance.Line, 1105.7427, 1e-3);
  EXPECT_NEAR(distance.Sample, 1113.1949, 1e-3);
}

TEST(Footprint, AModelWithoutGroundSaysSo) {
  TRPCData data = test::IdentityRecord();
  data.SampleNum[1] = 0.0;  // every ground point has sample 0
  std::array<TGroundPosition, 4> corners;
  TGroundSampleDistance distance;
  TRPCData no_number = data;
  no_number.LineNum[2] = std::nan("");
  for (const TRPC& model : {TRPC(data, nullptr), TRPC(no_number, nullptr), TRPC()}) {
    EXPECT_FALSE(CalculateFootprint(model, &corners) || CalculateGroundSampleDistance(model, &distance));
  }
}

TEST(ModelDifference, IsTheLargestWithinTheImage) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  TRPCData moved = data;
  moved.LineOffset += 3.0;
  moved.SampleOffset -= 4.0;
  const TRPC model(data, nullptr);
  EXPECT_EQ(CalculateMaxImageDifference(model, model), 0.0);
  EXPECT_NEAR(CalculateMaxImageDifference(model, TRPC(moved, nullptr)), 5.0, 1e-9);
  // Far above the image the two differ more, but nobody looks there.
  TRPCData identity = test::IdentityRecord();
  identity.LineScale = 0.5;
  identity.LineNum[2] = 2.0;
  TRPCData bent = identity;
  bent.LineNum[15] = 1.0;
  EXPECT_NEAR(CalculateMaxImageDifference(TRPC(identity, nullptr), TRPC(bent, nullptr)),
              0.4 * 0.4 * 0.4 * 0.5, 1e-12);
  EXPECT_NEAR(CalculateMaxCubeDifference(TRPC(identity, nullptr), TRPC(bent, nullptr)), 0.5, 1e-12);
  // Nor does a refinement change where they look.
  const TRPCRefinementDataAffine far = {1e3, 1.0, 0.0, 0.0, 0.0, 1.0};
  EXPECT_NEAR(CalculateMaxImageDifference(TAdjustedRPC(&identity, &far), TAdjustedRPC(&bent, &far)),
              0.4 * 0.4 * 0.4 * 0.5, 1e-12);
  moved.LineNum[0] = std::nan("");
  EXPECT_TRUE(std::isnan(CalculateMaxImageDifference(model, TRPC(moved, nullptr))));
  // Where neither image holds a node, the nodes beside it count.
  TRPCData beside = test::IdentityRecord();
  beside.SampleNum[0] = 5.0;
  TRPCData shifted = beside;
  shifted.LineOffset = 2.0;
  EXPECT_EQ(CalculateMaxImageDifference(TRPC(beside, nullptr), TRPC(shifted, nullptr)), 2.0);
}

}  // namespace
