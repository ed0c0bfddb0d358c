#include "kelvane/geometry/ellipsoid.h"

#include <gtest/gtest.h>

#include <GeographicLib/Geocentric.hpp>
#include <cmath>
#include <limits>
#include <random>

#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Bound = 1e-9;  // metres
/// By what the oracle, in plain doubles, misses the exact values.
constexpr double OracleRounding = 3e-9;

std::mt19937_64 generator(20261204);

double Unit() { return std::uniform_real_distribution<double>(-1.0, 1.0)(generator); }

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

/// X is the latitude, Y the longitude, Z the height.
T3DPoint Geodetic(const TEllipsoid& e, const T3DPoint& p) {
  T3DPoint found = {NaN, NaN, NaN};
  e.ToGeodetic(p, &found.X, &found.Y, &found.Z);
  return found;
}

double BackAgain(const TEllipsoid& e, const T3DPoint& geodetic, const T3DPoint& p) {
  return LargestCoordinate(e.ToEarthCentred(geodetic.X, geodetic.Y, geodetic.Z) - p);
}

TEST(Ellipsoid, ConversionsAgreeWithTheOracleBothWays) {
  for (const TEllipsoid& e :
       {TEllipsoid(), TEllipsoid(3396190.0, 1.0 / 169.894), TEllipsoid(6371000.0, 0.0)}) {
    const GeographicLib::Geocentric oracle(e.SemiMajorAxis(), e.Flattening());
    for (int i = 0; i < 60000; ++i) {
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
      const T3DPoint found = Geodetic(e, p);
      oracle.Reverse(p.X, p.Y, p.Z, other.X, other.Y, other.Z);
      ASSERT_LE(BackAgain(e, found, p), 2.0 * Bound);  // degrees round too
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
    const T3DPoint found = Geodetic(earth, p);
    EXPECT_TRUE(found.X == expected.X && found.Y == expected.Y) << found.X << ' ' << found.Y;
    EXPECT_NEAR(found.Z, expected.Z, Bound);
    EXPECT_LE(BackAgain(earth, found, p), Bound);
  }
  const TEllipsoid flat(6e6, 0.5);
  for (int i = 0; i < 20000; ++i) {
    const TEllipsoid& e = i % 2 == 0 ? earth : flat;
    const double size = (i % 2 == 0 ? 6e4 : 6e6) * std::pow(10.0, -(i % 11));
    const T3DPoint p = {size * Unit(), size * Unit(), i % 3 == 0 ? 0.0 : size * Unit()};
    const T3DPoint found = Geodetic(e, p);
    ASSERT_LE(BackAgain(e, found, p), 4.0 * Bound);
    const T3DPoint other = e.ToEarthCentred(90.0 * Unit(), found.Y, 0.0);
    ASSERT_LE(std::fabs(found.Z), Length(other - p) + Bound) << "not the nearest point";
  }
  for (const double lat : {-90.0, -37.0, 0.0, 60.0}) {
    const T3DPoint change = earth.ToEarthCentred(lat + 2e-5, 25.0 - 1e-5, 1003.0) -
                            earth.ToEarthCentred(lat - 2e-5, 25.0 + 1e-5, 997.0);
    const T3DPoint told = earth.EarthCentredChange(lat, 25.0, 1000.0, 4e-5, -2e-5, 6.0);
    EXPECT_LT(LargestCoordinate(change - told), 1e-7);
  }
}

TEST(Ellipsoid, RefusesWhatIsNone) {
  const double none[][2] = {{0, 0.1}, {Infinity, 0.1}, {NaN, 0.1}, {1, -0.1}, {1, 1}, {1, NaN}};
  for (const auto& [a, f] : none) {
    EXPECT_EQ(test::RuntimeErrorOf([a = a, f = f] { TEllipsoid(a, f); }),
              "TEllipsoid::TEllipsoid(const double& a, const double& f)");
  }
  for (const double bad : {NaN, Infinity}) {
    for (const T3DPoint& p : {T3DPoint{bad, 1, 1}, {1, bad, 1}, {0, 0, bad}}) {
      const T3DPoint q = TEllipsoid().ToEarthCentred(p.X, p.Y, p.Z);
      const T3DPoint g = Geodetic(TEllipsoid(), p);
      for (const double x : {q.X, q.Y, q.Z, g.X, g.Y, g.Z}) EXPECT_TRUE(std::isnan(x));
    }
  }
}

}  // namespace
