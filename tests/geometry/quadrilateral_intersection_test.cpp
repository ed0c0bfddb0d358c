#include "kelvane/geometry/quadrilateral_intersection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "tests/geometry/geos.h"

namespace {

using namespace SatCommonUtils;

TQuadrilateralIntersection Intersection(const TPolygon& a, const TPolygon& b) {
  TQuadrilateralIntersection result;
  EXPECT_TRUE(IntersectQuadrilaterals(a, b, &result));
  return result;
}

std::vector<std::pair<double, double>> Coordinates(const TPolygon& polygon) {
  std::vector<std::pair<double, double>> coordinates;
  for (const xy_d& v : polygon.Vertices()) coordinates.emplace_back(v.x, v.y);
  return coordinates;
}

/// Compares two quadrilaterals with GEOS: how they meet, the area, and which points are common.
void CompareWithGeos(const test::Geos& geos, const TPolygon& a, const TPolygon& b, test::Shapes* points,
                     double area_tolerance) {
  const TQuadrilateralIntersection found = Intersection(a, b);
  const test::GeosShape valid_a = geos.Valid(a);
  const test::GeosShape valid_b = geos.Valid(b);
  const test::GeosShape common = geos.Owned(GEOSIntersection(valid_a.get(), valid_b.get()));
  EXPECT_NEAR(found.Area, geos.Area(common), area_tolerance);
  EXPECT_EQ(found.Contact != TE_PlaneContact::Apart, geos.Distance(valid_a, valid_b) < 1e-8);
  EXPECT_EQ(found.Contact == TE_PlaneContact::Overlapping, !found.Pieces.empty());
  for (const TPolygon& piece : found.Pieces) {
    EXPECT_EQ(piece.Orientation(), 1);
    EXPECT_EQ(GEOSisValid(geos.Polygon(piece).get()), 1);
  }
  const xy_d p = points->Point();
  if (std::fabs(a.SignedDistance(p)) < 1e-8 || std::fabs(b.SignedDistance(p)) < 1e-8) return;
  const auto holders = std::count_if(found.Pieces.begin(), found.Pieces.end(),
                                     [&](const TPolygon& piece) { return piece.Contains(p); });
  const bool held = GEOSisEmpty(common.get()) == 0 && geos.Distance(geos.Point(p), common) == 0.0;
  EXPECT_EQ(holders, held ? 1 : 0);
}

TEST(QuadrilateralIntersection, AgreesWithGeos) {
  const test::Geos geos;
  for (const bool on_grid : {true, false}) {
    for (const double offset : {0.0, 4e6}) {
      test::Shapes shapes(on_grid ? 5 : 6, on_grid, offset);
      for (int i = 0; i < 2500; ++i) {
        const TPolygon a = shapes.Polygon(4);
        const TPolygon b = shapes.Polygon(4);
        CompareWithGeos(geos, a, b, &shapes, offset == 0.0 ? 1e-12 : 1e-7);
        ASSERT_FALSE(HasFailure()) << testing::PrintToString(Coordinates(a)) << " with "
                                   << testing::PrintToString(Coordinates(b));
      }
    }
  }
}

TEST(QuadrilateralIntersection, DegenerateContacts) {
  const TPolygon square({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
  const TPolygon dart({{-1, -1}, {2, 3}, {5, -1}, {2, 6}});  // its reflex corner is inside the square
  const TPolygon bow_tie({{0, 0}, {4, 4}, {4, 0}, {0, 4}});
  const auto apart = TE_PlaneContact::Apart;
  const auto touching = TE_PlaneContact::Touching;
  const auto overlapping = TE_PlaneContact::Overlapping;
  const struct {
    const char* what;
    TPolygon other;
    TE_PlaneContact contact;
    std::vector<std::size_t> corners;  // of each piece, least first
    double area;
  } cases[] = {
      {"identical", square, overlapping, {4}, 16},
      {"identical, run through backwards from elsewhere",
       TPolygon({{4, 4}, {4, 0}, {0, 0}, {0, 4}}),
       overlapping,
       {4},
       16},
      {"inside", TPolygon({{1, 1}, {2, 1}, {2, 2}, {1, 2}}), overlapping, {4}, 1},
      {"around", TPolygon({{-1, -1}, {6, -1}, {6, 6}, {-1, 6}}), overlapping, {4}, 16},
      {"inside, with edges on edges", TPolygon({{0, 0}, {2, 0}, {2, 4}, {0, 4}}), overlapping, {4}, 8},
      {"inside, with corners on edges", TPolygon({{2, 0}, {4, 2}, {2, 4}, {0, 2}}), overlapping, {4}, 8},
      {"a corner on a corner", TPolygon({{4, 4}, {6, 4}, {6, 6}, {4, 6}}), touching, {}, 0},
      {"a corner on an edge", TPolygon({{4, 2}, {6, 0}, {8, 2}, {6, 4}}), touching, {}, 0},
      {"a whole edge", TPolygon({{4, 0}, {8, 0}, {8, 4}, {4, 4}}), touching, {}, 0},
      {"a part of an edge", TPolygon({{4, 2}, {8, 2}, {8, 9}, {4, 9}}), touching, {}, 0},
      {"almost a corner", TPolygon({{4 + 0x1p-50, 4}, {6, 4}, {6, 6}, {4.5, 6}}), apart, {}, 0},
      {"apart", TPolygon({{5, 0}, {8, 0}, {8, 4}, {5, 4}}), apart, {}, 0},
      {"a cross", TPolygon({{1, -9}, {2, -9}, {2, 9}, {1, 9}}), overlapping, {4}, 4},
      {"an octagon", TPolygon({{2, -1}, {5, 2}, {2, 5}, {-1, 2}}), overlapping, {8}, 14},
      {"two parts of a dart", TPolygon({{-1, 2}, {2, 0}, {5, 2}, {2, -9}}), overlapping, {3, 3}, 0},
      {"a bow-tie", bow_tie, overlapping, {3, 3}, 8},
      {"a dart", dart, overlapping, {7}, 0},
      {"a triangle, its corner given twice", TPolygon({{0, 0}, {0, 0}, {4, 0}, {0, 4}}), overlapping, {3}, 8},
      {"an edge that runs back on itself", TPolygon({{2, 2}, {9, 2}, {3, 2}, {3, 3}}), overlapping, {3}, 0.5},
      {"a line through it", TPolygon({{-1, 1}, {5, 1}, {6, 1}, {2, 1}}), touching, {}, 0},
      {"a point in it", TPolygon({{1, 1}, {1, 1}, {1, 1}, {1, 1}}), touching, {}, 0},
      {"a point outside", TPolygon({{9, 1}, {9, 1}, {9, 1}, {9, 1}}), apart, {}, 0},
      {"narrower than rounding",
       TPolygon({{4 - 0x1p-51, 0}, {8, 0}, {8, 4}, {4 - 0x1p-51, 4}}),
       touching,
       {},
       0},
  };
  const test::Geos geos;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const bool swapped : {false, true}) {
      const TQuadrilateralIntersection found =
          swapped ? Intersection(c.other, square) : Intersection(square, c.other);
      EXPECT_EQ(found.Contact, c.contact);
      std::vector<std::size_t> corners;
      for (const TPolygon& piece : found.Pieces) corners.push_back(piece.VertexCount());
      std::sort(corners.begin(), corners.end());
      EXPECT_EQ(corners, c.corners);
      const test::GeosShape common =
          geos.Owned(GEOSIntersection(geos.Valid(square).get(), geos.Valid(c.other).get()));
      EXPECT_NEAR(found.Area, geos.Area(common), 1e-14);
      if (c.area != 0.0) {
        EXPECT_EQ(found.Area, c.area);
      }
    }
  }
  const TQuadrilateralIntersection wings = Intersection(bow_tie, bow_tie);
  EXPECT_EQ(wings.Pieces.size(), 2U);
  EXPECT_EQ(wings.Area, 8.0);
}

TEST(QuadrilateralIntersection, AlmostParallelEdgesMakeNoTrouble) {
  // Images of one strip: edges that differ by the last bits of map coordinates, in every way.
  std::mt19937 random(8);
  std::uniform_int_distribution<int> bits(-40, 40);
  const auto shaken = [&](double x, double y) {
    return xy_d{4e6 + x + bits(random) * 0x1p-32, 5e6 + y + bits(random) * 0x1p-32};
  };
  for (int i = 0; i < 20000; ++i) {
    const TPolygon a({shaken(0, 0), shaken(100, 0), shaken(100, 100), shaken(0, 100)});
    const TPolygon b({shaken(0, 0), shaken(50, 0), shaken(100, 100), shaken(0, 100)});
    const TQuadrilateralIntersection found = Intersection(a, b);
    ASSERT_NEAR(found.Area, 7500.0, 1e-5);
    for (const TPolygon& piece : found.Pieces) ASSERT_EQ(piece.Orientation(), 1);
  }
}

TEST(QuadrilateralIntersection, OthersAreRefused) {
  const TPolygon square({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
  TQuadrilateralIntersection result;
  result.Area = 7.0;
  for (const TPolygon& other :
       {TPolygon(), TPolygon({{0, 0}, {1, 0}, {0, 1}}), TPolygon({{0, 0}, {4, 0}, {4, 4}, {0, std::nan("")}}),
        TPolygon({{0, 0}, {4, 0}, {4, 4}, {0, 1e101}})}) {
    EXPECT_FALSE(IntersectQuadrilaterals(square, other, &result));
    EXPECT_FALSE(IntersectQuadrilaterals(other, square, &result));
  }
  EXPECT_EQ(result.Area, 7.0);
}

}  // namespace
