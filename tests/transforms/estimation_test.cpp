#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "kelvane/module/host/transform.h"
#include "kelvane/transforms/affine_2d.h"
#include "kelvane/transforms/projective_2d.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;

using TPairs = std::vector<T2DTransformParamsSourceDataItem>;

constexpr T2DAffineParams Skewed = {1.5, -0.25, 100.0, 0.5, 2.0, -7.0};
constexpr T2DProjectiveParams Tilted = {{1.25, 0.5, -3.0, -0.25, 0.75, 2.0, 0.03125, -0.0625}};

xy_d Image(const T2DAffineParams& map, double x, double y) {
  return {map.A1 * x + map.A2 * y + map.A3, map.B1 * x + map.B2 * y + map.B3};
}
xy_d Image(const T2DProjectiveParams& p, double x, double y) {
  const double denominator = p[6] * x + p[7] * y + 1.0;
  return {(p[0] * x + p[1] * y + p[2]) / denominator, (p[3] * x + p[4] * y + p[5]) / denominator};
}

/// The first of six points, no three of the first five on a line, where the map takes them.
template <class Map>
TPairs Pairs(const Map& map, std::size_t count) {
  constexpr double From[][2] = {{0.0, 0.0}, {4.0, 1.0}, {-2.0, 3.0}, {5.0, -4.0}, {-3.0, -5.0}, {1.0, 2.0}};
  TPairs pairs;
  for (std::size_t i = 0; i < count; ++i) {
    const xy_d to = Image(map, From[i][0], From[i][1]);
    pairs.push_back({From[i][0], From[i][1], to.x, to.y});
  }
  return pairs;
}

test::Values ValuesOf(const T2DAffineParams& p) { return {p.A1, p.A2, p.A3, p.B1, p.B2, p.B3}; }
test::Values ValuesOf(const T2DProjectiveParams& p) { return {p.Values, p.Values + 8}; }

/// Too few pairs change nothing; the fewest, and more, give back the map that they were made with.
template <class Params, class Calculate>
void ExpectRecovered(const Params& map, std::size_t least, Calculate calculate) {
  Params found;
  const test::Values before = ValuesOf(found);
  for (std::size_t n = 0; n < least; ++n) EXPECT_FALSE(calculate(Pairs(map, n), &found)) << n;
  EXPECT_EQ(ValuesOf(found), before);
  for (const std::size_t n : {least, std::size_t{6}}) {
    ASSERT_TRUE(calculate(Pairs(map, n), &found));
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_NEAR(ValuesOf(found)[i], ValuesOf(map)[i], 1e-11) << n << " pairs, element " << i;
    }
  }
}

TEST(PlaneEstimation, GivesBackTheMapOfItsPairs) {
  ExpectRecovered(Skewed, 3, Calculate2DAffineParams);
  ExpectRecovered(Tilted, 4, Calculate2DProjectiveParams);
}

TEST(PlaneEstimation, PrintsItsPairs) {
  EXPECT_EQ(test::DebugTextOf([] { DebugOutput(TPairs()); }), "");
  const std::string text = test::DebugTextOf([] {
    DebugOutput({{1.0, -2.5, 1234567.25, 0.0}, {-1e200, 0.0, 0.0, 0.0}});
  });
  const std::string first =
      "Xfrom=               1.000 Yfrom=              -2.500 Xto=         1234567.250 Yto=               "
      "0.000#Xfrom=-99999";
  EXPECT_EQ(text.substr(0, first.size()), first);
  EXPECT_EQ(text.size(), text.find('#') + 1 + 127 + 1);
}

}  // namespace
