#include "kelvane/geometry/polygon.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/geometry/geos.h"
#include "tests/support/failing_ini.h"

namespace {

using SatCommonUtils::TE_PointLocation;
using SatCommonUtils::TPolygon;

TEST(Polygon, EnclosesSomethingFromThreeVerticesOn) {
  EXPECT_TRUE(TPolygon({{0.5, -1.0}, {2.0, 2.0}, {0.1, 3.0}}));
  EXPECT_FALSE(TPolygon({{0.0, 0.0}, {1.0, 1.0}}));
}

TEST(Polygon, AreaAndItsSignAreExactWhereItCounts) {
  const double far = 5e6;
  const struct {
    TPolygon polygon;
    double area;
  } cases[] = {
      {TPolygon({{0, 0}, {4, 0}, {4, 3}, {0, 3}}), 12.0},
      {TPolygon({{0, 3}, {4, 3}, {4, 0}, {0, 0}}), -12.0},
      {TPolygon({{far, far}, {far + 0.25, far}, {far + 0.25, far + 0.25}, {far, far + 0.25}}), 0.0625},
      {TPolygon({{0, 0}, {2, 2}, {2, 0}, {0, 2}}), 0.0},      // a bow-tie of equal halves
      {TPolygon({{0, 0}, {3, 3}, {3, 0}, {0, 1}}), -3.0},     // and of unequal ones
      {TPolygon({{0.1, 0.7}, {0.2, 1.4}, {0.4, 2.8}}), 0.0},  // on a line that only doubles know
      {TPolygon({{1, 1}, {0x1p53, 0x1p53}, {2, 2 + 0x1p-51}}), 2.0 - 0x1p-52},  // lost in any product
      {TPolygon({{far, 1}, {far, 1}, {far, 1}}), 0.0},
      {TPolygon({{0, 0}, {1, 1}}), 0.0},
      {TPolygon(), 0.0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.polygon.SignedArea(), c.area);
    EXPECT_EQ(c.polygon.Orientation(), (c.area > 0.0) - (c.area < 0.0));
  }
}

TEST(Polygon, PointsThatAreAlmostOnALineFallOnTheRightSide) {
  // In units of 2^-53 the coordinates are integers, whose determinant 128 bits hold.
  __extension__ using Wide = __int128;
  const auto units = [](double value) { return static_cast<Wide>(std::ldexp(value, 53)); };
  const xy_d a = {12.0, 12.0};
  const xy_d b = {24.0, 24.0};
  int counts[3] = {0, 0, 0};
  for (int i = 0; i < 128; ++i) {
    for (int k = 0; k < 128; ++k) {
      const xy_d p = {0.5 + i * 0x1p-53, 0.5 + k * 0x1p-53};
      const Wide area = (units(b.x) - units(a.x)) * (units(p.y) - units(a.y)) -
                        (units(b.y) - units(a.y)) * (units(p.x) - units(a.x));
      const int sign = (area > 0) - (area < 0);
      ASSERT_EQ(TPolygon({a, b, p}).Orientation(), sign) << i << " " << k;
      ASSERT_EQ(TPolygon({{0.0, 0.0}, b, {0.0, 24.0}}).Locate(p), sign > 0   ? TE_PointLocation::Inside
                                                                  : sign < 0 ? TE_PointLocation::Outside
                                                                             : TE_PointLocation::Boundary);
      ++counts[sign + 1];
    }
  }
  EXPECT_EQ(counts[1], 128);
  EXPECT_EQ(counts[0], counts[2]);
}

TEST(Polygon, LocationAndDistanceAgreeWithGeos) {
  initGEOS(nullptr, nullptr);
  int on_boundary = 0;
  for (const bool on_grid : {true, false}) {
    for (const double offset : {0.0, 4e6}) {
      test::Shapes shapes(on_grid ? 3 : 4, on_grid, offset);
      for (int i = 0; i < 230; ++i) {
        const TPolygon polygon = shapes.Polygon(3 + i % 9);
        const test::GeosShape ring = test::GeosRing(polygon);
        const test::GeosShape figure = test::GeosPolygon(polygon);
        const GEOSPreparedGeometry* const prepared = GEOSPrepare(figure.get());
        for (int k = 0; k < 100; ++k) {
          const xy_d p = k < 97 ? shapes.Point() : polygon.Vertices()[static_cast<std::size_t>(k - 97)];
          const test::GeosShape point = test::GeosPoint(p);
          const bool inside = GEOSPreparedContainsProperly(prepared, point.get()) == 1;
          const double distance = test::Distance(point, ring);
          const double found = polygon.SignedDistance(p);
          EXPECT_NEAR(found, inside ? distance : -distance, offset == 0.0 ? 1e-14 : 2e-9);
          const TE_PointLocation location = polygon.Locate(p);
          EXPECT_EQ(location == TE_PointLocation::Inside, inside);
          EXPECT_EQ(location == TE_PointLocation::Boundary, found == 0.0);
          EXPECT_EQ(polygon.Contains(p), GEOSPreparedIntersects(prepared, point.get()) == 1);
          on_boundary += location == TE_PointLocation::Boundary;
        }
        GEOSPreparedGeom_destroy(prepared);
      }
    }
  }
  EXPECT_GT(on_boundary, 7500);
  finishGEOS();
}

TEST(Polygon, FiguresWithoutAreaHaveABoundaryAll) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(TPolygon().SignedDistance({1.0, 2.0}), -infinity);
  EXPECT_EQ(TPolygon().Locate({1.0, 2.0}), TE_PointLocation::Outside);
  EXPECT_EQ(TPolygon({{1.0, 2.0}}).Locate({1.0, 2.0}), TE_PointLocation::Boundary);
  EXPECT_EQ(TPolygon({{1.0, 2.0}}).SignedDistance({4.0, 6.0}), -5.0);
  const TPolygon line({{0.0, 0.0}, {6.0, 2.0}});
  EXPECT_EQ(line.Locate({3.0, 1.0}), TE_PointLocation::Boundary);
  EXPECT_EQ(line.Locate({3.0, 1.0 + 0x1p-52}), TE_PointLocation::Outside);
  EXPECT_LT(line.SignedDistance({3.0, 1.0 + 0x1p-52}), 0.0);
  EXPECT_TRUE(std::isnan(line.SignedDistance({std::nan(""), 0.0})));
  EXPECT_FALSE(TPolygon({{0, 0}, {1, 0}, {0, 1}}).Contains({std::nan(""), 0.1}));
  for (const double bad : {std::nan(""), 1e200}) {
    TPolygon circle({{bad, bad}, {-bad, bad}});
    for (int i = 0; i < 1000; ++i) circle.AddVertex({std::cos(0.006 * i), std::sin(0.006 * i)});
    EXPECT_FALSE(std::isfinite(circle.SignedArea()));
  }
  xy_d low = {7.0, 7.0};
  xy_d high = low;
  EXPECT_FALSE(TPolygon().BoundingBox(&low, &high));
  EXPECT_EQ(low.x, 7.0);
  EXPECT_TRUE(TPolygon({{2.0, -1.0}, {-3.0, 4.0}, {0.0, 8.0}}).BoundingBox(&low, &high));
  EXPECT_EQ(std::vector<double>({low.x, low.y, high.x, high.y}), std::vector<double>({-3.0, -1.0, 2.0, 8.0}));
}

}  // namespace
