#include "kelvane/geometry/spatial.h"

#include <gtest/gtest.h>

#include <Eigen/SVD>
#include <GeographicLib/Geocentric.hpp>
#include <cmath>
#include <random>

#include "tests/support/matrices.h"
#include "tests/support/rounds.h"

namespace {

using namespace SatCommonUtils;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

std::mt19937_64 generator(20261205);

double Unit() { return std::uniform_real_distribution<double>(-1.0, 1.0)(generator); }

T3DPoint Anywhere(double size) { return {size * Unit(), size * Unit(), size * Unit()}; }

constexpr double Bound = 1e-9;  // metres
/// By what the oracle, in plain doubles, misses the exact values.
constexpr double OracleRounding = 3e-9;

/// Exact for what a double holds, by way of the parametric latitude.
T3DPoint Exact(const TEllipsoid& e, long double lat, long double lon, long double h) {
  const long double degree = std::acos(-1.0L) / 180.0L;
  const long double flat = 1.0L - e.Flattening();
  const long double beta = std::atan2(flat * std::sin(lat * degree), std::cos(lat * degree));
  const long double rho = e.SemiMajorAxis() * std::cos(beta) + h * std::cos(lat * degree);
  return {static_cast<double>(rho * std::cos(lon * degree)),
          static_cast<double>(rho * std::sin(lon * degree)),
          static_cast<double>(e.SemiMajorAxis() * flat * std::sin(beta) + h * std::sin(lat * degree))};
}

/// The geodetic coordinates, which must lead back.
T3DPoint Geodetic(const TEllipsoid& e, const T3DPoint& p, double bound) {
  T3DPoint g;
  e.ToGeodetic(p, &g.X, &g.Y, &g.Z);
  EXPECT_FALSE(LargestCoordinate(e.ToEarthCentred(g.X, g.Y, g.Z) - p) > bound);
  return g;
}

TEST(Ellipsoid, ConversionsAgreeWithTheOracleBothWays) {
  for (const TEllipsoid& e :
       {TEllipsoid(), TEllipsoid(3396190.0, 1.0 / 169.894), TEllipsoid(6371000.0, 0.0)}) {
    const GeographicLib::Geocentric oracle(e.SemiMajorAxis(), e.Flattening());
    for (int i = 0; i < test::Rounds(60000); ++i) {
      const double close = std::copysign(std::pow(10.0, -(i / 10 % 17)), Unit());
      const double anywhere = i % 10 == 1 ? close : 90.0 * Unit();
      const double lat = i % 10 == 0 ? std::copysign(90.0, close) - close : anywhere;
      const double lon = i % 10 == 2 ? 90.0 * (i % 4) - close : 180.0 * Unit();
      const double h = i % 3 == 0 ? 1e4 * Unit() : 495000.0 + 505000.0 * Unit();
      const T3DPoint p = e.ToEarthCentred(lat, lon, h);
      T3DPoint other;
      oracle.Forward(lat, lon, h, other.X, other.Y, other.Z);
      ASSERT_LE(LargestCoordinate(p - Exact(e, lat, lon, h)), Bound);
      ASSERT_LE(LargestCoordinate(p - other), Bound + OracleRounding);
      const T3DPoint found = Geodetic(e, p, 2.0 * Bound);  // degrees round too
      oracle.Reverse(p.X, p.Y, p.Z, other.X, other.Y, other.Z);
      ASSERT_NEAR(found.Z, h, Bound);
      ASSERT_NEAR(found.Z, other.Z, Bound + 2.0 * OracleRounding);
      ASSERT_NEAR(found.X, other.X, 5e-14);
      ASSERT_NEAR(std::remainder(found.Y - other.Y, 360.0) * std::hypot(p.X, p.Y) / 6e6, 0.0, 1e-13);
    }
  }
}

TEST(Ellipsoid, PolesAxesAndTheCentre) {
  const TEllipsoid earth;
  const double a = earth.SemiMajorAxis();
  const double b = earth.SemiMinorAxis();
  const T3DPoint cases[][2] = {{{0, 0, b + 5}, {90, 0, 5}},       {{0, 0, -b + 5}, {-90, 0, -5}},
                               {{a + 7, 0, 0}, {0, 0, 7}},        {{-a, -0.0, 0}, {0, 180, 0}},
                               {{0, -a - 1e6, 0}, {0, -90, 1e6}}, {{-0.0, 0, -0.0}, {90, 0, -b}},
                               {{0, 0, -1e-300}, {-90, 0, -b}},   {{0, 0, 1e200}, {90, 0, 1e200}}};
  for (const auto& [p, expected] : cases) {
    const T3DPoint found = Geodetic(earth, p, Bound);
    EXPECT_TRUE(found.X == expected.X && found.Y == expected.Y && std::fabs(found.Z - expected.Z) < Bound);
  }
  const TEllipsoid flat(6e6, 0.5);
  const TEllipsoid flattest(6e6, TEllipsoid::GreatestFlattening);
  for (int i = 0; i < test::Rounds(20000); ++i) {
    const TEllipsoid& e = i % 2 == 0 ? earth : flat;
    const double size = (i % 2 == 0 ? 6e4 : 6e6) * std::pow(10.0, -(i % 11));
    const T3DPoint p = {size * Unit(), size * Unit(), i % 3 == 0 ? 0.0 : size * Unit()};
    const T3DPoint found = Geodetic(e, p, 4.0 * Bound);
    Geodetic(flattest, p, 1e-7);
    const T3DPoint other = e.ToEarthCentred(90.0 * Unit(), found.Y, 0.0);
    ASSERT_LE(std::fabs(found.Z), Length(other - p) + Bound) << "not the nearest point";
  }
  const T3DPoint change = earth.ToEarthCentred(-37.0 + 2e-5, 25.0 - 1e-5, 1003.0) -
                          earth.ToEarthCentred(-37.0 - 2e-5, 25.0 + 1e-5, 997.0);
  EXPECT_LT(Length(change - earth.EarthCentredChange(-37.0, 25.0, 1000.0, 4e-5, -2e-5, 6.0)), 1e-7);
}

TEST(Ellipsoid, RefusesWhatIsNone) {
  const double none[][2] = {{0, 0.1}, {Infinity, 0.1}, {NaN, 0.1}, {1, -0.1}, {1, 0.991}, {1, NaN}};
  for (const auto& [a, f] : none) {
    EXPECT_EQ(test::RuntimeErrorOf([a = a, f = f] { TEllipsoid(a, f); }),
              "TEllipsoid::TEllipsoid(const double& a, const double& f)");
  }
  for (const double bad : {NaN, Infinity}) {
    for (const T3DPoint& p : {T3DPoint{bad, 1, 1}, {1, bad, 1}, {0, 0, bad}}) {
      const T3DPoint q = TEllipsoid().ToEarthCentred(p.X, p.Y, p.Z);
      const T3DPoint g = Geodetic(TEllipsoid(), p, Bound);
      for (const double x : {q.X, q.Y, q.Z, g.X, g.Y, g.Z}) EXPECT_TRUE(std::isnan(x));
    }
  }
}

/// Or both none.
bool Same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::fabs(a - b) <= 1e-15 * std::fabs(b);
}

TEST(Spatial, RayAndPlane) {
  const TPlane level = {{5, 6, 2}, {0, 0, 1e-200}};
  const struct {
    TRay ray;
    TPlane plane;
    double t;  ///< NaN for none
  } cases[] = {
      {{{1, 1, 10}, {0, 0, -4}}, level, 2},       {{{1, 1, 10}, {0, 0, 1e200}}, level, -8e-200},
      {{{1, 1, 2}, {3, 4, 5}}, level, 0},         {{{1, 1, 3}, {0.3, -0.1, 0}}, {{}, {0.1, 0.3, 0.7}}, NaN},
      {{{1, 1, 3}, {0, 0, 0}}, level, NaN},       {{{1, NaN, 3}, {0, 0, 1}}, level, NaN},
      {{{1, 1, Infinity}, {0, 0, 1}}, level, NaN}};
  for (const auto& c : cases) {
    double t = NaN;
    EXPECT_TRUE(IntersectPlane(c.ray, c.plane, &t) != std::isnan(c.t) && Same(t, c.t)) << t;
  }
}

TEST(Spatial, RayAndSphere) {
  const struct {
    TRay ray;
    double radius, first, second, ahead;  ///< NaN for none
  } cases[] = {{{{-10, 0, 0}, {2, 0, 0}}, 2, 4, 6, 4},
               {{{10, 0, 0}, {2, 0, 0}}, 2, -6, -4, NaN},
               {{{1, 0, 0}, {0.5, 0, 0}}, 2, -6, 2, 2},
               {{{-2, 0, 0}, {1, 0, 0}}, 2, 0, 4, 0},
               {{{0, 0, 0}, {0, 0, -1e-200}}, 2, -2e200, 2e200, 2e200},
               {{{-10, 0.6, 0.8}, {1, 0, 0}}, 1, 10, 10, 10},
               {{{-10, 0.6, 0.8000001}, {1, 0, 0}}, 1, NaN, NaN, NaN},
               {{{-1e9, 0, 0}, {1, 0, 0}}, 1e-3, 1e9 - 1e-3, 1e9 + 1e-3, 1e9 - 1e-3},
               {{{-5, 0, 0}, {0, 0, 0}}, 6, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, Infinity, 0}}, 6, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, 0, 0}}, Infinity, NaN, NaN, NaN}};
  for (const auto& c : cases) {
    const T3DPoint centre = c.radius > 1.0 ? T3DPoint{64, -32, 128} : T3DPoint{};
    const TRayCrossings found = IntersectSphere({c.ray.Origin + centre, c.ray.Direction}, centre, c.radius);
    EXPECT_EQ(found.Count, std::isnan(c.first) ? 0 : c.first == c.second ? 1 : 2);
    EXPECT_TRUE(Same(found.First, c.first) && Same(found.Second, c.second)) << found.First << found.Second;
    double ahead = NaN;
    EXPECT_TRUE(found.Ahead(&ahead) != std::isnan(c.ahead) && Same(ahead, c.ahead));
  }
}

TEST(Spatial, RayFromOrbitMeetsTheEarthBothSides) {
  const TEllipsoid earth;
  for (int i = 0; i < 5000; ++i) {
    const T3DPoint near = earth.ToEarthCentred(90.0 * Unit(), 180.0 * Unit(), 0.0);
    const T3DPoint chord = earth.ToEarthCentred(90.0 * Unit(), 180.0 * Unit(), 0.0) - near;
    const double back = 1.0 + Unit();
    const TRayCrossings found = IntersectEllipsoid({near - back * chord, chord}, earth);
    const double bound = 1e-14 + 4e-15 * (1.0 + back) * std::pow(6.4e6 / Length(chord), 2);
    ASSERT_EQ(found.Count, 2);
    ASSERT_TRUE(std::fabs(found.First - back) < bound && std::fabs(found.Second - back - 1.0) < bound);
  }
  const double b = earth.SemiMinorAxis();
  EXPECT_EQ(IntersectEllipsoid({{-1e7, 0, b}, {1, 0, 0}}, earth).First, 1e7);
  EXPECT_EQ(IntersectEllipsoid({{-1e7, 0, b + 0.001}, {1, 0, 0}}, earth).Count, 0);
}

TEST(Spatial, PlaneIsThatOfTheSingularValues) {
  TPlane plane;
  double residual = NaN;
  for (int count = 3; count < 200; ++count) {
    const T3DPoint axes[] = {Anywhere(6e6), Anywhere(1e3), Anywhere(1e2)};
    Eigen::MatrixXd rows(count, 3);
    std::vector<T3DPoint> points;
    for (int i = 0; i < count; ++i) {
      points.push_back(axes[0] + Unit() * axes[1] + Unit() * axes[2] + Anywhere(0.5));
      rows.row(i) << points.back().X, points.back().Y, points.back().Z;
    }
    rows.rowwise() -= rows.colwise().mean().eval();
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(rows, Eigen::ComputeThinV);
    ASSERT_TRUE(FitPlane(points, &plane, &residual));
    ASSERT_NEAR(residual, svd.singularValues()[2] / std::sqrt(count), 1e-8);
    const Eigen::Vector3d normal(plane.Normal.X, plane.Normal.Y, plane.Normal.Z);
    ASSERT_NEAR(std::fabs(normal.dot(svd.matrixV().col(2))), 1.0, 1e-12);
    ASSERT_TRUE(normal[2] > 0.0 && std::fabs(normal.norm() - 1.0) < 1e-14);
  }
  const T3DPoint at = Anywhere(6e6);
  const T3DPoint along = Anywhere(1.0);
  for (const double size : {0.0, 1e-6, 1.0, 1e5, NaN, Infinity}) {
    EXPECT_FALSE(FitPlane({at, at + size * along, at + 3.0 * size * along}, &plane, nullptr)) << size;
  }
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}}, &plane, nullptr));
  EXPECT_TRUE(FitPlane({{0, 0, 1}, {1, 0, 1}, {0, -1e-5, 1}}, &plane, nullptr));
  EXPECT_EQ(plane.Normal.Z, 1.0);
  for (const double size : {1e-310, 1e-200, 1e-155, 1e154, 1e200, 1e307}) {
    const std::vector<T3DPoint> roof = {
        {3 * size, 4 * size, 5 * size}, {-3 * size, 4 * size, 5 * size}, {0, -4 * size, -5 * size}, {}};
    ASSERT_TRUE(FitPlane(roof, &plane, &residual)) << size;
    EXPECT_NEAR(plane.Normal.Y / plane.Normal.Z, -1.25, 1e-13) << size;
  }
}

TEST(Spatial, AngleOfDirections) {
  for (const double degrees : {0.0, 1e-13, 1e-5, 30.0, 90.0, 179.0, 180.0}) {
    const double radians = degrees * M_PI / 180.0;
    const TRay tilted = {Anywhere(1.0), {3e200 * std::cos(radians), 0, 3e200 * std::sin(radians)}};
    EXPECT_NEAR(ConvergenceAngle({Anywhere(1.0), {1e-5, 0, 0}}, tilted), degrees, 1e-15 + 3e-14 * degrees);
  }
  EXPECT_TRUE(std::isnan(ConvergenceAngle(T3DPoint{}, T3DPoint{1, 0, 0})));
}

}  // namespace
