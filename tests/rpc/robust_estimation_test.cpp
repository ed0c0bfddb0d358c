#include "kelvane/rpc/robust_estimation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kelvane/refinement/affine_refinement.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/denominator_pole.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/rpc_terms.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using Items = std::vector<TRPCEstimationDataItem>;

/// A camera, seen through where it sees the points of a cube.
struct Camera {
  std::string name;
  TRPCData cube;
  std::function<void(TRPCEstimationDataItem*)> see;

  Items Anywhere(int count, unsigned seed) const {
    test::GroundCube ground(cube, seed);
    Items items;
    for (int i = 0; i < count; ++i) {
      items.push_back(ground.Anywhere());
      see(&items.back());
    }
    return items;
  }
};

Camera Rational(const std::string& name, const TRPCData& data) {
  const auto model = std::make_shared<TRPC>(data, nullptr);
  return {name, data, [model](TRPCEstimationDataItem* item) { *item = test::SeenBy(*model, *item); }};
}

TRPCData CubeOf(double lat, double lon, double height) {
  TRPCData cube = test::IdentityRecord();
  cube.LatitudeOffset = 50.0;
  cube.LatitudeScale = lat;
  cube.LongitudeOffset = 30.0;
  cube.LongitudeScale = lon;
  cube.HeightOffset = cube.HeightScale = height;
  return cube;
}

/// A parallel and a central projection.
Camera Affine() {
  return {"affine", CubeOf(0.045, 0.07, 400.0), [](TRPCEstimationDataItem* item) {
            const double lat = item->Latitude - 50.0;
            const double lon = item->Longitude - 30.0;
            item->Line = 10000.0 - 2.1e5 * lat + 2.1e4 * lon + 0.4 * item->Height;
            item->Sample = 8000.0 + 2.8e4 * lat + 1.1e5 * lon - 0.2 * item->Height;
          }};
}

Camera Frame() {
  return {"frame", CubeOf(0.0135, 0.0211, 250.0), [](TRPCEstimationDataItem* item) {
            const double north = 1.11e5 * (item->Latitude - 50.0);
            const double depth = 0.985 * (3000.0 - item->Height) + 0.174 * north;
            item->Line = 8000.0 - 16000.0 * (0.985 * north - 0.174 * (3000.0 - item->Height)) / depth;
            item->Sample = 6000.0 + 16000.0 * 7.1e4 * (item->Longitude - 30.0) / depth;
          }};
}

std::vector<Camera> Cameras() {
  std::vector<Camera> cameras = {Affine(), Frame(), Rational("steep", test::SteepRecord())};
  for (const char* name : {"worldview3.RPB", "pleiades_2.xml"})
    cameras.push_back(Rational(name, test::SampleRecord(name)));
  return cameras;
}

/// Gaussian noise; the same for all cameras.
void AddNoise(double sigma, Items* items) {
  std::mt19937_64 random(3);
  std::normal_distribution<double> noise(0.0, sigma);
  for (TRPCEstimationDataItem& item : *items) {
    item.Line += noise(random);
    item.Sample += noise(random);
  }
}

/// Moves every twentieth item by 100 pixels.
void AddBlunders(Items* items) {
  for (std::size_t i = 7; i < items->size(); i += 20) {
    (*items)[i].Line += i % 3 == 0 ? 60.0 : -60.0;
    (*items)[i].Sample += 80.0;
  }
}

struct Fitted {
  TRPCData data;
  TRPCFitReport report;
  bool found = false;

  Fitted(const Items& items, const TRPCFitOptions& options, bool normalized = false) {
    TRPCEstimationDataSet set;
    set.Items = items;
    set.Normalized = normalized;
    found = FitRPC(set, options, &data, &report);
  }
  TRPCResiduals Miss(const Items& others) const { return CalculateResiduals(TRPC(data, nullptr), others); }
};

bool SameBits(const TRPCData& a, const TRPCData& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(FitRPC, ReproducesCamerasFromExactPoints) {
  for (const Camera& camera : Cameras()) {
    SCOPED_TRACE(camera.name);
    const Items others = camera.Anywhere(2000, 77);
    for (const auto weights : {TE_RPCFitWeights::Equal, TE_RPCFitWeights::Tukey}) {
      TRPCFitOptions options;
      options.Weights = weights;
      const Fitted fit(camera.Anywhere(500, 5), options);
      ASSERT_TRUE(fit.found) << fit.report.Text;
      const TRPCResiduals miss = fit.Miss(others);
      EXPECT_LT(std::max(miss.MaxLine, miss.MaxSample), 1e-6);
      EXPECT_EQ(fit.report.Verdict, TE_RPCFitVerdict::Trustworthy) << fit.report.Text;
      EXPECT_TRUE(fit.report.DownWeighted.empty());
    }
  }
  // First order is enough for a projection, and both coordinates then have one denominator.
  for (const Camera& camera : {Affine(), Frame()}) {
    TRPCFitOptions options;
    options.CommonDenominator = true;
    const Fitted fit(camera.Anywhere(100, 5), options);
    EXPECT_EQ(fit.report.Line.Degree, 1) << camera.name;
    EXPECT_EQ(std::memcmp(fit.data.LineDenom, fit.data.SampleDenom, sizeof fit.data.LineDenom), 0);
    const TRPCResiduals miss = fit.Miss(camera.Anywhere(2000, 77));
    EXPECT_LT(std::max(miss.MaxLine, miss.MaxSample), 1e-6) << camera.name;
  }
}

TEST(FitRPC, AveragesNoiseOutAndBlundersAway) {
  constexpr int Count = 500;
  for (const Camera& camera : Cameras()) {
    const Items exact = camera.Anywhere(Count, 5);
    const Items others = camera.Anywhere(2000, 77);
    for (const double sigma : {0.01, 1.0}) {
      SCOPED_TRACE(camera.name + (sigma < 1.0 ? ", little noise" : ", much noise"));
      // 39 unknowns a coordinate.
      const double bound = 1.5 * sigma * std::sqrt(39.0 / Count);
      Items noisy = exact;
      AddNoise(sigma, &noisy);
      const Fitted fit(noisy, TRPCFitOptions());
      ASSERT_TRUE(fit.found) << fit.report.Text;
      EXPECT_LE(std::max(fit.Miss(others).RmsLine, fit.Miss(others).RmsSample), bound);
      const TRPCResiduals seen = fit.Miss(noisy);
      EXPECT_NEAR(fit.report.Line.Rms, seen.RmsLine, 1e-9);
      EXPECT_NEAR(fit.report.Sample.Max, seen.MaxSample, 1e-9);
      for (const TRPCFitFunction* function : {&fit.report.Line, &fit.report.Sample}) {
        EXPECT_NEAR(function->HeldOutRms, sigma, 0.25 * sigma);
        EXPECT_GE(function->DegreesOfFreedom, Count - 39.001);
        EXPECT_LE(function->DegreesOfFreedom, Count - 6.999);
        EXPECT_GE(function->Condition, 1.0);
      }

      Items bent = noisy;
      AddBlunders(&bent);
      for (const auto weights : {TE_RPCFitWeights::Huber, TE_RPCFitWeights::Tukey}) {
        // What Huber's weights let through of a blunder is that of a point at their corner.
        const bool huber = weights == TE_RPCFitWeights::Huber;
        SCOPED_TRACE(huber ? "Huber" : "Tukey");
        TRPCFitOptions options;
        options.Weights = weights;
        const Fitted robust(bent, options);
        ASSERT_TRUE(robust.found) << robust.report.Text;
        EXPECT_LE(std::max(robust.Miss(others).RmsLine, robust.Miss(others).RmsSample),
                  (huber ? 2.5 : 1.2) * bound);
        EXPECT_NEAR(robust.report.Sample.Scale, sigma, 0.2 * sigma);
        std::size_t found = 0;
        for (const TRPCFitDownWeighted& point : robust.report.DownWeighted) found += point.Item % 20 == 7;
        EXPECT_EQ(found, Count / 20U);
        EXPECT_LE(robust.report.DownWeighted.size(), found + 8) << "good points are kept";
        // Where there are no blunders, nothing is down-weighted.
        EXPECT_TRUE(Fitted(noisy, options).report.DownWeighted.empty());
      }
    }
  }
}

TEST(FitRPC, ThreadsAndOrderDecideNothing) {
  const Camera camera = Rational("worldview3", test::SampleRecord("worldview3.RPB"));
  Items items = camera.Anywhere(4500, 5);
  AddNoise(0.3, &items);
  AddBlunders(&items);
  TRPCFitOptions options;
  options.Weights = TE_RPCFitWeights::Tukey;
  const Fitted one(items, options);
  for (const int threads : {2, 8}) {
    options.Threads = threads;
    EXPECT_TRUE(SameBits(Fitted(items, options).data, one.data)) << threads;
  }
  // The same points are held out, wherever they stand.
  std::reverse(items.begin(), items.end());
  const Fitted reversed(items, options);
  EXPECT_EQ(reversed.report.HeldOut, 900U);
  EXPECT_EQ(reversed.report.Line.Degree, one.report.Line.Degree);
  EXPECT_NEAR(reversed.report.Line.HeldOutRms, one.report.Line.HeldOutRms, 1e-6);
  EXPECT_EQ(reversed.report.DownWeighted.size(), one.report.DownWeighted.size());

  // Normalised items leave offsets and scales alone, and give the same image.
  Items normalized = items;
  const TRPCData& by = one.data;
  for (TRPCEstimationDataItem& item : normalized) {
    item = {(item.Latitude - by.LatitudeOffset) / by.LatitudeScale,
            (item.Longitude - by.LongitudeOffset) / by.LongitudeScale,
            (item.Height - by.HeightOffset) / by.HeightScale, (item.Line - by.LineOffset) / by.LineScale,
            (item.Sample - by.SampleOffset) / by.SampleScale};
  }
  Fitted again(normalized, options, true);
  ASSERT_TRUE(again.found);
  EXPECT_EQ(again.data.HeightScale, TRPCData::Unset);
  EXPECT_NEAR(again.report.Line.Rms * by.LineScale, one.report.Line.Rms, 1e-3);
  EXPECT_EQ(by.LineOffset, std::nearbyint(by.LineOffset)) << "round, so that no file rounds it";
  EXPECT_EQ(by.LatitudeScale, std::nearbyint(1e6 * by.LatitudeScale) / 1e6);
}

TEST(FitRPC, ManyPointsAreWorthTheirNumber) {
  // Of more than 25000 only some choose the order, and all are fitted.
  constexpr int Count = 30000;
  constexpr double Sigma = 0.5;
  for (const bool blunders : {false, true}) {
    const Camera camera = blunders ? Frame() : Rational("worldview3", test::SampleRecord("worldview3.RPB"));
    SCOPED_TRACE(camera.name);
    Items items = camera.Anywhere(Count, 5);
    AddNoise(Sigma, &items);
    if (blunders) AddBlunders(&items);
    TRPCFitOptions options;
    options.Threads = 2;
    options.Weights = blunders ? TE_RPCFitWeights::Tukey : TE_RPCFitWeights::Equal;
    options.CommonDenominator = blunders;
    const Fitted fit(items, options);
    ASSERT_TRUE(fit.found) << fit.report.Text;
    EXPECT_EQ(fit.report.Points, static_cast<std::size_t>(Count));
    EXPECT_EQ(fit.report.HeldOut, 5000U);
    EXPECT_EQ(fit.report.Verdict, TE_RPCFitVerdict::Trustworthy) << fit.report.Text;
    const TRPCResiduals miss = fit.Miss(camera.Anywhere(2000, 77));
    EXPECT_LE(std::max(miss.RmsLine, miss.RmsSample), 1.5 * Sigma * std::sqrt(39.0 / Count));
    for (const TRPCFitFunction* function : {&fit.report.Line, &fit.report.Sample}) {
      EXPECT_NE(function->Ending, TE_RPCFitEnding::StepLimit);
      EXPECT_GT(function->Iterations, 0);
      EXPECT_FALSE(function->PoleRefused);
    }
  }
}

TEST(FitRPC, SaysWhyThereIsNoModelAndLeavesTheRecord) {
  const Camera camera = Frame();
  const Items good = camera.Anywhere(200, 5);
  const auto refuse = [](const Items& items, const std::string& why, TRPCFitOptions options = {}) {
    TRPCEstimationDataSet set;
    set.Items = items;
    const TRPCData before = test::NumberedRecord();
    TRPCData after = before;
    TRPCFitReport report;
    report.HeldOut = 99;
    EXPECT_FALSE(FitRPC(set, options, &after, &report)) << why;
    EXPECT_NE(report.Text.find(why), std::string::npos) << report.Text << " for " << why;
    EXPECT_EQ(report.Verdict, TE_RPCFitVerdict::NoModel);
    EXPECT_EQ(report.HeldOut, 0U) << "nothing is left of an earlier report";
    EXPECT_TRUE(SameBits(before, after)) << why;
  };
  const auto changed = [&good](const std::function<void(std::size_t, TRPCEstimationDataItem*)>& change) {
    Items items = good;
    for (std::size_t i = 0; i < items.size(); ++i) change(i, &items[i]);
    return items;
  };
  refuse({}, "0 points; a model needs at least 40");
  refuse(Items(good.begin(), good.begin() + 39), "39 points");
  refuse(changed([&](std::size_t i, auto* item) { *item = good[i % 39]; }), "39 different ground points");
  const struct {
    double TRPCEstimationDataItem::*field;
    const char* name;
  } fields[] = {{&TRPCEstimationDataItem::Latitude, "latitude"},
                {&TRPCEstimationDataItem::Longitude, "longitude"},
                {&TRPCEstimationDataItem::Height, "height"},
                {&TRPCEstimationDataItem::Line, "line"},
                {&TRPCEstimationDataItem::Sample, "sample"}};
  for (const auto& [field, name] : fields) {
    const auto member = field;
    refuse(changed([=](std::size_t, auto* item) { item->*member = 5.0; }),
           std::string("all points have the same ") + name);
    for (const double bad : {std::nan(""), HUGE_VAL}) {
      refuse(changed([=](std::size_t i, auto* item) { item->*member = i == 77 ? bad : item->*member; }),
             "point 78 has a coordinate that is no finite number");
    }
    refuse(changed([=](std::size_t i, auto* item) { item->*member = i % 2 == 0 ? 1.7e308 : -1.7e308; }),
           std::string(name) + " out of all bounds");
  }
  const char* const flat = "in a plane or on a line";
  refuse(
      changed([](std::size_t, auto* item) { item->Height = 1e4 * (item->Latitude + 2.0 * item->Longitude); }),
      flat);
  refuse(changed([](std::size_t i, auto* item) {
           const auto t = static_cast<double>(i);
           *item = {50.0 + 1e-4 * t, 30.0 + 2e-4 * t, t, item->Line, item->Sample};
         }),
         flat);
  for (const int degree : {0, 4}) {
    TRPCFitOptions options;
    options.MaxDegree = degree;
    refuse(good, "the highest degree", options);
  }
  // Observations that have nothing to do with the ground still make no model that explodes.
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> anywhere(0.0, 1e4);
  Items noise = good;
  for (TRPCEstimationDataItem& item : noise) item.Line = anywhere(random);
  const Fitted fit(noise, TRPCFitOptions());
  if (fit.found) {
    EXPECT_LT(fit.Miss(camera.Anywhere(3000, 6)).MaxLine, 2e4);
  }
}

int calls = 0;
int last_call = 0;
int Cancel() { return ++calls >= last_call ? 1 : 0; }

TEST(FitRPC, IsCancelledOnAnyCall) {
  const Items items = Frame().Anywhere(5000, 5);
  TRPCFitOptions options;
  options.Cancel = Cancel;
  calls = 0;
  last_call = 1 << 30;
  ASSERT_TRUE(Fitted(items, options).found);
  const int all = calls;
  EXPECT_GT(all, 20);
  for (const int threads : {1, 2}) {
    options.Threads = threads;
    for (last_call = 1; last_call < all / 2; last_call += all / 9) {
      calls = 0;
      const Fitted fit(items, options);
      EXPECT_FALSE(fit.found);
      EXPECT_EQ(fit.report.Text, "cancelled");
      EXPECT_EQ(fit.data.LineNum[0], TRPCData::Unset);
    }
  }
}

/// Points on both sides of a pole, and none near it.
TEST(FitRPC, RefusesPolesInTheCube) {
  TRPCData pole = test::IdentityRecord();
  pole.LineNum[0] = 0.3;
  pole.LineDenom[2] = 1.4;
  Items items;
  test::GroundCube cube(pole);
  for (int i = 0; i < 600; ++i) {
    TRPCEstimationDataItem item = cube.Anywhere();
    item.Latitude = i % 10 == 0 ? -1.0 : std::max(item.Latitude, -0.4);
    items.push_back(test::SeenBy(TRPC(pole, nullptr), item));
  }
  for (const bool regularize : {true, false}) {
    TRPCFitOptions options;
    options.Regularize = regularize;
    const Fitted fit(items, options);
    if (!fit.found) continue;
    EXPECT_EQ(fit.report.Verdict, TE_RPCFitVerdict::Doubtful) << fit.report.Text;
    for (int i = 0; i < 20000; ++i) {
      const TRPCEstimationDataItem at = cube.Anywhere();
      const long double denominator = test::Polynomial(
          fit.data.LineDenom, (at.Latitude - fit.data.LatitudeOffset) / fit.data.LatitudeScale,
          (at.Longitude - fit.data.LongitudeOffset) / fit.data.LongitudeScale,
          (at.Height - fit.data.HeightOffset) / fit.data.HeightScale);
      ASSERT_GT(denominator, 0.0L);
    }
  }
}

TEST(FitRPC, DenominatorsAreKnownToStayPositive) {
  std::mt19937_64 random(9);
  std::uniform_real_distribution<double> number(-1.0, 1.0);
  int positive = 0;
  for (int i = 0; i < 200; ++i) {
    std::array<double, 20> denominator = {1.0};
    for (std::size_t k = 1; k < denominator.size(); ++k) denominator[k] = 0.3 * number(random);
    double least = 1.0;
    for (int node = 0; node < 41 * 41 * 41; ++node) {
      const auto at = [node](int divisor) { return node / divisor % 41 / 20.0 - 1.0; };
      least = std::min(least, RPCValue(denominator, TRPCTerms<double>(at(1), at(41), at(41 * 41))));
    }
    const bool found = TPoleSearch(denominator).IsPositive();
    // Nothing with a zero passes, and nothing that stays well above it is refused.
    EXPECT_FALSE(found && least <= 0.0) << least;
    EXPECT_FALSE(!found && least > 0.1) << least;
    positive += found ? 1 : 0;
  }
  EXPECT_GT(positive, 20);
  EXPECT_LT(positive, 180);
}

TEST(FitRPC, TakesPointsAsTheyCome) {
  const Camera camera = Frame();
  const Items others = camera.Anywhere(1000, 77);
  const auto expect_close = [&](const Items& items, double bound, const char* what) {
    for (const auto weights : {TE_RPCFitWeights::Equal, TE_RPCFitWeights::Tukey}) {
      for (const bool common : {false, true}) {
        TRPCFitOptions options;
        options.Weights = weights;
        options.CommonDenominator = common;
        const Fitted fit(items, options);
        ASSERT_TRUE(fit.found) << what << ": " << fit.report.Text;
        const TRPCResiduals miss = fit.Miss(others);
        EXPECT_LT(std::max(miss.RmsLine, miss.RmsSample), bound) << what;
      }
    }
  };
  // No more than are needed, each place many times, most of them at one height, more off than on the ground.
  expect_close(camera.Anywhere(40, 5), 1e-6, "40 points");
  Items repeated = camera.Anywhere(60, 5);
  for (std::size_t i = 0; i < 1200; ++i) repeated.push_back(repeated[i % 60]);
  AddNoise(0.1, &repeated);
  expect_close(repeated, 0.1, "60 places");
  Items flat = camera.Anywhere(400, 5);
  for (std::size_t i = 0; i < 300; ++i) {
    flat[i].Height = 100.0;
    camera.see(&flat[i]);
  }
  AddNoise(0.1, &flat);
  expect_close(flat, 0.2, "most at one height");
  Items bent = camera.Anywhere(600, 5);
  AddNoise(0.1, &bent);
  for (std::size_t i = 0; i < bent.size(); i += 4) bent[i].Line += i % 8 == 0 ? 300.0 : 150.0;
  TRPCFitOptions options;
  options.Weights = TE_RPCFitWeights::Tukey;
  const Fitted fit(bent, options);
  EXPECT_LT(fit.Miss(others).RmsLine, 0.05) << "a quarter of blunders to one side";
  EXPECT_EQ(fit.report.Verdict, TE_RPCFitVerdict::Doubtful);
  EXPECT_NE(fit.report.Text.find("more than a tenth of the points was down-weighted"), std::string::npos);
  // Without regularisation a fit is what the points make of it, and still has no pole and no wild step.
  Items noisy = camera.Anywhere(500, 5);
  AddNoise(0.1, &noisy);
  options = TRPCFitOptions();
  options.Regularize = false;
  const Fitted free(noisy, options);
  ASSERT_TRUE(free.found);
  EXPECT_EQ(free.report.Line.Regularization, 0.0);
  EXPECT_LT(free.Miss(others).RmsLine, 0.1);
}

TEST(FitRPC, FitsInversesAndRefinedModels) {
  const TRPC model(test::SampleRecord("pleiades_1.xml"), nullptr);
  TRPCFitReport report;
  TRPCData inverse;
  EXPECT_FALSE(FitInvertedRPC(model, 0, TRPCFitOptions(), &inverse, &report));
  EXPECT_FALSE(FitInvertedRPC(model, 2, TRPCFitOptions(), &inverse, &report)) << "27 nodes";
  EXPECT_EQ(inverse.LineScale, TRPCData::Unset);
  ASSERT_TRUE(FitInvertedRPC(model, 10, TRPCFitOptions(), &inverse, &report)) << report.Text;
  EXPECT_LT(CalculateMaxInverseDifference(model, TRPC(inverse, nullptr)), 1e-9);

  TRPCRefinementDataAffine turn;
  turn.LineTilt = 1e-3;
  turn.SampleDrift = -1e-3;
  const TRPCData raw = test::SampleRecord("worldview3.RPB");
  const TAdjustedRPC refined(&raw, &turn);
  TRPCData plain;
  ASSERT_TRUE(FitRPCToModel(refined, TRPCFitOptions(), &plain, &report)) << report.Text;
  EXPECT_LT(CalculateMaxCubeDifference(refined, TRPC(plain, nullptr)), 1e-6);
  EXPECT_FALSE(FitRPCToModel(TRPC(), TRPCFitOptions(), &plain, &report));
  EXPECT_EQ(report.Text, "the model is empty");
}

}  // namespace
