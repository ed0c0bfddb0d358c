#include "kelvane/rpc/rpc_estimation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "host/runtime.h"
#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/rpc/rpc_polynomials.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

TRPCEstimationDataSet PointsOf(const TRPCData& data, int count) {
  const TRPC model(data, nullptr);
  test::GroundCube cube(data);
  TRPCEstimationDataSet points;
  for (int i = 0; i < count; ++i) points.Items.push_back(test::SeenBy(model, cube.Anywhere()));
  return points;
}

/// One function of the first form's fit, written out with the dense classes; 20 + 20 coefficients.
struct Written {
  const std::vector<TRPCEstimationDataItem>& items;
  double TRPCEstimationDataItem::*observed;
  double num[20] = {};
  double den[20] = {};
  TVector step;

  Written(const std::vector<TRPCEstimationDataItem>& to_fit, double TRPCEstimationDataItem::*coordinate)
      : items(to_fit), observed(coordinate) {
    TMatrix a(7, items.size());
    TVector l(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
      const auto& item = items[i];
      const double v = item.*observed;
      const double row[] = {item.Latitude,      item.Longitude,      item.Height,     1.0,
                            -v * item.Latitude, -v * item.Longitude, -v * item.Height};
      for (std::size_t c = 0; c < 7; ++c) a.SetElement(c, i, row[c]);
      l[i] = v;
    }
    TVector x;
    TOverdefinedLinearSystem(a, l).Solution(x);
    num[0] = x[3], num[1] = x[1], num[2] = x[0], num[3] = x[2];
    den[0] = 1.0, den[1] = x[5], den[2] = x[4], den[3] = x[6];
  }

  /// Numerator and denominator.
  std::array<double, 4> Values(const TRPCEstimationDataItem& at) const {
    const double* const coefs[] = {num, den, num, den};
    std::array<double, 4> v;
    CalculateRPCPolynomes(at.Latitude, at.Longitude, at.Height, coefs, v.data(), nullptr, nullptr, nullptr);
    return v;
  }

  double Step() {
    TMatrix a(39, items.size());
    TVector r(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
      const double P = items[i].Latitude;
      const double L = items[i].Longitude;
      const double H = items[i].Height;
      const double terms[] = {1.0,       L,           P,           H,           L * P,
                              L * H,     P * H,       L * L,       P * P,       H * H,
                              L * P * H, L * L * L,   L * (P * P), L * (H * H), L * L * P,
                              P * P * P, P * (H * H), L * L * H,   P * P * H,   H * H * H};
      const auto v = Values(items[i]);
      const double estimate = v[0] / v[1];
      for (std::size_t k = 0; k < 20; ++k) a.SetElement(k, i, terms[k] / v[1]);
      for (std::size_t k = 1; k < 20; ++k) a.SetElement(19 + k, i, -estimate * terms[k] / v[1]);
      r[i] = estimate - items[i].*observed;
    }
    step.Reset(39);
    if (Gauss(!a * a, -(!a * r), step) == 0.0) return std::nan("");
    Move(1.0);
    return step.Norma1();
  }

  void Move(double sign) {
    for (std::size_t k = 0; k < 20; ++k) num[k] += sign * step[k];
    for (std::size_t k = 1; k < 20; ++k) den[k] += sign * step[19 + k];
  }

  double Rms() const {
    double sum = 0.0;
    for (const auto& item : items) {
      const auto v = Values(item);
      const double residual = v[0] / v[1] - item.*observed;
      sum += residual * residual;
    }
    return std::sqrt(sum / static_cast<double>(items.size()));
  }

  /// The second form's control; how many steps were tried.
  int IterateApart() {
    double before = Rms();
    for (int i = 1; i <= 10; ++i) {
      Step();
      const double after = Rms();
      if (!(after < before)) Move(-1.0);
      if (!(after < before) || before - after < 1e-10) return i;
      before = after;
    }
    return 11;
  }
};

void ExpectBits(const TRPCData& fitted, const Written& line, const Written& sample) {
  EXPECT_EQ(std::memcmp(line.num, fitted.LineNum, sizeof line.num), 0);
  EXPECT_EQ(std::memcmp(line.den, fitted.LineDenom, sizeof line.den), 0);
  EXPECT_EQ(std::memcmp(sample.num, fitted.SampleNum, sizeof sample.num), 0);
  EXPECT_EQ(std::memcmp(sample.den, fitted.SampleDenom, sizeof sample.den), 0);
}

TEST(RpcEstimation, HasTheBitsOfTheDenseClasses) {
  // More than one block of rows, and not a whole number of them.
  TRPCEstimationDataSet data = PointsOf(test::SampleRecord("worldview3.RPB"), 700);
  for (TRPCEstimationDataItem& item : data.Items) item.Line += 0.3 * std::sin(item.Line);  // never exact
  TRPCData fitted;
  TRPCEstimationReport report;
  ASSERT_TRUE(EstimateRPC(data, &fitted, TRPCEstimationControl(), &report));

  std::vector<TRPCEstimationDataItem> items = data.Items;
  for (TRPCEstimationDataItem& item : items) {
    item.Latitude = (item.Latitude - fitted.LatitudeOffset) / fitted.LatitudeScale;
    item.Longitude = (item.Longitude - fitted.LongitudeOffset) / fitted.LongitudeScale;
    item.Height = (item.Height - fitted.HeightOffset) / fitted.HeightScale;
    item.Line = (item.Line - fitted.LineOffset) / fitted.LineScale;
    item.Sample = (item.Sample - fitted.SampleOffset) / fitted.SampleScale;
  }
  Written line(items, &TRPCEstimationDataItem::Line);
  Written sample(items, &TRPCEstimationDataItem::Sample);
  for (int i = 0; i < report.Iterations; ++i) {
    const double moved[] = {line.Step(), sample.Step()};
    EXPECT_EQ(moved[0] < 1e-11 && moved[1] < 1e-11, report.Converged && i + 1 == report.Iterations);
  }
  ExpectBits(fitted, line, sample);

  // As normalised items, they give the same coefficients and leave the normalisation alone.
  TRPCEstimationDataSet normalized;
  normalized.Items = items;
  normalized.Normalized = true;
  TRPCData again;
  ASSERT_TRUE(EstimateRPC(normalized, &again));
  EXPECT_EQ(std::memcmp(again.LineNum, fitted.LineNum, 4 * sizeof fitted.LineNum), 0);
  EXPECT_EQ(again.LineOffset, TRPCData::Unset);
  EXPECT_EQ(again.HeightScale, TRPCData::Unset);

  TRPCEstimationControl apart;
  apart.Steps = TE_RPCEstimationSteps::Apart;
  ASSERT_TRUE(EstimateRPC(normalized, &again, apart, &report));
  Written line_apart(items, &TRPCEstimationDataItem::Line);
  Written sample_apart(items, &TRPCEstimationDataItem::Sample);
  const int by_line = line_apart.IterateApart();
  const int by_sample = sample_apart.IterateApart();
  EXPECT_NE(by_line, by_sample) << "one goes on when the other is finished";
  EXPECT_EQ(report.Iterations, std::max(by_line, by_sample));
  ExpectBits(again, line_apart, sample_apart);
}

TEST(RpcEstimation, ReproducesAnExactModel) {
  const TRPCData exact = test::BentRecord();
  const TRPCEstimationDataSet data = PointsOf(exact, 1000);
  const std::vector<TRPCEstimationDataItem> others = PointsOf(exact, 3000).Items;
  for (const auto steps : {TE_RPCEstimationSteps::Together, TE_RPCEstimationSteps::Apart}) {
    TRPCEstimationControl control;
    control.Steps = steps;
    TRPCEstimationReport report;
    TRPCData fitted;
    ASSERT_TRUE(EstimateRPC(data, &fitted, control, &report));
    EXPECT_TRUE(report.Converged);
    EXPECT_LT(report.Iterations, RPCEstimationMostIterations);
    const TRPCResiduals residuals = CalculateResiduals(TRPC(fitted, nullptr), others);
    EXPECT_LT(residuals.MaxLine, 1e-9);
    EXPECT_LT(residuals.MaxSample, 1e-9);
    EXPECT_LE(residuals.RmsLine, residuals.MaxLine);
  }
  TRPCData moved = exact;
  moved.LineOffset += 3.0;
  moved.SampleOffset -= 4.0;
  const TRPCResiduals residuals = CalculateResiduals(TRPC(moved, nullptr), others);
  EXPECT_NEAR(residuals.RmsLine, 3.0, 1e-12);
  EXPECT_NEAR(residuals.MaxSample, 4.0, 1e-12);
}

TEST(RpcEstimation, ThreadsChangeNoBit) {
  TRPCEstimationDataSet data = PointsOf(test::SampleRecord("pleiades_1.xml"), 5000);
  for (TRPCEstimationDataItem& item : data.Items) item.Sample += std::sin(1e3 * item.Latitude);
  TRPCData one[2];
  for (const int threads : {1, 2, 3, 8}) {
    KaSetThreadsCount(threads);
    TRPCEstimationControl control;
    control.Threads = threads;
    TRPCEstimationReport report;
    TRPCData many[2];
    EXPECT_TRUE(EstimateRPC(data, &many[0], nullptr, nullptr) &&
                EstimateRPC(data, &many[1], control, &report));
    if (threads == 1) std::copy(many, many + 2, one);
    EXPECT_EQ(std::memcmp(one, many, sizeof one), 0) << threads;
  }
  KaSetThreadsCount(0);
}

TEST(RpcEstimation, WhatDeterminesNoModelLeavesTheRecord) {
  const TRPCEstimationDataSet good = PointsOf(test::BentRecord(), 200);
  const auto expect_none = [](const TRPCEstimationDataSet& data, const char* why) {
    const TRPCData before = test::NumberedRecord();
    TRPCData after = before;
    EXPECT_FALSE(EstimateRPC(data, &after)) << why;
    EXPECT_FALSE(EstimateRPC(data, &after, nullptr, nullptr)) << why;
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0) << why;
  };
  TRPCEstimationDataSet few = good;
  few.Items.resize(39);
  expect_none(few, "39 points");
  for (double TRPCEstimationDataItem::*field :
       {&TRPCEstimationDataItem::Latitude, &TRPCEstimationDataItem::Longitude,
        &TRPCEstimationDataItem::Height, &TRPCEstimationDataItem::Line, &TRPCEstimationDataItem::Sample}) {
    TRPCEstimationDataSet constant = good;
    for (TRPCEstimationDataItem& item : constant.Items) item.*field = 5.0;
    expect_none(constant, "a constant field");
    TRPCEstimationDataSet broken = good;
    broken.Items[77].*field = std::nan("");
    expect_none(broken, "a NaN");
  }
}

std::vector<int> announced;
int calls = 0;
int last_call = 0;
void Progress(int count) { announced.push_back(count); }
int Cancel() { return ++calls == last_call ? 1 : 0; }

TEST(RpcEstimation, TellsItsProgressAndIsCancelled) {
  const TRPCEstimationDataSet data = PointsOf(test::BentRecord(), 1000);
  TRPCData fitted;
  announced.clear();
  calls = last_call = 0;
  ASSERT_TRUE(EstimateRPC(data, &fitted, Progress, Cancel));
  ASSERT_GE(announced.size(), 4U);
  int sum = 0;
  for (std::size_t i = 0; i < announced.size(); ++i) {
    EXPECT_EQ(announced[i], i < 2 ? 7 : 78);
    sum += announced[i];
  }
  EXPECT_EQ(calls, sum) << "as many calls as were announced";
  const int all = calls;
  for (last_call = 1; last_call <= all; last_call += 13) {
    calls = 0;
    TRPCData untouched;
    EXPECT_FALSE(EstimateRPC(data, &untouched, nullptr, Cancel));
    EXPECT_EQ(calls, last_call);
    EXPECT_EQ(untouched.LineNum[0], TRPCData::Unset);
  }
}

TEST(InvertedRpc, GivesTheGroundOfImageAndHeight) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TRPC model(data, nullptr);
  EXPECT_TRUE(!model.GetInvertedRPC());
  ASSERT_TRUE(model.CreateInvertedRPC(10));
  const var_a<TRPC*> inverse = model.GetInvertedRPC();
  TRPCData swapped;
  inverse->GetRPCData(&swapped);
  EXPECT_EQ(swapped.LineScale, data.LatitudeScale);
  EXPECT_EQ(swapped.SampleOffset, data.LongitudeOffset);
  EXPECT_EQ(swapped.LatitudeOffset, data.LineOffset);
  EXPECT_EQ(swapped.LongitudeScale, data.SampleScale);
  EXPECT_EQ(swapped.HeightScale, data.HeightScale);
  const TRPCEstimationDataItem seen = test::SeenBy(model, {41.882, 12.571, 300.0});
  const TRPCEstimationDataItem back = test::SeenBy(*inverse, {seen.Line, seen.Sample, 300.0});
  EXPECT_NEAR(back.Line, 41.882, 1e-9);
  EXPECT_NEAR(back.Sample, 12.571, 1e-9);

  TRPCData record;
  for (const int steps : {2, 0, -1})
    EXPECT_FALSE(EstimateInvertedRPC(model, &record, steps, nullptr)) << steps;
  EXPECT_EQ(record.LineNum[0], TRPCData::Unset);
  EXPECT_FALSE(model.CreateInvertedRPC(2));
  EXPECT_TRUE(!model.GetInvertedRPC()) << "a failure leaves none";
  // Only what is seen within the image counts.
  TRPCData narrow = test::IdentityRecord();
  narrow.LineNum[2] = narrow.SampleNum[1] = 1.5;
  ASSERT_TRUE(EstimateInvertedRPC(TRPC(narrow, nullptr), &record, 10, nullptr));
  EXPECT_NEAR(record.LineNum[2], 1.0 / 1.5, 1e-9);
}

}  // namespace
