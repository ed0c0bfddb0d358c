#include "kelvane/rpc/ground_solution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kelvane/module/host/message.h"
#include "kelvane/numeric/linear_solvers.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/allocations.h"
#include "tests/support/matrices.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using Items = std::vector<TRPCCoordsDataItem>;
using Ground = std::vector<double>;

constexpr double Infinity = std::numeric_limits<double>::infinity();

TRPCCoordsDataItem Seen(const TRPC& model, const Ground& at) {
  const TRPCEstimationDataItem seen = test::SeenBy(model, {at[0], at[1], at[2]});
  return {&model, seen.Line, seen.Sample, 3.0, 0.0};  // weights that nobody reads
}

class GroundSolution : public testing::Test {
 protected:
  Ground Anywhere() {
    const TRPCEstimationDataItem at = cube_.Anywhere();
    return {at.Latitude, at.Longitude, at.Height};
  }

  TRPCData data_ = test::SampleRecord("pleiades_1.xml");
  TRPC a_{data_, nullptr}, b_{test::SampleRecord("pleiades_2.xml"), nullptr};
  test::GroundCube cube_{data_};
};

void ExpectNear(const Ground& found, const Ground& expected, double metres) {
  for (std::size_t i = 0; i < 3; ++i) ASSERT_NEAR(found[i], expected[i], i < 2 ? metres / 111320.0 : metres);
}

TEST_F(GroundSolution, ExactImagesGiveThePointBackWithoutAllocation) {
  a_.EnsureApproximation();
  b_.EnsureApproximation();
  for (int i = 0; i < 2000; ++i) {
    const Ground at = Anywhere();
    const Items items = {Seen(a_, at), Seen(b_, at)};
    Ground g(3);
    const long before = test::AllocationCount();
    TRPC::CalculateLatLonH(a_, items[0].Line, items[0].Sample, b_, items[1].Line, items[1].Sample, &g[0],
                           &g[1], &g[2]);
    ASSERT_EQ(test::AllocationCount(), before);
    ExpectNear(g, at, 1e-6);
    const TGroundSolution told = SolveLatLonH(items.data(), 2, &g[0], &g[1], &g[2]);
    ASSERT_TRUE(told.Solved && told.Converged && told.Residual < 1e-9 && told.Independence > 0.01);
    ASSERT_TRUE(CalculateLatLon(items, at[2], &g[0], &g[1]));
    ExpectNear({g[0], g[1], at[2]}, at, 1e-6);
  }
}

/// Written out with the general matrices, weights and all.
bool Reference(const Items& items, Ground* g) {
  const std::size_t rows = 2 * items.size();
  TMatrix A(3, rows);
  TVector r(rows);
  for (std::size_t k = 0; k < rows; ++k) {
    double n[2][4];
    double d[2][4];
    items[k / 2].Model->GetApproximation(n[1], d[1], n[0], d[0]);
    const double seen = k % 2 == 0 ? items[k / 2].Sample : items[k / 2].Line;
    for (std::size_t x = 0; x < 3; ++x) A.SetElement(x, k, n[k % 2][x] - seen * d[k % 2][x]);
    r[k] = seen - n[k % 2][3];
  }
  TVector step(3);
  TOverdefinedLinearSystem(A, r).Solution(step);
  *g = test::ValuesOf(step);
  const TMatrix P(test::Vector(std::vector<double>(rows, 1.0)));
  for (int i = 0; i < 10; ++i) {
    for (std::size_t k = 0; k < rows; ++k) {
      const TRPCCoordsDataItem& item = items[k / 2];
      double by[2][3];
      double image[2];
      item.Model->CalculateLineSample((*g)[0], (*g)[1], (*g)[2], &image[1], &image[0], by[1], by[0]);
      for (std::size_t x = 0; x < 3; ++x) A.SetElement(x, k, by[k % 2][x]);
      r[k] = (k % 2 == 0 ? item.Sample : item.Line) - image[k % 2];
    }
    if (!Cholesky(!A * P * A, !A * P * r, step)) return false;
    for (std::size_t x = 0; x < 3; ++x) (*g)[x] += step[x];
    if (std::fabs(step[0]) < 1e-10 && std::fabs(step[1]) < 1e-10 && std::fabs(step[2]) < 1e-10) return true;
  }
  return true;
}

TEST_F(GroundSolution, HasTheBitsOfTheGeneralMatrices) {
  int failed = 0;
  for (std::size_t i = 0; i < 3000; ++i) {
    const Ground at = Anywhere();
    Items items = {Seen(a_, at), Seen(i % 3 == 0 ? a_ : b_, at)};
    if (i % 2 == 0) items.push_back(Seen(i % 4 == 0 ? a_ : b_, at));
    const double wrong[] = {0.0, 1.0, 1e3, 1e6, 1e200, Infinity, std::nan("")};
    items[1].Line += wrong[i % 7];
    Ground g(3);
    Ground expected;
    const bool good = Reference(items, &expected);
    ASSERT_EQ(CalculateLatLonH(items, &g[0], &g[1], &g[2]), good) << i;
    for (std::size_t x = 0; x < 3; ++x) {
      ASSERT_TRUE(g[x] == expected[x] || (std::isnan(g[x]) && std::isnan(expected[x]))) << i;
    }
    failed += good ? 0 : 1;
  }
  EXPECT_TRUE(failed > 100 && failed < 2900) << failed;
}

TEST_F(GroundSolution, TooLittleIsToldAndLeavesTheOutputs) {
  Ground g = {7.0, 8.0, 9.0};
  const Items one = {Seen(a_, Anywhere())};
  EXPECT_FALSE(CalculateLatLonH(one, &g[0], &g[1], &g[2]));
  EXPECT_FALSE(CalculateLatLonHApproximately(one, &g[0], &g[1], &g[2]));
  EXPECT_FALSE(CalculateLatLon({}, 5.0, &g[0], &g[1]) || CalculateLatLonApproximately({}, 5.0, &g[0], &g[1]));
  for (const double deviation : {0.0, -1.0, 1e-200, std::nan("")}) {
    EXPECT_FALSE(CalculateLatLonH(one, 5.0, deviation, &g[0], &g[1], &g[2]));
  }
  EXPECT_EQ(g, (Ground{7.0, 8.0, 9.0}));
  const TRPC flat(test::IdentityRecord(), nullptr);
  const auto intersect = [&] { TRPC::CalculateLatLonH(flat, 0.5, 0.5, flat, 0.5, 0.5, &g[0], &g[1], &g[2]); };
  EXPECT_EQ(test::RuntimeErrorOf(intersect), "TRPC::CalculateLatLonH");
  const Items twice(2, one[0]);
  EXPECT_LT(SolveLatLonH(twice.data(), 2, &g[0], &g[1], &g[2]).Independence, 1e-6);
}

TEST_F(GroundSolution, KnownHeightWeighsByItsDeviation) {
  TRPCData left = test::IdentityRecord();
  TRPCData right = left;
  left.SampleNum[3] = 1.0;
  right.SampleNum[3] = -1.0;
  const TRPC a(left, nullptr);
  const TRPC b(right, nullptr);
  const Items items = {{&a, 0.4, 0.75}, {&b, 0.6, 0.25}};  // height 0.25, with the weight of two pixels
  Ground g(3);
  for (const auto& [deviation, height] :
       {std::pair{1.0, 0.5 / 3.0}, {0.5, 0.5 / 6.0}, {1e-9, 0.0}, {Infinity, 0.25}}) {
    ASSERT_TRUE(CalculateLatLonH(items, 0.0, deviation, &g[0], &g[1], &g[2]));
    ExpectNear(g, {0.5, 0.5, height}, 1e-6);
    ASSERT_TRUE(CalculateLatLonHApproximatelyH(items, 0.0, deviation, &g[0], &g[1], &g[2]));
    ExpectNear(g, {0.5, 0.5, height}, 1e-6);
  }
  EXPECT_NEAR(SolveLatLonH(items.data(), 2, &g[0], &g[1], &g[2]).Residual, std::sqrt(0.1 * 0.1 / 2.0), 1e-12);
}

/// A model whose inverse can be made to miss.
struct TMissing : TRPC {
  using TRPC::TRPC;
  bool CalculateLatLon(const double& line, const double& sample, const double& h, double* lat,
                       double* lon) const override {
    const bool solved = TRPC::CalculateLatLon(line, sample, h, lat, lon);
    *lat += Miss;
    return solved;
  }
  double Miss = 0.0;
};

TEST_F(GroundSolution, RayMeetsTheSurfaceWhereItLies) {
  using Heights = std::function<std::optional<double>(double)>;
  constexpr double c = 83.0;
  TMissing model(data_, nullptr);
  const Ground at = {data_.LatitudeOffset, data_.LongitudeOffset, c};
  const TRPCCoordsDataItem image = Seen(model, at);
  double up[2];
  model.CalculateLatLon(image.Line, image.Sample, c + 100.0, &up[0], &up[1]);
  Ground g = {1.0, 2.0, 3.0};
  // The surface's height is a function of that of the ray above or below.
  const auto met = [&](const Heights& heights) {
    int lookups = 0;
    const TRPCHeightSurface surface = [&](double lat, double) {
      EXPECT_LE(++lookups, TRPC::MaxSurfaceLookups);
      return heights(c + 100.0 * (lat - at[0]) / (up[0] - at[0]));
    };
    const bool found = model.CalculateLatLonAlt(image.Line, image.Sample, surface, &g[0], &g[1], &g[2]);
    Ground n(3);
    lookups = 0;
    EXPECT_EQ(found,
              model.CalculateLatLonNormalizedAlt((image.Line - data_.LineOffset) / data_.LineScale,
                                                 (image.Sample - data_.SampleOffset) / data_.SampleScale,
                                                 surface, &n[0], &n[1], &n[2]));
    EXPECT_TRUE(!found || std::fabs(n[2] * data_.HeightScale + data_.HeightOffset - g[2]) < 1e-4);
    return found;
  };
  const auto with_hole = [=](double from, double to) {
    return [=](double h) { return h > from && h < to ? std::nullopt : std::optional<double>(c); };
  };
  EXPECT_FALSE(met(with_hole(c - 1.0, c + 1.0)));
  EXPECT_FALSE(met([](double) { return std::nan(""); }));
  EXPECT_FALSE(met([](double h) { return h + 10.0; })) << "never reached";
  EXPECT_EQ(g, (Ground{1.0, 2.0, 3.0}));
  for (const double slope : {0.0, 0.5, -0.5, 0.95, -0.95, -1.0, -3.0, -30.0}) {
    ASSERT_TRUE(met([=](double h) { return c + slope * (h - c); })) << slope;
    ExpectNear(g, at, 1e-3);
  }
  ASSERT_TRUE(met([](double h) { return h < c ? 300.0 : 0.0; })) << "the face of a step";
  ExpectNear(g, at, 1e-3);
  EXPECT_TRUE(met(with_hole(130.0, 150.0))) << "a hole where the search begins";
  model.Miss = 1e-5;
  EXPECT_EQ(test::ErrorOf<TKaMessage>([&] { met(with_hole(0.0, 0.0)); }),
            "TRPC::CalculateLatLonNormalizedAlt debug check failure");
}

}  // namespace
