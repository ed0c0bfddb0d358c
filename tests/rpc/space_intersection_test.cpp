#include "kelvane/rpc/space_intersection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "kelvane/rpc/convergence.h"
#include "tests/support/allocations.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

struct Seen {
  double Line = 0.0;
  double Sample = 0.0;
};

Seen Image(const TRPC1& model, const T3DPoint& at) {
  Seen seen;
  model.CalculateLineSample(at.X, at.Y, at.Z, &seen.Line, &seen.Sample);
  return seen;
}

double Missed(const TRPC1& model, const Seen& seen, const T3DPoint& at) {
  const Seen image = Image(model, at);
  return std::pow(seen.Line - image.Line, 2) + std::pow(seen.Sample - image.Sample, 2);
}

class Stereo : public testing::Test {
 protected:
  /// The approximation of a real model: degrees and metres.
  static TRPC1 FirstOrder(const TRPC& model) {
    TRPC1Params p;
    EXPECT_TRUE(model.GetApproximation(p.LineNum, p.LineDenom, p.SampleNum, p.SampleDenom));
    return TRPC1(p);
  }

  T3DPoint Anywhere() {
    return {data_.LatitudeOffset + 0.8 * data_.LatitudeScale * unit_(random_),
            data_.LongitudeOffset + 0.8 * data_.LongitudeScale * unit_(random_),
            data_.HeightOffset + 0.8 * data_.HeightScale * unit_(random_)};
  }

  TRPCData data_ = test::SampleRecord("pleiades_1.xml");
  TRPC left_{data_, nullptr}, right_{test::SampleRecord("pleiades_2.xml"), nullptr};
  std::mt19937_64 random_{20261207};
  std::uniform_real_distribution<double> unit_{-1.0, 1.0};
};

TEST_F(Stereo, FirstOrderModelsMeetInTheLeastSquares) {
  const TRPC1 a = FirstOrder(left_);
  const TRPC1 b = FirstOrder(right_);
  T3DPoint p;
  double residual = NaN;
  const auto meet = [&](const TRPC1& one, const Seen& in_one, const TRPC1& other, const Seen& in_other) {
    return SpaceIntersection(one, in_one.Line, in_one.Sample, other, in_other.Line, in_other.Sample, &p.X,
                             &p.Y, &p.Z, &residual);
  };
  for (int i = 0; i < 1000; ++i) {
    const T3DPoint at = Anywhere();
    Seen in_a = Image(a, at);
    const Seen in_b = Image(b, at);
    const long before = test::AllocationCount();
    ASSERT_TRUE(meet(a, in_a, b, in_b));
    ASSERT_EQ(test::AllocationCount(), before);
    ASSERT_TRUE(std::fabs(p.X - at.X) < 1e-10 && std::fabs(p.Y - at.Y) < 1e-10);
    ASSERT_NEAR(p.Z, at.Z, 1e-4);
    ASSERT_LT(residual, 1e-7);

    in_a = {in_a.Line + 30.0 * unit_(random_), in_a.Sample + 30.0 * unit_(random_)};
    ASSERT_TRUE(meet(a, in_a, b, in_b));
    const double least = Missed(a, in_a, p) + Missed(b, in_b, p);
    ASSERT_NEAR(residual, std::sqrt(least / 4.0), 1e-9);
    for (const T3DPoint& d : {T3DPoint{1e-6, 0, 0}, {0, 1e-6, 0}, {0, 0, 0.1}}) {
      for (const T3DPoint& other : {p - d, p + d}) {
        ASSERT_GT(Missed(a, in_a, other) + Missed(b, in_b, other), least);
      }
    }
  }
  const Seen in_a = Image(a, Anywhere());
  p = {7, 8, 9};
  EXPECT_FALSE(meet(a, in_a, a, in_a)) << "parallel";
  EXPECT_FALSE(meet(a, in_a, TRPC1(), in_a));
  for (const double bad : {NaN, std::numeric_limits<double>::infinity(), 1e300}) {
    EXPECT_FALSE(meet(a, {in_a.Line, bad}, b, in_a));
  }
  EXPECT_EQ(p.X + p.Y + p.Z, 24.0);
}

TEST_F(Stereo, ConvergenceAngleIsThatOfTheRays) {
  const TEllipsoid earth;
  // What one image point sees, 20 metres up and down.
  const auto up_from = [&](const TRPC& model, double lat, double lon, double h) {
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(lat, lon, h, &line, &sample, nullptr, nullptr);
    const auto at = [&](double height) {
      double there[2];
      model.SolveLatLon(line, sample, height, &there[0], &there[1]);
      return earth.ToEarthCentred(there[0], there[1], height);
    };
    return at(h + 20.0) - at(h - 20.0);
  };
  double degrees = NaN;
  for (int i = 0; i < 100; ++i) {
    const auto [lat, lon, h] = Anywhere();
    TRay ray;
    ASSERT_TRUE(CalculateRay(left_, lat, lon, h, &ray));
    ASSERT_LT(ConvergenceAngle(ray.Direction, up_from(left_, lat, lon, h)), 1e-4);
    ASSERT_TRUE(CalculateConvergenceAngle(left_, right_, lat, lon, h, &degrees));
    ASSERT_NEAR(degrees, ConvergenceAngle(up_from(left_, lat, lon, h), up_from(right_, lat, lon, h)), 1e-4);
  }

  TRPCData tilted = test::IdentityRecord();
  const double lean = 1e-5;  // degrees of longitude a metre
  tilted.SampleNum[3] = lean;
  const TRPC west(tilted, nullptr);
  tilted.SampleNum[3] = -lean;
  const TRPC east(tilted, nullptr);
  ASSERT_TRUE(CalculateConvergenceAngle(west, east, 0.0, 33.0, 100.0, &degrees));
  const double slope = lean * M_PI / 180.0 * (earth.SemiMajorAxis() + 100.0);
  EXPECT_NEAR(degrees, 2.0 * std::atan(slope) * 180.0 / M_PI, 1e-12);

  tilted.SampleNum[1] = 0.0;  // sees lines of latitude only
  EXPECT_FALSE(CalculateConvergenceAngle(west, TRPC(tilted, nullptr), 0.0, 33.0, 100.0, &degrees));
  EXPECT_FALSE(CalculateConvergenceAngle(west, east, NaN, 33.0, 100.0, &degrees));
  EXPECT_GT(degrees, 80.0);
}

}  // namespace
