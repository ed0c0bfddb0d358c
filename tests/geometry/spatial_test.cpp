#include "kelvane/geometry/spatial.h"

#include <gtest/gtest.h>

#include <Eigen/SVD>
#include <cmath>
#include <random>

namespace {

using namespace SatCommonUtils;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

std::mt19937_64 generator(20261205);

double Unit() { return std::uniform_real_distribution<double>(-1.0, 1.0)(generator); }

T3DPoint Anywhere(double size) { return {size * Unit(), size * Unit(), size * Unit()}; }

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
    EXPECT_EQ(IntersectPlane(c.ray, c.plane, &t), !std::isnan(c.t));
    EXPECT_TRUE(Same(t, c.t)) << t;
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
               {{{-5, 0, 0}, {1, 0, 0}}, -1, NaN, NaN, NaN},
               {{{-5, 0, 0}, {0, 0, 0}}, 6, NaN, NaN, NaN},
               {{{-5, 0, NaN}, {1, 0, 0}}, 6, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, Infinity, 0}}, 6, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, 0, 0}}, Infinity, NaN, NaN, NaN}};
  for (const auto& c : cases) {
    const TRayCrossings found = IntersectSphere(c.ray, {}, c.radius);
    EXPECT_EQ(found.Count, std::isnan(c.first) ? 0 : c.first == c.second ? 1 : 2);
    EXPECT_TRUE(Same(found.First, c.first) && Same(found.Second, c.second)) << found.First << found.Second;
    double ahead = NaN;
    EXPECT_EQ(found.Ahead(&ahead), !std::isnan(c.ahead));
    EXPECT_TRUE(Same(ahead, c.ahead));
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
    const T3DPoint centre = Anywhere(6e6);
    const T3DPoint along = Anywhere(1e3);
    const T3DPoint across = Anywhere(1e2);
    Eigen::MatrixXd deviations(count, 3);
    std::vector<T3DPoint> points;
    for (int i = 0; i < count; ++i) {
      points.push_back(centre + Unit() * along + Unit() * across + Anywhere(0.5));
      deviations.row(i) << points.back().X, points.back().Y, points.back().Z;
    }
    deviations.rowwise() -= deviations.colwise().mean().eval();
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(deviations, Eigen::ComputeThinV);
    const Eigen::Vector3d normal = svd.matrixV().col(2);
    ASSERT_TRUE(FitPlane(points, &plane, &residual));
    ASSERT_NEAR(residual, svd.singularValues()[2] / std::sqrt(count), 1e-8);
    ASSERT_NEAR(std::fabs(Dot(plane.Normal, {normal[0], normal[1], normal[2]})), 1.0, 1e-12);
    ASSERT_TRUE(plane.Normal.Z > 0.0 && std::fabs(Length(plane.Normal) - 1.0) < 1e-14);
  }
  const T3DPoint at = Anywhere(6e6);
  const T3DPoint along = Anywhere(1.0);
  for (const double size : {0.0, 1e-6, 1.0, 1e5}) {
    EXPECT_FALSE(FitPlane({at, at + size * along, at + 3.0 * size * along}, &plane, nullptr)) << size;
  }
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}}, &plane, nullptr));
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}, {0, 1, NaN}}, &plane, nullptr));
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}, {0, Infinity, 0}}, &plane, nullptr));
  EXPECT_LT(plane.Normal.Z, 1.0);
  EXPECT_TRUE(FitPlane({{0, 0, 1}, {1, 0, 1}, {0, -1e-5, 1}}, &plane, nullptr));
  EXPECT_EQ(plane.Normal.Z, 1.0);
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
