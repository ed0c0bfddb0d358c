#include "kelvane/rpc/ground_covariance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "kelvane/geometry/ellipsoid.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

class GroundCovariance : public testing::Test {
 protected:
  std::vector<TRPCCoordsDataItem> Seen(const TRPCEstimationDataItem& at) const {
    std::vector<TRPCCoordsDataItem> items;
    for (const TRPC* const model : {&a_, &b_, &a_}) {
      const TRPCEstimationDataItem seen = test::SeenBy(*model, at);
      items.push_back({model, seen.Line, seen.Sample});
    }
    return items;
  }

  const TRPCData data_ = test::SampleRecord("pleiades_1.xml");
  const TRPC a_{data_, nullptr}, b_{test::SampleRecord("pleiades_2.xml"), nullptr};
  test::GroundCube cube_{data_};
};

/// Metres to the east, to the north and up, by the ellipsoid's own conversion.
void LocalOffset(const TRPCEstimationDataItem& from, const double (&to)[3], double (&offset)[3]) {
  const TEllipsoid earth;
  const double lat = from.Latitude * std::acos(-1.0) / 180.0;
  const double lon = from.Longitude * std::acos(-1.0) / 180.0;
  const T3DPoint d = earth.ToEarthCentred(to[0], to[1], to[2]) -
                     earth.ToEarthCentred(from.Latitude, from.Longitude, from.Height);
  offset[0] = -std::sin(lon) * d.X + std::cos(lon) * d.Y;
  const double outwards = std::cos(lon) * d.X + std::sin(lon) * d.Y;
  offset[1] = -std::sin(lat) * outwards + std::cos(lat) * d.Z;
  offset[2] = std::cos(lat) * outwards + std::sin(lat) * d.Z;
}

TEST_F(GroundCovariance, AgreesWithTheScatterOfNoisyPoints) {
  constexpr int Count = 10000;
  // A third image of other quality pulls as much as the others, and the prediction knows.
  const std::vector<std::vector<double>> cases = {{0.5, 0.5}, {0.3, 1.2, 0.6}};
  std::mt19937_64 random(11);
  std::normal_distribution<double> around(0.0, 1.0);
  for (const std::vector<double>& sigmas : cases) {
    const TRPCEstimationDataItem at = cube_.Anywhere();
    const std::vector<TRPCCoordsDataItem> exact = Seen(at);
    TGroundCovariance predicted;
    ASSERT_TRUE(CalculateGroundCovariance(exact.data(), sigmas.data(), sigmas.size(), at.Latitude,
                                          at.Longitude, at.Height, &predicted));
    double scatter[3][3] = {};
    for (int n = 0; n < Count; ++n) {
      std::vector<TRPCCoordsDataItem> noisy(exact.begin(), exact.begin() + static_cast<int>(sigmas.size()));
      for (std::size_t i = 0; i < noisy.size(); ++i) {
        noisy[i].Line += sigmas[i] * around(random);
        noisy[i].Sample += sigmas[i] * around(random);
      }
      double ground[3];
      ASSERT_TRUE(SolveLatLonH(noisy.data(), noisy.size(), &ground[0], &ground[1], &ground[2]).Converged);
      double offset[3];
      LocalOffset(at, ground, offset);
      for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) scatter[i][j] += offset[i] * offset[j] / Count;
      }
    }
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_NEAR(std::sqrt(scatter[i][i]) / predicted.Deviation(i), 1.0, 0.05) << i;
      for (std::size_t j = 0; j < 3; ++j) {
        const double correlation =
            predicted.EastNorthUp[i][j] / predicted.Deviation(i) / predicted.Deviation(j);
        EXPECT_NEAR(scatter[i][j] / std::sqrt(scatter[i][i] * scatter[j][j]), correlation, 0.05);
        EXPECT_EQ(predicted.EastNorthUp[i][j], predicted.EastNorthUp[j][i]);
      }
    }
  }
}

TEST_F(GroundCovariance, RefusesWhatDeterminesNothing) {
  const TRPCEstimationDataItem at = cube_.Anywhere();
  const std::vector<TRPCCoordsDataItem> items = Seen(at);
  const std::vector<TRPCCoordsDataItem> twice = {items[0], items[2]};
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    const std::vector<TRPCCoordsDataItem>& items;
    std::vector<double> sigmas;
    double height;
  } cases[] = {{items, {0.5}, 0.0},
               {twice, {1.0, -1.0}, 0.0},
               {items, {1.0, std::nan("")}, 0.0},
               {items, {1.0, infinity}, 0.0},
               {items, {1.0, 1.0}, infinity}};
  TGroundCovariance covariance;
  covariance.EastNorthUp[1][1] = 16.0;
  for (const auto& c : cases) {
    EXPECT_FALSE(CalculateGroundCovariance(c.items.data(), c.sigmas.data(), c.sigmas.size(), at.Latitude,
                                           at.Longitude, at.Height + c.height, &covariance));
  }
  EXPECT_EQ(covariance.Deviation(1), 4.0);
}

}  // namespace
