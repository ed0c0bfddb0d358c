#include "kelvane/rpc/rpc_batch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "host/runtime.h"
#include "kelvane/numeric/simd_target.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/ground_solution.h"
#include "tests/support/allocations.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using Numbers = std::vector<double>;
using Flags = std::vector<unsigned char>;

#ifdef KELVANE_SANITIZED
// Still enough for two threads.
constexpr std::size_t Many = 17000;
constexpr std::size_t ManyPairs = 5000;
#else
constexpr std::size_t Many = 40000;
constexpr std::size_t ManyPairs = Many;
#endif
constexpr unsigned char Untouched = 7;

const TRPCRefinementDataAffine Refinement{{12.5, 1.0003, -2e-4, -7.25, 3e-4, 0.9996}};

/// Ground of the model's cube, and among it what has no image: holes, infinities, and points so far off that
/// iterations go astray.
struct Ground {
  Numbers lat, lon, h;

  Ground(const TRPCData& data, std::size_t count) : lat(count), lon(count), h(count) {
    std::mt19937_64 random(20261121);
    std::uniform_real_distribution<double> in_cube(-1.0, 1.0);
    for (std::size_t i = 0; i < count; ++i) {
      const double far = i % 11 == 3 ? 300.0 : 1.0;
      lat[i] = data.LatitudeOffset + far * data.LatitudeScale * in_cube(random);
      lon[i] = data.LongitudeOffset + far * data.LongitudeScale * in_cube(random);
      h[i] = data.HeightOffset + far * data.HeightScale * in_cube(random);
      if (i % 17 == 5) lat[i] = std::numeric_limits<double>::quiet_NaN();
      if (i % 19 == 7) h[i] = std::numeric_limits<double>::infinity();
      if (i % 23 == 9) lon[i] = -std::numeric_limits<double>::max();
    }
  }
};

/// What single calls give.
struct Answers {
  std::vector<Numbers> columns;
  Flags good;

  explicit Answers(std::size_t width, std::size_t count = Many)
      : columns(width, Numbers(count, 0.25)), good(count, Untouched) {}
  double* operator[](std::size_t c) { return columns[c].data(); }
};

/// To the bit, but for the payload of NaN.
bool IsSame(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

/// The first `count` answers are those of single calls, and what stands behind them is as it was.
void ExpectSame(const Answers& found, const Answers& single, std::size_t count, std::size_t bad) {
  std::size_t expected_bad = 0;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t c = 0; c < single.columns.size(); ++c) {
      ASSERT_TRUE(IsSame(found.columns[c][i], single.columns[c][i]))
          << "point " << i << " of " << count << ", column " << c << ", " << SimdTarget();
    }
    ASSERT_EQ(found.good[i], single.good[i]) << i;
    expected_bad += single.good[i] == 0 ? 1U : 0U;
  }
  ASSERT_EQ(bad, expected_bad);
  for (std::size_t i = count; i < std::min(count + 9, found.good.size()); ++i) {
    for (const Numbers& column : found.columns) ASSERT_EQ(column[i], 0.25);
    ASSERT_EQ(found.good[i], Untouched);
  }
}

/// Sees everything one line further down.
class TShiftedRPC : public TRPC {
 public:
  using TRPC::TRPC;
  void CalculateLineSample(const double& lat, const double& lon, const double& h, double* line,
                           double* sample, double* dLine, double* dSample) const override {
    TRPC::CalculateLineSample(lat, lon, h, line, sample, dLine, dSample);
    *line += 1.0;
  }
};

class RPCBatch : public testing::Test {
 protected:
  ~RPCBatch() override {
    KaSetThreadsCount(0);
    SetSimdTarget(SimdTargets().front());
  }

  /// With all instructions that the machine has: short batches, and one that several threads share.
  template <class Batch>
  static void ExpectSingleCallsBits(const Answers& single, const Batch& batch, bool takes_no_memory = true,
                                    std::size_t many = Many) {
    for (const std::string& target : SimdTargets()) {
      ASSERT_TRUE(SetSimdTarget(target));
      for (std::size_t count = 0; count <= 70; ++count) {
        Answers found(single.columns.size());
        const std::size_t bad = batch(count, &found);
        ASSERT_NO_FATAL_FAILURE(ExpectSame(found, single, count, bad));
      }
      for (const int threads : {1, 2, 3}) {
        KaSetThreadsCount(threads);
        Answers found(single.columns.size());
        const long before = test::AllocationCount();
        const std::size_t bad = batch(many - 1, &found);
        EXPECT_TRUE(threads > 1 || !takes_no_memory || test::AllocationCount() == before);
        ASSERT_NO_FATAL_FAILURE(ExpectSame(found, single, many - 1, bad));
      }
    }
  }

  TRPCData data_ = test::SampleRecord("pleiades_1.xml");
  TRPC plain_{data_, nullptr};
  TAdjustedRPC adjusted_{data_, nullptr, &Refinement};
  TRPC other_{test::SampleRecord("pleiades_2.xml"), nullptr};
  TShiftedRPC shifted_{data_, nullptr};
  const TRPC* models_[2] = {&plain_, &adjusted_};
  Ground ground_{data_, Many};
};

Answers ProjectedSingly(const TRPC& model, const Ground& ground) {
  Answers single(8);
  for (std::size_t i = 0; i < Many; ++i) {
    double by[6];
    model.CalculateLineSample(ground.lat[i], ground.lon[i], ground.h[i], &single[0][i], &single[1][i], by,
                              by + 3);
    for (std::size_t x = 0; x < 6; ++x) single[2 + x][i] = by[x];
    single.good[i] = std::isfinite(single[0][i]) && std::isfinite(single[1][i]) ? 1 : 0;
  }
  return single;
}

TEST_F(RPCBatch, ProjectionsHaveTheBitsOfSingleCalls) {
  // A model of another class answers itself.
  for (const TRPC* const model : {models_[0], models_[1], static_cast<const TRPC*>(&shifted_)}) {
    const Answers single = ProjectedSingly(*model, ground_);
    ExpectSingleCallsBits(single, [&](std::size_t count, Answers* found) {
      TRPCBatchDerivatives by;
      for (std::size_t x = 0; x < 3; ++x) {
        by.Line[x] = (*found)[2 + x];
        by.Sample[x] = (*found)[5 + x];
      }
      return CalculateLineSamples(*model, count, ground_.lat.data(), ground_.lon.data(), ground_.h.data(),
                                  (*found)[0], (*found)[1], by, found->good.data());
    });
    // Without derivatives, and in place.
    Answers image = single;
    image.columns.resize(2);
    ExpectSingleCallsBits(image, [&](std::size_t count, Answers* found) {
      std::copy_n(ground_.lat.begin(), count, (*found)[1]);
      std::copy_n(ground_.lon.begin(), count, (*found)[0]);
      return CalculateLineSamples(*model, count, (*found)[1], (*found)[0], ground_.h.data(), (*found)[0],
                                  (*found)[1], {}, found->good.data());
    });
  }
}

TEST_F(RPCBatch, InversesHaveTheBitsOfSingleCalls) {
  for (const TRPC* const model : models_) {
    model->EnsureApproximation();
    Answers image = ProjectedSingly(*model, ground_);
    Answers single(3);
    std::size_t failed = 0;
    for (std::size_t i = 0; i < Many; ++i) {
      const TRPCInverse inverse =
          model->SolveLatLon(image[0][i], image[1][i], ground_.h[i], &single[0][i], &single[1][i]);
      single[2][i] = inverse.Residual;
      single.good[i] = inverse.Converged ? 1 : 0;
      failed += inverse.Converged || std::isnan(inverse.Residual) ? 0U : 1U;
    }
    EXPECT_GT(failed, 20U) << "no iteration goes astray: the test has lost its point";
    ExpectSingleCallsBits(single, [&](std::size_t count, Answers* found) {
      std::copy_n(ground_.h.begin(), count, (*found)[0]);
      return SolveLatLons(*model, count, image[0], image[1], (*found)[0], (*found)[0], (*found)[1],
                          {found->good.data(), (*found)[2]});
    });
  }
}

TEST_F(RPCBatch, IntersectionsHaveTheBitsOfSingleCalls) {
  const std::vector<std::vector<const TRPC*>> sets = {
      {&plain_, &other_}, {&other_, &plain_, &adjusted_}, {&plain_, &plain_}, {&plain_, &shifted_}};
  for (const auto& models : sets) {
    std::vector<Answers> images;
    std::vector<const double*> lines;
    std::vector<const double*> samples;
    for (const TRPC* const model : models) {
      model->EnsureApproximation();
      images.push_back(ProjectedSingly(*model, ground_));
      // Holes that the other images do not have.
      for (std::size_t i = images.size(); i < ManyPairs; i += 29) images.back()[0][i] = std::nan("");
      lines.push_back(images.back()[0]);
      samples.push_back(images.back()[1]);
    }
    Answers single(5);
    for (std::size_t i = 0; i < ManyPairs; ++i) {
      std::vector<TRPCCoordsDataItem> items;
      for (std::size_t m = 0; m < models.size(); ++m)
        items.push_back({models[m], lines[m][i], samples[m][i]});
      const TGroundSolution solution =
          SolveLatLonH(items.data(), items.size(), &single[0][i], &single[1][i], &single[2][i]);
      single[3][i] = solution.Residual;
      single[4][i] = solution.Independence;
      single.good[i] = solution.Solved && solution.Converged ? 1 : 0;
    }
    ExpectSingleCallsBits(
        single,
        [&](std::size_t count, Answers* found) {
          // The ground takes the place of coordinates in the first two images.
          std::vector<const double*> in_place[2] = {lines, samples};
          in_place[0][1] = std::copy_n(lines[1], count, (*found)[0]) - count;
          in_place[1][0] = std::copy_n(samples[0], count, (*found)[2]) - count;
          return SolveLatLonHs(models.data(), models.size(), count, in_place[0].data(), in_place[1].data(),
                               (*found)[0], (*found)[1], (*found)[2],
                               {found->good.data(), (*found)[3], (*found)[4]});
        },
        false, ManyPairs);
  }
}

TEST_F(RPCBatch, OneModelIntersectsNothing) {
  const TRPC* const models[] = {&plain_};
  const double* const image[] = {ground_.lat.data()};
  double ground[3] = {1.0, 2.0, 3.0};
  EXPECT_EQ(SolveLatLonHs(models, 1, 1, image, image, &ground[0], &ground[1], &ground[2]), 1U);
  EXPECT_EQ(Numbers(ground, ground + 3), (Numbers{1.0, 2.0, 3.0}));
}

TEST_F(RPCBatch, ADerivedModelIsLocatedByItsOwnProjection) {
  double ground[] = {0.0, 0.0};
  double single[] = {0.0, 0.0};
  const TRPCInverse inverse =
      shifted_.SolveLatLon(data_.LineOffset, data_.SampleOffset, data_.HeightOffset, &single[0], &single[1]);
  double residual = -1.0;
  TRPCBatchReport report;
  report.Residual = &residual;
  EXPECT_EQ(SolveLatLons(shifted_, 1, &data_.LineOffset, &data_.SampleOffset, &data_.HeightOffset, &ground[0],
                         &ground[1], report),
            inverse.Converged ? 0U : 1U);
  EXPECT_EQ(Numbers(ground, ground + 2), Numbers(single, single + 2));
  EXPECT_EQ(residual, inverse.Residual);
}

TEST_F(RPCBatch, UnknownTargetsChangeNothing) {
  const std::string before = SimdTarget();
  EXPECT_FALSE(SetSimdTarget("abacus"));
  EXPECT_EQ(SimdTarget(), before);
  EXPECT_EQ(SimdTargets().back(), "baseline");
}

}  // namespace
