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

/// Exact for what a double holds, by way of the parametric latitude.
T3DPoint Exact(const TEllipsoid& e, long double lat, long double lon, long double h) {
  const long double degree = std::acos(-1.0L) / 180.0L;
  const long double beta =
      std::atan2((1.0L - e.Flattening()) * std::sin(lat * degree), std::cos(lat * degree));
  const long double b = e.SemiMajorAxis() * (1.0L - e.Flattening());
  const long double rho = e.SemiMajorAxis() * std::cos(beta) + h * std::cos(lat * degree);
  return {static_cast<double>(rho * std::cos(lon * degree)),
          static_cast<double>(rho * std::sin(lon * degree)),
          static_cast<double>(b * std::sin(beta) + h * std::sin(lat * degree))};
}

void ExpectWithin(double bound, const T3DPoint& a, const T3DPoint& b) {
  ASSERT_LE(LargestCoordinate(a - b), bound);
}

TEST(Ellipsoid, ConversionsAgreeWithTheOracleBothWays) {
  std::mt19937_64 random(20261204);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  const TEllipsoid earth;
  for (const TEllipsoid& e : {earth, TEllipsoid(3396190.0, 1.0 / 169.894), TEllipsoid(6371000.0, 0.0)}) {
    const GeographicLib::Geocentric oracle(e.SemiMajorAxis(), e.Flattening());
    for (int i = 0; i < 60000; ++i) {
      const double close = std::copysign(std::pow(10.0, -(i / 10 % 17)), unit(random));
      const double lat = i % 10 == 0   ? std::copysign(90.0, close) - close
                         : i % 10 == 1 ? close
                                       : 90.0 * unit(random);
      const double lon = i % 10 == 2 ? 90.0 * (i % 4) - close : 180.0 * unit(random);
      const double h = i % 3 == 0 ? 1e4 * unit(random) : 495000.0 + 505000.0 * unit(random);
      const T3DPoint p = e.ToEarthCentred(lat, lon, h);
      T3DPoint q;
      oracle.Forward(lat, lon, h, q.X, q.Y, q.Z);
      ExpectWithin(Bound, p, Exact(e, lat, lon, h));
      ExpectWithin(Bound + OracleRounding, p, q);
      double found[3];
      double other[3];
      e.ToGeodetic(p, &found[0], &found[1], &found[2]);
      oracle.Reverse(p.X, p.Y, p.Z, other[0], other[1], other[2]);
      ExpectWithin(2.0 * Bound, p, e.ToEarthCentred(found[0], found[1], found[2]));  // degrees round too
      ASSERT_NEAR(found[2], h, Bound);
      ASSERT_NEAR(found[2], other[2], Bound + 2.0 * OracleRounding);
      ASSERT_NEAR(found[0], other[0], 5e-14);
      ASSERT_NEAR(std::remainder(found[1] - other[1], 360.0) * std::hypot(p.X, p.Y) / 6e6, 0.0, 1e-13);
    }
  }
}

TEST(Ellipsoid, PolesAxesAndTheCentre) {
  const TEllipsoid earth;
  const double a = earth.SemiMajorAxis();
  const double b = earth.SemiMinorAxis();
  const double e2a = a * earth.Flattening() * (2.0 - earth.Flattening());
  const struct {
    T3DPoint point;
    double lat, lon, h;
  } cases[] = {{{0, 0, b + 5}, 90, 0, 5},
               {{0, 0, -b + 5}, -90, 0, -5},
               {{a + 7, 0, 0}, 0, 0, 7},
               {{-a, 0, 0}, 0, 180, 0},
               {{-a, -0.0, 0}, 0, 180, 0},
               {{0, -a - 1e6, 0}, 0, -90, 1e6},
               {{0, 0, 0}, 90, 0, -b},
               {{-0.0, -0.0, -0.0}, 90, 0, -b},
               {{0, 0, -1e-300}, -90, 0, -b},
               {{0, 0, 1e200}, 90, 0, 1e200},
               {{e2a + 1e-3, 0, 0}, 0, 0, -a + e2a + 1e-3}};
  for (const auto& c : cases) {
    double lat = NaN;
    double lon = NaN;
    double h = NaN;
    earth.ToGeodetic(c.point, &lat, &lon, &h);
    EXPECT_EQ(lat, c.lat);
    EXPECT_EQ(lon, c.lon);
    EXPECT_NEAR(h, c.h, Bound);
    ExpectWithin(Bound + std::fabs(h) * 1e-16, earth.ToEarthCentred(lat, lon, h), c.point);
  }
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  const TEllipsoid flat(6e6, 0.5);
  for (int i = 0; i < 20000; ++i) {
    const TEllipsoid& e = i % 2 == 0 ? earth : flat;
    const double size = (i % 2 == 0 ? 6e4 : 6e6) * std::pow(10.0, -(i % 11));
    const T3DPoint p = {size * unit(random), size * unit(random), i % 3 == 0 ? 0.0 : size * unit(random)};
    double lat = NaN;
    double lon = NaN;
    double h = NaN;
    e.ToGeodetic(p, &lat, &lon, &h);
    ExpectWithin(4.0 * Bound, e.ToEarthCentred(lat, lon, h), p);
    const T3DPoint other = e.ToEarthCentred(90.0 * unit(random), lon, 0.0);
    ASSERT_LE(std::fabs(h), Length(other - p) + Bound) << "not the nearest point";
  }
}

TEST(Ellipsoid, ChangesAreTheDerivatives) {
  const TEllipsoid earth;
  for (const double lat : {-90.0, -37.0, 0.0, 60.0}) {
    const T3DPoint step = earth.ToEarthCentred(lat + 2e-5, 25.0 - 1e-5, 1003.0) -
                          earth.ToEarthCentred(lat - 2e-5, 25.0 + 1e-5, 997.0);
    ExpectWithin(1e-7, step, earth.EarthCentredChange(lat, 25.0, 1000.0, 4e-5, -2e-5, 6.0));
  }
}

TEST(Ellipsoid, RefusesWhatIsNone) {
  const std::string text = "TEllipsoid::TEllipsoid(const double& a, const double& f)";
  for (const auto& [a, f] :
       {std::pair{0.0, 0.1}, {-1.0, 0.1}, {Infinity, 0.1}, {NaN, 0.1}, {1.0, -0.1}, {1.0, 1.0}, {1.0, NaN}}) {
    EXPECT_EQ(test::RuntimeErrorOf([a = a, f = f] { TEllipsoid(a, f); }), text);
  }
  const TEllipsoid earth;
  for (const double bad : {NaN, Infinity, -Infinity}) {
    for (const T3DPoint& p : {T3DPoint{bad, 1, 1}, {1, bad, 1}, {1, 1, bad}, {0, 0, bad}}) {
      const T3DPoint q = earth.ToEarthCentred(p.X, p.Y, p.Z);
      T3DPoint g;
      earth.ToGeodetic(p, &g.X, &g.Y, &g.Z);
      for (const double x : {q.X, q.Y, q.Z, g.X, g.Y, g.Z}) EXPECT_TRUE(std::isnan(x));
    }
  }
}

}  // namespace
