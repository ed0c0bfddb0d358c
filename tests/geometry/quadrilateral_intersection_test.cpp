#include "kelvane/geometry/quadrilateral_intersection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "tests/geometry/geos.h"
#include "tests/support/rounds.h"

namespace {

using namespace SatCommonUtils;

TQuadrilateralIntersection Intersection(const TPolygon& a, const TPolygon& b) {
  TQuadrilateralIntersection result;
  EXPECT_TRUE(IntersectQuadrilaterals(a, b, &result));
  return result;
}

/// Compares two quadrilaterals with GEOS: how they meet, the area, and which points are common.
void CompareWithGeos(const TPolygon& a, const TPolygon& b, test::Shapes* points, double area_tolerance) {
  const TQuadrilateralIntersection found = Intersection(a, b);
  const test::GeosShape valid_a = test::GeosFigure(a);
  const test::GeosShape valid_b = test::GeosFigure(b);
  const test::GeosShape common = test::GeosCommon(valid_a, valid_b);
  EXPECT_NEAR(found.Area, test::Area(common), area_tolerance);
  EXPECT_EQ(found.Contact != TE_PlaneContact::Apart, test::Distance(valid_a, valid_b) < 1e-8);
  EXPECT_EQ(found.Contact == TE_PlaneContact::Overlapping, !found.Pieces.empty());
  for (const TPolygon& piece : found.Pieces) {
    EXPECT_EQ(piece.Orientation(), 1);
    EXPECT_EQ(GEOSisValid(test::GeosPolygon(piece).get()), 1);
  }
  const xy_d p = points->Point();
  if (std::fabs(a.SignedDistance(p)) < 1e-8 || std::fabs(b.SignedDistance(p)) < 1e-8) return;
  const auto holders = std::count_if(found.Pieces.begin(), found.Pieces.end(),
                                     [&](const TPolygon& piece) { return piece.Contains(p); });
  const bool held = GEOSisEmpty(common.get()) == 0 && test::Distance(test::GeosPoint(p), common) == 0.0;
  EXPECT_EQ(holders, held ? 1 : 0);
}

TEST(QuadrilateralIntersection, AgreesWithGeos) {
  initGEOS(nullptr, nullptr);
  for (const bool on_grid : {true, false}) {
    for (const double offset : {0.0, 4e6}) {
      test::Shapes shapes(on_grid ? 5 : 6, on_grid, offset);
      for (int i = 0; i < test::Rounds(2000); ++i) {
        const TPolygon a = shapes.Polygon(4);
        const TPolygon b = shapes.Polygon(4);
        CompareWithGeos(a, b, &shapes, offset == 0.0 ? 1e-12 : 1e-7);
        ASSERT_FALSE(HasFailure()) << on_grid << " " << offset << " " << i;
      }
    }
  }
  finishGEOS();
}

TEST(QuadrilateralIntersection, DegenerateContacts) {
  const TPolygon square({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
  const TPolygon bow_tie({{0, 0}, {4, 4}, {4, 0}, {0, 4}});
  const auto apart = TE_PlaneContact::Apart;
  const auto touching = TE_PlaneContact::Touching;
  const auto overlapping = TE_PlaneContact::Overlapping;
  const double hair = 0x1p-51;
  const struct {
    const char* what;
    std::vector<xy_d> other;
    TE_PlaneContact contact;
    std::vector<std::size_t> corners;  // of each piece, least first
  } cases[] = {
      {"identical", square.Vertices(), overlapping, {4}},
      {"run through backwards", {{4, 4}, {4, 0}, {0, 0}, {0, 4}}, overlapping, {4}},
      {"inside", {{1, 1}, {2, 1}, {2, 2}, {1, 2}}, overlapping, {4}},
      {"around", {{-1, -1}, {6, -1}, {6, 6}, {-1, 6}}, overlapping, {4}},
      {"inside, edges on edges", {{0, 0}, {2, 0}, {2, 4}, {0, 4}}, overlapping, {4}},
      {"inside, corners on edges", {{2, 0}, {4, 2}, {2, 4}, {0, 2}}, overlapping, {4}},
      {"a corner on a corner", {{4, 4}, {6, 4}, {6, 6}, {4, 6}}, touching, {}},
      {"a corner on an edge", {{4, 2}, {6, 0}, {8, 2}, {6, 4}}, touching, {}},
      {"a whole edge", {{4, 0}, {8, 0}, {8, 4}, {4, 4}}, touching, {}},
      {"a part of an edge", {{4, 2}, {8, 2}, {8, 9}, {4, 9}}, touching, {}},
      {"almost a corner", {{4 + 2 * hair, 4}, {6, 4}, {6, 6}, {4.5, 6}}, apart, {}},
      {"a cross", {{1, -9}, {2, -9}, {2, 9}, {1, 9}}, overlapping, {4}},
      {"an octagon", {{2, -1}, {5, 2}, {2, 5}, {-1, 2}}, overlapping, {8}},
      {"two parts of a dart", {{-1, 2}, {2, 0}, {5, 2}, {2, -9}}, overlapping, {3, 3}},
      {"a bow-tie", bow_tie.Vertices(), overlapping, {3, 3}},
      {"a dart", {{-1, -1}, {2, 3}, {5, -1}, {2, 6}}, overlapping, {7}},
      {"a corner given twice", {{0, 0}, {0, 0}, {4, 0}, {0, 4}}, overlapping, {3}},
      {"an edge back on itself", {{2, 2}, {9, 2}, {3, 2}, {3, 3}}, overlapping, {3}},
      {"a line through it", {{-1, 1}, {5, 1}, {6, 1}, {2, 1}}, touching, {}},
      {"a point in it", {{1, 1}, {1, 1}, {1, 1}, {1, 1}}, touching, {}},
      {"a point outside", {{9, 1}, {9, 1}, {9, 1}, {9, 1}}, apart, {}},
      {"narrower than rounding", {{4 - hair, 0}, {8, 0}, {8, 4}, {4 - hair, 4}}, touching, {}},
  };
  initGEOS(nullptr, nullptr);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const TPolygon other(c.other);
    const double area = test::Area(test::GeosCommon(test::GeosFigure(square), test::GeosFigure(other)));
    for (const auto& found : {Intersection(square, other), Intersection(other, square)}) {
      EXPECT_EQ(found.Contact, c.contact);
      std::vector<std::size_t> corners;
      for (const TPolygon& piece : found.Pieces) corners.push_back(piece.VertexCount());
      std::sort(corners.begin(), corners.end());
      EXPECT_EQ(corners, c.corners);
      EXPECT_NEAR(found.Area, area, 1e-14);
    }
  }
  finishGEOS();
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
  for (int i = 0; i < test::Rounds(20000); ++i) {
    const TPolygon a({shaken(0, 0), shaken(100, 0), shaken(100, 100), shaken(0, 100)});
    const TPolygon b({shaken(0, 0), shaken(50, 0), shaken(100, 100), shaken(0, 100)});
    const TQuadrilateralIntersection found = Intersection(a, b);
    ASSERT_NEAR(found.Area, 7500.0, 1e-5);
    for (const TPolygon& piece : found.Pieces) ASSERT_EQ(piece.Orientation(), 1);
  }
}

__extension__ using Int128 = __int128;

/// Sign of the area of a triangle whose coordinates are integers.
int Side(const xy_d& a, const xy_d& b, const xy_d& c) {
  const auto exact = [](double value) { return static_cast<Int128>(value); };
  const Int128 left = (exact(b.x) - exact(a.x)) * (exact(c.y) - exact(a.y));
  const Int128 right = (exact(b.y) - exact(a.y)) * (exact(c.x) - exact(a.x));
  return left > right ? 1 : left < right ? -1 : 0;
}

/// Two convex figures that run counter-clockwise, one of which has all of the other on the far side of an
/// edge.
bool Separates(const std::vector<xy_d>& a, const std::vector<xy_d>& b, int nearest) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto beyond = [&](const xy_d& p) { return Side(a[i], a[(i + 1) % a.size()], p) <= nearest; };
    if (std::all_of(b.begin(), b.end(), beyond)) return true;
  }
  return false;
}

TEST(QuadrilateralIntersection, ContactOnAGridOfLastBitsIsThatOfIntegers) {
  constexpr double Corner = 0x1p52;  // whose last bit is 1
  std::mt19937 random(9);
  std::uniform_int_distribution<int> cell(0, 7);
  std::uniform_int_distribution<int> bit(-1, 1);
  const auto coordinate = [&] { return Corner + cell(random) * 0x1p49 + bit(random); };
  const auto convex = [&] {
    std::vector<xy_d> v(4);
    do {
      for (xy_d& p : v) p = {coordinate(), coordinate()};
    } while (Side(v[0], v[1], v[2]) <= 0 || Side(v[1], v[2], v[3]) <= 0 || Side(v[2], v[3], v[0]) <= 0 ||
             Side(v[3], v[0], v[1]) <= 0);
    return v;
  };
  std::array<int, 2> count{};
  for (int i = 0; i < test::Rounds(20000); ++i) {
    const std::vector<xy_d> a = convex();
    const std::vector<xy_d> b = convex();
    const bool apart = Separates(a, b, -1) || Separates(b, a, -1);
    ASSERT_EQ(Intersection(TPolygon(a), TPolygon(b)).Contact == TE_PlaneContact::Apart, apart) << i;
    ++count[apart ? 1 : 0];
  }
  EXPECT_TRUE(count[0] > test::Rounds(1000) && count[1] > test::Rounds(1000));
}

TEST(QuadrilateralIntersection, OthersAreRefused) {
  const TPolygon square({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
  TQuadrilateralIntersection result;
  result.Area = 7.0;
  for (const TPolygon& other :
       {TPolygon(), TPolygon({{0, 0}, {1, 0}, {0, 1}}), TPolygon({{0, 0}, {4, 0}, {4, 4}, {0, std::nan("")}}),
        TPolygon({{0, 0}, {4, 0}, {4, 4}, {0, 1e101}}), TPolygon({{0, 0}, {4, 0}, {4, 4}, {0, 1e-150}})}) {
    EXPECT_FALSE(IntersectQuadrilaterals(square, other, &result));
    EXPECT_FALSE(IntersectQuadrilaterals(other, square, &result));
  }
  EXPECT_EQ(result.Area, 7.0);
}

}  // namespace
