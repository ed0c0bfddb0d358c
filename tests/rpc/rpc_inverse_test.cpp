#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/normal_equations.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_polynomials.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/allocations.h"
#include "tests/support/errors.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

using test::SeenBy;
using Place = TRPCEstimationDataItem;

/// Points spread through the normalised cube, its corners among them, where the model sees them.
std::vector<Place> PointsInCube(const TRPC& model, const TRPCData& data, int count) {
  test::GroundCube cube(data);
  std::vector<Place> points;
  for (int i = 0; i < count; ++i) points.push_back(SeenBy(model, i < 8 ? cube.Corner(i) : cube.Anywhere()));
  return points;
}

/// The distance of two places in the image, pixels.
double Apart(const Place& a, const Place& b) { return std::hypot(a.Line - b.Line, a.Sample - b.Sample); }

class RealInverse : public testing::TestWithParam<const char*> {
 protected:
  void ExpectRoundTrips(const TRPCData& data) {
    const TRPC model(data, nullptr);
    for (const Place& at : PointsInCube(model, data, 20000)) {
      Place back{0.0, 0.0, at.Height};
      ASSERT_TRUE(model.CalculateLatLon(at.Line, at.Sample, at.Height, &back.Latitude, &back.Longitude));
      ASSERT_LE(Apart(SeenBy(model, back), at), TRPCInverse::RoundTripBound);
      const TRPCInverse inverse =
          model.SolveLatLon(at.Line, at.Sample, at.Height, &back.Latitude, &back.Longitude);
      ASSERT_LE(Apart(SeenBy(model, back), at), TRPCInverse::SolvedRoundTripBound);
      ASSERT_TRUE(inverse.Converged);
      ASSERT_LE(inverse.LastStep, TRPCInverse::StepTolerance);
      ASSERT_LE(inverse.Residual, TRPCInverse::SolvedRoundTripBound);
      ASSERT_GT(inverse.Iterations, 1);
    }
  }
};

TEST_P(RealInverse, ImageOfTheAnswerIsThePoint) {
  ExpectRoundTrips(test::SampleRecord(GetParam()));
  ExpectRoundTrips(test::WithNegativeLatitudeScale(test::SampleRecord(GetParam())));
}

/// The iteration written out with the general solvers: the model's must give the same bits.
bool ReferenceInverse(const TRPC& model, const TRPCData& data, double line, double sample, double h,
                      double* lat, double* lon) {
  model.CalculateLatLonApproximately(line * data.LineScale + data.LineOffset,
                                     sample * data.SampleScale + data.SampleOffset,
                                     h * data.HeightScale + data.HeightOffset, lat, lon);
  *lat = (*lat - data.LatitudeOffset) / data.LatitudeScale;
  *lon = (*lon - data.LongitudeOffset) / data.LongitudeScale;
  const double* const coefs[] = {data.LineNum, data.LineDenom, data.SampleNum, data.SampleDenom};
  const TVector weights(2, std::vector<double>(2, 1.0).data());
  for (int i = 0; i < 10; ++i) {
    double v[4];
    double by[2][4];
    CalculateRPCPolynomes(*lat, *lon, h, coefs, v, by[0], by[1], nullptr);
    TMatrix jacobian(2, 2);
    TVector residual(2);
    for (std::size_t row = 0; row < 2; ++row) {
      const std::size_t n = row == 0 ? 2 : 0;  // the sample first
      for (std::size_t x = 0; x < 2; ++x) {
        jacobian.SetElement(x, row, (v[n + 1] * by[x][n] - v[n] * by[x][n + 1]) / (v[n + 1] * v[n + 1]));
      }
      residual[row] = (row == 0 ? sample : line) - v[n] / v[n + 1];
    }
    TMatrix normal(2, 2);
    TVector free;
    TVector step(2);
    NormalEquationsMatrix(jacobian, weights, &normal);
    NormalEquationsFreeTerm(jacobian, residual, weights, &free);
    if (!Cholesky(normal, free, step)) return false;
    if (step.Norma() <= 1e-10) return true;
    *lat += step[0];
    *lon += step[1];
  }
  return true;
}

TEST_P(RealInverse, HasTheBitsOfTheGeneralSolvers) {
  const TRPCData data = test::SampleRecord(GetParam());
  const TRPC model(data, nullptr);
  std::mt19937_64 random(3);
  // Far outside the cube too, where the iteration wanders or fails.
  std::uniform_real_distribution<double> around(-40.0, 40.0);
  int failed = 0;
  for (int i = 0; i < 3000; ++i) {
    const double reach = i % 3 == 0 ? 1.0 : 1.0 / 40.0;
    const double line = around(random) * reach;
    const double sample = around(random) * reach;
    const double h = around(random) * reach;
    double found[] = {7.0, 7.0};
    double expected[2];
    const bool good = ReferenceInverse(model, data, line, sample, h, &expected[0], &expected[1]);
    ASSERT_EQ(model.CalculateLatLonNormalized(line, sample, h, &found[0], &found[1]), good);
    for (int x = 0; x < 2; ++x) {
      ASSERT_TRUE(found[x] == expected[x] || (std::isnan(found[x]) && std::isnan(expected[x]))) << i;
    }
    failed += good ? 0 : 1;
    // What claims a small residual has one.
    Place at{0.0, 0.0, data.HeightOffset + h * data.HeightScale, data.LineOffset + line * data.LineScale,
             data.SampleOffset + sample * data.SampleScale};
    if (model.SolveLatLon(at.Line, at.Sample, at.Height, &at.Latitude, &at.Longitude).Residual <= 1e-3) {
      ASSERT_LE(Apart(SeenBy(model, at), at), 2e-3) << i;
    }
  }
  EXPECT_LT(failed, 3000);
}

TEST_P(RealInverse, AllocatesNothing) {
  const TRPCData data = test::SampleRecord(GetParam());
  const TRPC model(data, nullptr);
  model.EnsureApproximation();
  const std::vector<Place> points = PointsInCube(model, data, 10000);
  double sum = 0.0;
  const long before = test::AllocationCount();
  for (Place at : points) {
    double by[2][3];
    model.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &at.Line, &at.Sample, by[0], by[1]);
    model.CalculateLatLon(at.Line, at.Sample, at.Height, &at.Latitude, &at.Longitude);
    sum += model.SolveLatLon(at.Line, at.Sample, at.Height, &at.Latitude, &at.Longitude).Residual;
  }
  EXPECT_EQ(test::AllocationCount(), before);
  EXPECT_TRUE(std::isfinite(sum));
  const std::vector<int> counted(1);
  EXPECT_GT(test::AllocationCount(), before) << "nothing is counted";
}

INSTANTIATE_TEST_SUITE_P(Samples, RealInverse,
                         testing::Values("worldview3.RPB", "pleiades_1.xml", "pleiades_2.xml"));

/// A model that notes what it is asked, and answers by two fractions that may be bent.
class WatchedModel : public TRPC {
 public:
  using TRPC::TRPC;
  void CalculateLineSample(const double& lat, const double& lon, const double& h, double* line,
                           double* sample, double* dLine, double* dSample) const override {
    EXPECT_TRUE(dLine == nullptr && dSample == nullptr);
    asked.push_back({lat, lon, h});
    *line = (2.0 * lat - lon) / (1.0 + 0.1 * lat - 0.05 * lon + 0.002 * h) + bend_line * lat * lat * lat;
    *sample = (lat + 3.0 * lon + 0.5 * h) / (1.0 - 0.2 * lat + 0.001 * h) + bend_sample * lon * lon * lon;
  }
  double bend_line = 0.0;
  double bend_sample = 0.0;
  mutable std::vector<Place> asked;
};

TEST(RpcApproximation, IsFittedToAGridOfTheModelsOwnProjection) {
  TRPCData data = test::IdentityRecord();
  data.HeightOffset = 100.0;
  data.HeightScale = 10.0;
  const WatchedModel model(data, nullptr);
  ASSERT_TRUE(model.EnsureApproximation());
  ASSERT_EQ(model.asked.size(), 125U);
  const double nodes[] = {-1.0, -0.6, -0.2, 0.2, 0.6};
  for (std::size_t i = 0; i < 125; ++i) {
    EXPECT_NEAR(model.asked[i].Latitude, nodes[i / 25], 1e-15);
    EXPECT_NEAR(model.asked[i].Longitude, nodes[i / 5 % 5], 1e-15);
    EXPECT_NEAR(model.asked[i].Height, 100.0 + 10.0 * nodes[i % 5], 1e-12);
  }
  double groups[4][4];
  ASSERT_TRUE(model.GetApproximation(groups[0], groups[1], groups[2], groups[3]));
  EXPECT_EQ(model.asked.size(), 125U) << "made once";
  const double expected[4][4] = {{2, -1, 0, 0}, {0.1, -0.05, 0.002, 1}, {1, 3, 0.5, 0}, {-0.2, 0, 0.001, 1}};
  for (std::size_t g = 0; g < 4; ++g) {
    for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(groups[g][i], expected[g][i], 1e-6) << g << ' ' << i;
  }
  double to[2];
  model.CalculateLineSampleApproximately(0.5, 0.7, 110.0, &to[0], &to[1]);
  EXPECT_NEAR(to[0], 0.3 / 1.235, 1e-6);
  EXPECT_NEAR(to[1], 57.6 / 1.01, 1e-6);
  model.CalculateLatLonApproximately(0.3 / 1.235, 57.6 / 1.01, 110.0, &to[0], &to[1]);
  EXPECT_NEAR(to[0], 0.5, 1e-5);
  EXPECT_NEAR(to[1], 0.7, 1e-5);
}

/// Whether the fractions were given up, for functions bent so much that fractions miss them by some pixels.
bool IsAffine(double bend_line, double bend_sample) {
  WatchedModel model(test::IdentityRecord(), nullptr);
  model.bend_line = bend_line;
  model.bend_sample = bend_sample;
  double groups[4][4];
  EXPECT_TRUE(model.GetApproximation(groups[0], groups[1], groups[2], groups[3]));
  const std::vector<double> one = {0, 0, 0, 1};
  const bool affine = one == std::vector<double>(groups[1], groups[1] + 4);
  EXPECT_EQ(affine, one == std::vector<double>(groups[3], groups[3] + 4)) << "both or none";
  EXPECT_EQ(model.asked.size(), 125U);
  return affine;
}

TEST(RpcApproximation, GivesUpFractionsThatMissByAThousandPixels) {
  // The largest miss is in proportion to the bend; it passes 1000 pixels at a bend of some 10300.
  for (const bool of_line : {true, false}) {
    EXPECT_FALSE(IsAffine(of_line ? 9800.0 : 0.0, of_line ? 0.0 : 9800.0));
    EXPECT_TRUE(IsAffine(of_line ? 10900.0 : 0.0, of_line ? 0.0 : 10900.0));
  }

  const WatchedModel model(test::IdentityRecord(), nullptr);
  for (const int n : {1, 0, -3}) {
    EXPECT_EQ(test::TextThrownBy([&] { model.CreateApproximation(n); }),
              "TOverdefinedLinearSystem::TOverdefinedLinearSystem(const TMatrix&,const TVector&)");
  }
  model.asked.clear();
  EXPECT_TRUE(model.EnsureApproximation());
  EXPECT_EQ(model.asked.size(), 125U) << "what failed leaves none";
}

TEST(RpcInverse, TellsWhatASlowIterationLeaves) {
  // Towards the triple root of line = P³ each step goes a third of the way.
  TRPCData data = test::IdentityRecord();
  data.LineNum[2] = 0.0;
  data.LineNum[15] = 1.0;
  data.LineScale = 3000.0;
  data.SampleScale = 500.0;
  data.LatitudeScale = 0.5;
  const TRPC model(data, nullptr);
  double lat = 0.0;
  double lon = 0.0;
  const TRPCInverse inverse = model.SolveLatLon(0.0, 100.0, 0.0, &lat, &lon);
  EXPECT_FALSE(inverse.Converged);
  EXPECT_EQ(inverse.Iterations, TRPCInverse::MaxIterations);
  const double P = lat / 0.5;
  EXPECT_GT(std::fabs(P), 1e-3);
  EXPECT_NEAR(inverse.LastStep, std::fabs(P) / 2.0, 1e-9);
  EXPECT_NEAR(inverse.Residual, 3000.0 * std::fabs(P * P * P), 1e-12);
  EXPECT_NEAR(lon, 0.2, 1e-9);
  const TRPCInverse of_nan = model.SolveLatLon(0.0, std::nan(""), 0.0, &lat, &lon);
  EXPECT_EQ(of_nan.Iterations, 1);
  EXPECT_TRUE(std::isnan(of_nan.LastStep));
}

TEST(RpcInverse, SaysNoWhereThereIsNoAnswer) {
  const double inf = std::numeric_limits<double>::infinity();
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TRPC model(data, nullptr);
  const Place at = SeenBy(model, test::GroundCube(data).At(0.0, 0.0, 0.0));
  double lat = 0.0;
  double lon = 0.0;
  for (const double bad : {std::nan(""), inf, -inf, 1e300}) {
    for (int i = 0; i < 3; ++i) {
      double p[] = {at.Line, at.Sample, at.Height};
      p[i] = bad;
      EXPECT_FALSE(model.SolveLatLon(p[0], p[1], p[2], &lat, &lon).Residual <= 1e-3) << bad << ' ' << i;
      // Without an effect on the next.
      EXPECT_LE(model.SolveLatLon(at.Line, at.Sample, at.Height, &lat, &lon).Residual, 1e-9);
      EXPECT_NEAR(lat, at.Latitude, 1e-12);
    }
  }
  TRPCData flat = test::IdentityRecord();
  flat.SampleNum[1] = 0.0;  // the sample is 0 everywhere
  flat.LatitudeOffset = 5.0;
  const TRPC without_ground(flat, nullptr);
  EXPECT_FALSE(without_ground.CalculateLatLon(0.5, 0.5, 0.0, &lat, &lon));
  EXPECT_FALSE(without_ground.SolveLatLon(0.5, 0.5, 0.0, &lat, &lon).Residual <= 1e-3);
  flat = test::IdentityRecord();
  flat.LineDenom[0] = 0.0;
  EXPECT_FALSE(TRPC(flat, nullptr).CalculateLatLon(0.5, 0.5, 0.0, &lat, &lon));
}

}  // namespace
