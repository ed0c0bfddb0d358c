#include "kelvane/rpc/refinement_estimation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/model_difference.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

using TPoints = std::vector<TRPCEstimationDataItem>;

const TRPCRefinementDataAffine Shifted = {4.0, 1.0, 0.0, -2.5, 0.0, 1.0};
const TRPCRefinementDataAffine Skewed = {4.0, 1.0 + 1e-4, -2e-4, -2.5, 3e-4, 1.0 - 2e-4};

class RefinementEstimation : public testing::Test {
 protected:
  /// Points of the cube and where the refined model sees them, with noise of a standard deviation.
  TPoints Measured(std::size_t count, const TRPCRefinementDataAffine& refinement, double noise,
                   unsigned seed) {
    const TAdjustedRPC refined(&data_, &refinement);
    test::GroundCube cube(data_, seed);
    std::mt19937_64 random(seed);
    std::normal_distribution<double> around(0.0, 1.0);
    TPoints points(count);
    for (TRPCEstimationDataItem& p : points) {
      p = test::SeenBy(refined, cube.Anywhere());
      p.Line += noise * around(random);
      p.Sample += noise * around(random);
    }
    return points;
  }

  /// How far two refinements are apart over the image, pixels.
  double Difference(const TRPCRefinementDataAffine& a, const TRPCRefinementDataAffine& b) const {
    return CalculateMaxImageDifference(TAdjustedRPC(&data_, &a), TAdjustedRPC(&data_, &b));
  }

  TRPCData data_ = test::SampleRecord("pleiades_1.xml");
  TRPC model_{data_, nullptr};
  TRefinementEstimate estimate_;
};

TEST_F(RefinementEstimation, ExactPointsGiveTheRefinementBack) {
  const struct {
    TE_RefinementKind kind;
    const TRPCRefinementDataAffine& refinement;
    std::size_t least;
  } cases[] = {{TE_RefinementKind::Shift, Shifted, 1}, {TE_RefinementKind::Affine, Skewed, 3}};
  for (const auto& c : cases) {
    for (const std::size_t n : {c.least, c.least + 1, std::size_t{40}}) {
      const TPoints points = Measured(n, c.refinement, 0.0, 7);
      ASSERT_TRUE(EstimateRefinement(model_, points, c.kind, &estimate_)) << estimate_.Problem;
      EXPECT_LT(Difference(estimate_.Refinement, c.refinement), 1e-8);
      EXPECT_EQ(estimate_.Kept, n);
      EXPECT_EQ(estimate_.MostBlunders, (n - c.least) / 2);
      EXPECT_GT(estimate_.RmsBefore, 2.0);
      EXPECT_LT(estimate_.RmsAfter, 1e-9);
    }
  }
}

TEST_F(RefinementEstimation, BlundersDoNoHarm) {
  const struct {
    std::size_t count;
    std::size_t blunders;
    bool together;  ///< at one end of the image and all the same, as from a wrong target; else anywhere
  } cases[] = {{20, 3, false}, {20, 3, true},   {8, 2, false},
               {9, 3, true},   {200, 80, true}, {1500, 600, false}};
  for (const TE_RefinementKind kind : {TE_RefinementKind::Shift, TE_RefinementKind::Affine}) {
    const bool shift = kind == TE_RefinementKind::Shift;
    const TRPCRefinementDataAffine& refinement = shift ? Shifted : Skewed;
    for (const auto& c : cases) {
      for (unsigned seed = 1; seed <= (c.count > 20 ? 2U : 10U); ++seed) {
        TPoints points = Measured(c.count, refinement, 0.2, seed);
        if (c.together) {
          std::sort(points.begin(), points.end(),
                    [](const auto& a, const auto& b) { return a.Line < b.Line; });
        }
        const TPoints good(points.begin() + static_cast<std::ptrdiff_t>(c.blunders), points.end());
        for (std::size_t i = 0; i < c.blunders; ++i) {
          points[i].Line += 50.0 * std::cos(c.together ? 1.0 : static_cast<double>(i));
          points[i].Sample += 50.0 * std::sin(c.together ? 1.0 : static_cast<double>(i));
        }
        ASSERT_TRUE(EstimateRefinement(model_, points, kind, &estimate_)) << estimate_.Problem;
        for (std::size_t i = 0; i < c.blunders; ++i) ASSERT_TRUE(estimate_.Points[i].Rejected) << i;
        EXPECT_GE(100 * estimate_.Kept, 99 * good.size()) << seed;
        // As the good points by themselves; of many, one or the other of them may go.
        TRefinementEstimate undisturbed;
        ASSERT_TRUE(EstimateRefinement(model_, good, kind, &undisturbed));
        EXPECT_LE(Difference(estimate_.Refinement, undisturbed.Refinement), c.count <= 20 ? 0.0 : 0.05);
        EXPECT_NEAR(estimate_.RmsAfter, 0.2 * std::sqrt(2.0), 0.2);
        EXPECT_NEAR(std::hypot(estimate_.Points[0].Line, estimate_.Points[0].Sample), 50.0, 1.5);
      }
    }
  }
  TPoints points = Measured(20, Skewed, 0.2, 1);
  for (std::size_t i = 0; i < 3; ++i) points[5 * i].Line += 50.0;
  // A ground point far out of the image, beside which all others seem to be one.
  std::swap(points[7].Latitude, points[7].Longitude);
  ASSERT_TRUE(EstimateRefinement(model_, points, TE_RefinementKind::Affine, &estimate_)) << estimate_.Problem;
  EXPECT_LT(Difference(estimate_.Refinement, Skewed), 0.2);
  EXPECT_EQ(estimate_.Kept, 16U);
  EXPECT_GT(estimate_.Spread, RefinementGoodSpread);
}

TEST_F(RefinementEstimation, SaysWhyThereIsNone) {
  const TPoints good = Measured(4, Shifted, 0.0, 9);
  TPoints on_a_line = good;
  for (std::size_t i = 1; i < 4; ++i) {
    const double part = static_cast<double>(i) / 4.0;
    on_a_line[i] = good[0];
    on_a_line[i].Latitude += 1e-3 * part;
    on_a_line[i].Longitude += 2e-3 * part;
  }
  TPoints not_finite = good;
  not_finite[1].Height = NAN;
  TPoints far = good;
  for (TRPCEstimationDataItem& point : far) point.Line = 1e308;
  TRPCData unseen = data_;
  for (double& coefficient : unseen.LineDenom) coefficient = 0.0;
  const TRPC blind(unseen, nullptr);
  const struct {
    const TRPC& model;
    TPoints points;
    TE_RefinementKind kind;
    const char* problem;
  } cases[] = {
      {model_, {}, TE_RefinementKind::Shift, "1 control point at least, there are 0"},
      {model_, {good[0], good[1]}, TE_RefinementKind::Affine, "3 control points at least, there are 2"},
      {model_, {on_a_line[0], on_a_line[1], on_a_line[2]}, TE_RefinementKind::Affine, "lie on a line"},
      {model_, {good[0], good[0], good[1]}, TE_RefinementKind::Affine, "lie on a line"},
      {model_, not_finite, TE_RefinementKind::Shift, "control point 2 has a coordinate"},
      {blind, good, TE_RefinementKind::Shift, "no image of control point 1"},
      {model_, far, TE_RefinementKind::Shift, "no inverse"},
  };
  for (const auto& c : cases) {
    estimate_.Kept = 5;
    EXPECT_FALSE(EstimateRefinement(c.model, c.points, c.kind, &estimate_)) << c.problem;
    EXPECT_NE(estimate_.Problem.find(c.problem), std::string::npos) << estimate_.Problem;
    EXPECT_EQ(estimate_.Kept, 0U);
    EXPECT_TRUE(estimate_.Points.empty() && estimate_.Refinement.IsUnity());
  }
}

TEST_F(RefinementEstimation, CovariancesAgreeWithTheScatterOfTheCoefficients) {
  constexpr int Runs = 1500;
  for (const auto kind : {TE_RefinementKind::Shift, TE_RefinementKind::Affine}) {
    const TRPCRefinementDataAffine& truth = kind == TE_RefinementKind::Shift ? Shifted : Skewed;
    // The same ground each time, other errors.
    const TPoints exact = Measured(12, truth, 0.0, 3);
    std::mt19937_64 random(17);
    std::normal_distribution<double> around(0.0, 0.4);
    TAffineCorrection scatter = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    TAffineCorrection predicted = scatter;
    for (int run = 0; run < Runs; ++run) {
      TPoints points = exact;
      for (TRPCEstimationDataItem& p : points) {
        p.Line += around(random);
        p.Sample += around(random);
      }
      ASSERT_TRUE(EstimateRefinement(model_, points, kind, &estimate_));
      for (const auto& field : AffineCorrectionFields) {
        const double miss = estimate_.Refinement.*field.Value - truth.*field.Value;
        scatter.*field.Value += miss * miss / Runs;
        predicted.*field.Value +=
            estimate_.Deviations.*field.Value * (estimate_.Deviations.*field.Value) / Runs;
      }
    }
    for (const auto& field : AffineCorrectionFields) {
      const double expected = std::sqrt(scatter.*field.Value);
      EXPECT_NEAR(std::sqrt(predicted.*field.Value), expected, 0.07 * expected) << field.Key;
    }
    // Along the image the bias and what multiplies the line hang together.
    EXPECT_EQ(estimate_.Covariance.Line[0][1] != 0.0, kind == TE_RefinementKind::Affine);
  }
  ASSERT_TRUE(EstimateRefinement(model_, Measured(1, Shifted, 0.1, 1), TE_RefinementKind::Shift, &estimate_));
  EXPECT_TRUE(std::isnan(estimate_.Deviations.LineBias));
}

}  // namespace
