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

template <class Model, class... More>
Seen Image(const Model& model, const T3DPoint& at, More... more) {
  Seen seen;
  model.CalculateLineSample(at.X, at.Y, at.Z, &seen.Line, &seen.Sample, more...);
  return seen;
}

double Missed(const TRPC1& model, const Seen& seen, const T3DPoint& at) {
  const Seen image = Image(model, at);
  return std::pow(seen.Line - image.Line, 2) + std::pow(seen.Sample - image.Sample, 2);
}

/// The approximation of a real model: degrees and metres.
TRPC1 FirstOrder(const TRPC& model) {
  TRPC1Params p;
  EXPECT_TRUE(model.GetApproximation(p.LineNum, p.LineDenom, p.SampleNum, p.SampleDenom));
  return TRPC1(p);
}

std::mt19937_64 generator(20261207);

double Unit() { return std::uniform_real_distribution<double>(-1.0, 1.0)(generator); }

T3DPoint Within(const TRPCData& d) {
  return {d.LatitudeOffset + 0.8 * d.LatitudeScale * Unit(),
          d.LongitudeOffset + 0.8 * d.LongitudeScale * Unit(), d.HeightOffset + 0.8 * d.HeightScale * Unit()};
}

const TRPCData Record = test::SampleRecord("pleiades_1.xml");
const TRPC Left(Record, nullptr);
const TRPC Right(test::SampleRecord("pleiades_2.xml"), nullptr);

TEST(Stereo, FirstOrderModelsMeetInTheLeastSquares) {
  const TRPC1 a = FirstOrder(Left);
  const TRPC1 b = FirstOrder(Right);
  // The same model: a factor that numerator and denominator share is none.
  TRPC1Params tiny;
  b.GetParams(&tiny);
  for (double(*set)[TRPC1Params::CoefficientCount] : {&tiny.LineNum, &tiny.LineDenom}) {
    for (double& value : *set) value *= 0x1p-40;
  }
  T3DPoint p;
  double residual = NaN;
  const auto meet = [&](const TRPC1& one, const Seen& in_one, const TRPC1& other, const Seen& in_other) {
    return SpaceIntersection(one, in_one.Line, in_one.Sample, other, in_other.Line, in_other.Sample, &p.X,
                             &p.Y, &p.Z, &residual);
  };
  for (int i = 0; i < 1000; ++i) {
    const T3DPoint at = Within(Record);
    Seen in_a = Image(a, at);
    const Seen in_b = Image(b, at);
    const long before = test::AllocationCount();
    ASSERT_TRUE(meet(a, in_a, b, in_b));
    ASSERT_EQ(test::AllocationCount(), before);
    ASSERT_LT(std::hypot(p.X - at.X, p.Y - at.Y), 1e-10);
    ASSERT_TRUE(std::fabs(p.Z - at.Z) < 1e-4 && residual < 1e-7);

    in_a = {in_a.Line + 30.0 * Unit(), in_a.Sample + 30.0 * Unit()};
    ASSERT_TRUE(meet(a, in_a, b, in_b));
    const double least = Missed(a, in_a, p) + Missed(b, in_b, p);
    ASSERT_NEAR(residual, std::sqrt(least / 4.0), 1e-9);
    const T3DPoint best = p;
    ASSERT_TRUE(meet(a, in_a, TRPC1(tiny), in_b));
    ASSERT_TRUE(std::hypot(p.X - best.X, p.Y - best.Y) < 1e-12 && std::fabs(p.Z - best.Z) < 1e-6);
    for (const T3DPoint& d : {T3DPoint{1e-6, 0, 0}, {0, 1e-6, 0}, {0, 0, 0.1}}) {
      ASSERT_GT(Missed(a, in_a, p - d) + Missed(b, in_b, p - d), least);
      ASSERT_GT(Missed(a, in_a, p + d) + Missed(b, in_b, p + d), least);
    }
  }
  const Seen in_a = Image(a, Within(Record));
  p = {7, 8, 9};
  EXPECT_FALSE(meet(a, in_a, a, in_a)) << "parallel";
  EXPECT_FALSE(meet(a, in_a, TRPC1(), in_a));
  for (const double bad : {NaN, std::numeric_limits<double>::infinity(), 1e300}) {
    EXPECT_FALSE(meet(a, {in_a.Line, bad}, b, in_a));
  }
  EXPECT_EQ(p.X + p.Y + p.Z, 24.0);
}

TEST(Stereo, ConvergenceAngleIsThatOfTheRays) {
  const TEllipsoid earth;
  // What one image point sees, 20 metres up and down.
  const auto up_from = [&](const TRPC& model, const T3DPoint& p) {
    const Seen seen = Image(model, p, nullptr, nullptr);
    const auto at = [&](double h) {
      double there[2];
      model.SolveLatLon(seen.Line, seen.Sample, h, &there[0], &there[1]);
      return earth.ToEarthCentred(there[0], there[1], h);
    };
    return at(p.Z + 20.0) - at(p.Z - 20.0);
  };
  double degrees = NaN;
  for (int i = 0; i < 100; ++i) {
    const T3DPoint p = Within(Record);
    TRay ray;
    ASSERT_TRUE(CalculateRay(Left, p.X, p.Y, p.Z, &ray));
    ASSERT_LT(ConvergenceAngle(ray.Direction, up_from(Left, p)), 1e-4);
    ASSERT_TRUE(CalculateConvergenceAngle(Left, Right, p.X, p.Y, p.Z, &degrees));
    ASSERT_NEAR(degrees, ConvergenceAngle(up_from(Left, p), up_from(Right, p)), 1e-4);
  }
  TRPCData level = test::IdentityRecord();
  level.SampleNum[1] = 0.0;
  level.SampleNum[3] = 1.0;  // height and latitude stay
  EXPECT_FALSE(CalculateConvergenceAngle(Left, TRPC(level, nullptr), 0.0, 0.0, 0.0, &degrees));
  EXPECT_FALSE(CalculateConvergenceAngle(Left, Right, NaN, 0.0, 0.0, &degrees));
  EXPECT_FALSE(std::isnan(degrees));
}

}  // namespace
