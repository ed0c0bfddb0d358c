#include "kelvane/geometry/spatial.h"

#include <gtest/gtest.h>

#include <Eigen/SVD>
#include <cmath>
#include <random>

namespace {

using namespace SatCommonUtils;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

class Spatial : public testing::Test {
 protected:
  T3DPoint Anywhere(double size) {
    return {size * unit_(random_), size * unit_(random_), size * unit_(random_)};
  }

  std::mt19937_64 random_{20261205};
  std::uniform_real_distribution<double> unit_{-1.0, 1.0};
};

TEST_F(Spatial, RayAndPlane) {
  const TPlane level = {{5, 6, 2}, {0, 0, 1e-200}};
  const struct {
    TRay ray;
    TPlane plane;
    double t;  ///< NaN for none
  } cases[] = {{{{1, 1, 10}, {0, 0, -4}}, level, 2},
               {{{1, 1, 10}, {0, 0, 1e200}}, level, -8e-200},
               {{{1, 1, 2}, {3, 4, 5}}, level, 0},
               {{{1, 1, 2}, {3, 4, 0}}, level, NaN},
               {{{1, 1, 3}, {0.3, -0.1, 0}}, {{}, {0.1, 0.3, 0.7}}, NaN},
               {{{1, 1, 3}, {0, 0, 0}}, level, NaN},
               {{{1, 1, 3}, {0, 0, 1}}, {{}, {0, 0, 0}}, NaN},
               {{{1, NaN, 3}, {0, 0, 1}}, level, NaN},
               {{{1, 1, 3}, {0, 0, Infinity}}, level, NaN},
               {{{1, 1, Infinity}, {0, 0, 1}}, level, NaN}};
  for (const auto& c : cases) {
    double t = NaN;
    EXPECT_EQ(IntersectPlane(c.ray, c.plane, &t), !std::isnan(c.t));
    EXPECT_TRUE(std::isnan(c.t) ? std::isnan(t) : std::fabs(t - c.t) <= 1e-15 * std::fabs(c.t)) << t;
  }
}

TEST_F(Spatial, RayAndSphere) {
  const struct {
    TRay ray;
    double radius;
    int count;
    double first, second, ahead;  ///< ahead NaN for none
  } cases[] = {{{{-10, 0, 0}, {2, 0, 0}}, 2, 2, 4, 6, 4},
               {{{10, 0, 0}, {2, 0, 0}}, 2, 2, -6, -4, NaN},
               {{{1, 0, 0}, {0.5, 0, 0}}, 2, 2, -6, 2, 2},
               {{{-2, 0, 0}, {1, 0, 0}}, 2, 2, 0, 4, 0},
               {{{2, 0, 0}, {1, 0, 0}}, 2, 2, -4, 0, 0},
               {{{0, 0, 0}, {0, 0, -1e-200}}, 2, 2, -2e200, 2e200, 2e200},
               {{{-10, 0.6, 0.8}, {1, 0, 0}}, 1, 1, 10, 10, 10},
               {{{-10, 0.6, 0.8000001}, {1, 0, 0}}, 1, 0, NaN, NaN, NaN},
               {{{-1e9, 0, 0}, {1, 0, 0}}, 1e-3, 2, 1e9 - 1e-3, 1e9 + 1e-3, 1e9 - 1e-3},
               {{{-5, 0, 0}, {1, 0, 0}}, 0, 1, 5, 5, 5},
               {{{-5, 0, 0}, {1, 0, 0}}, -1, 0, NaN, NaN, NaN},
               {{{-5, 0, 0}, {0, 0, 0}}, 6, 0, NaN, NaN, NaN},
               {{{-5, 0, NaN}, {1, 0, 0}}, 6, 0, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, Infinity, 0}}, 6, 0, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, 0, 0}}, NaN, 0, NaN, NaN, NaN},
               {{{-5, 0, 0}, {1, 0, 0}}, Infinity, 0, NaN, NaN, NaN}};
  const auto same = [](double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::fabs(a - b) <= 1e-15 * std::fabs(b);
  };
  for (const auto& c : cases) {
    const TRayCrossings found = IntersectSphere(c.ray, {}, c.radius);
    EXPECT_EQ(found.Count, c.count);
    EXPECT_TRUE(same(found.First, c.first) && same(found.Second, c.second)) << found.First << found.Second;
    double ahead = NaN;
    EXPECT_EQ(found.Ahead(&ahead), !std::isnan(c.ahead));
    EXPECT_TRUE(same(ahead, c.ahead));
  }
}

TEST_F(Spatial, RayFromOrbitMeetsTheEarthBothSides) {
  const TEllipsoid earth;
  for (int i = 0; i < 5000; ++i) {
    const T3DPoint near = earth.ToEarthCentred(90.0 * unit_(random_), 180.0 * unit_(random_), 0.0);
    const T3DPoint far = earth.ToEarthCentred(90.0 * unit_(random_), 180.0 * unit_(random_), 0.0);
    const double back = 1.0 + unit_(random_);
    const TRay ray = {near - back * (far - near), far - near};
    const TRayCrossings found = IntersectEllipsoid(ray, earth);
    const double grazing = 1e-16 * (1.0 + back) * 6.4e6 / Length(far - near);
    ASSERT_EQ(found.Count, 2);
    ASSERT_NEAR(found.First, back, 1e-14 + 20.0 * grazing * 6.4e6 / Length(far - near));
    ASSERT_NEAR(found.Second, back + 1.0, 1e-14 + 20.0 * grazing * 6.4e6 / Length(far - near));
  }
  const double a = earth.SemiMajorAxis();
  const double b = earth.SemiMinorAxis();
  EXPECT_EQ(IntersectEllipsoid({{-1e7, 0, b}, {1, 0, 0}}, earth).Count, 1);
  EXPECT_EQ(IntersectEllipsoid({{-1e7, 0, b + 0.001}, {1, 0, 0}}, earth).Count, 0);
  EXPECT_EQ(IntersectEllipsoid({{a, -1e7, 0}, {0, 1, 0}}, earth).First, 1e7);
}

TEST_F(Spatial, PlaneIsThatOfTheSingularValues) {
  for (std::size_t count = 3; count < 200; ++count) {
    const T3DPoint centre = Anywhere(6e6);
    const T3DPoint along = Anywhere(1e3);
    const T3DPoint across = Anywhere(1e2);
    Eigen::MatrixXd deviations(count, 3);
    std::vector<T3DPoint> points;
    for (std::size_t i = 0; i < count; ++i) {
      points.push_back(centre + unit_(random_) * along + unit_(random_) * across + Anywhere(0.5));
      deviations.row(static_cast<Eigen::Index>(i)) << points[i].X, points[i].Y, points[i].Z;
    }
    const Eigen::RowVector3d mean = deviations.colwise().mean();
    deviations.rowwise() -= mean;
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(deviations, Eigen::ComputeThinV);
    const Eigen::Vector3d normal = svd.matrixV().col(2);
    TPlane plane;
    double residual = NaN;
    ASSERT_TRUE(FitPlane(points, &plane, &residual));
    ASSERT_NEAR(residual, svd.singularValues()[2] / std::sqrt(static_cast<double>(count)), 1e-8);
    ASSERT_NEAR(std::fabs(Dot(plane.Normal, {normal[0], normal[1], normal[2]})), 1.0, 1e-12);
    ASSERT_TRUE(plane.Normal.Z > 0.0 && std::fabs(Length(plane.Normal) - 1.0) < 1e-14);
    ASSERT_LT(Length(plane.Point - T3DPoint{mean[0], mean[1], mean[2]}), 1e-7);
  }
}

TEST_F(Spatial, PointsThatTellNoPlane) {
  const T3DPoint at = Anywhere(6e6);
  const T3DPoint along = Anywhere(1.0);
  TPlane plane;
  for (const double size : {0.0, 1e-6, 1.0, 1e5}) {
    EXPECT_FALSE(
        FitPlane({at, at + size * along, at + 3.0 * size * along, at - size * along}, &plane, nullptr));
  }
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}}, &plane, nullptr));
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}, {0, 1, NaN}}, &plane, nullptr));
  EXPECT_FALSE(FitPlane({{0, 0, 0}, {1, 0, 0}, {0, Infinity, 0}}, &plane, nullptr));
  EXPECT_EQ(Length(plane.Normal), 0.0);
  EXPECT_TRUE(FitPlane({{0, 0, 1}, {1, 0, 1}, {0, -1e-5, 1}}, &plane, nullptr));
  EXPECT_EQ(plane.Normal.Z, 1.0);
}

TEST_F(Spatial, AngleOfDirections) {
  for (const double degrees : {0.0, 1e-13, 1e-5, 30.0, 90.0, 179.0, 180.0}) {
    const double radians = degrees * M_PI / 180.0;
    const TRay tilted = {Anywhere(1.0), {3e200 * std::cos(radians), 0, 3e200 * std::sin(radians)}};
    EXPECT_NEAR(ConvergenceAngle({Anywhere(1.0), {1e-5, 0, 0}}, tilted), degrees, 1e-15 + 3e-14 * degrees);
  }
  EXPECT_TRUE(std::isnan(ConvergenceAngle(T3DPoint{}, T3DPoint{1, 0, 0})));
  EXPECT_TRUE(std::isnan(ConvergenceAngle(T3DPoint{1, 0, 0}, T3DPoint{1, Infinity, 0})));
}

}  // namespace
