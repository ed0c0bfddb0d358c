#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kelvane/rpc/convergence.h"
#include "kelvane/rpc/rpc.h"
#include "tests/support/failing_ini.h"
#include "tests/support/program.h"

namespace {

using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;
using Texts = std::vector<std::string>;

/// A pair at the date line, one model in each turn, and the first once more.
class Intersect : public testing::Test {
 protected:
  Intersect() {
    for (const TRPC* plain : {&first_, &second_}) {
      TRPCData data;
      plain->GetRPCData(&data);
      data.LongitudeOffset += moved_ - (plain == &first_ ? 0.0 : 360.0);
      const std::string xml = test::XmlOf(TRPC(data, nullptr));
      models_.push_back(folder_.Write(plain == &first_ ? "1.xml" : "2.xml", xml));
    }
    models_.push_back(models_[0]);
  }

  static test::Outcome Run(Texts arguments, const std::string& ties, const Texts& options = {}) {
    arguments.insert(arguments.begin(), "intersect");
    arguments.insert(arguments.end(), options.begin(), options.end());
    return test::RunKelvane(arguments, ties);
  }
  /// Where the models see a place 100 m high, but for one of them; as the program would ask for it.
  std::string Tie(double i, std::size_t unseen, bool xy = false) const {
    test::PointText tie;
    for (std::size_t m = 0; m < 3; ++m) {
      double at[2] = {std::nan(""), std::nan("")};
      const double lon = 180.0 + 0.01 * std::sin(2 * i) - moved_;
      const TRPC& model = m == 1 ? second_ : first_;
      if (m != unseen) model.CalculateLineSample(Latitude(i), lon, 100.0, &at[0], &at[1], nullptr, nullptr);
      tie << (xy ? at[1] + 0.5 : at[0]) << ' ' << (xy ? at[0] + 0.5 : at[1]) << ' ';
    }
    return tie.str();
  }
  double Latitude(double i) const { return record_.LatitudeOffset + 0.01 * std::sin(i); }

  const test::ScratchFolder folder_;
  const TRPCData record_ = test::SampleRecord("pleiades_1.xml");
  const TRPC first_{record_, nullptr}, second_{test::SampleRecord("pleiades_2.xml"), nullptr};
  const double moved_ = 180.0 - record_.LongitudeOffset;
  Texts models_;
};

TEST_F(Intersect, GivesPointsBackWhateverThreadsTurnAndOrder) {
  std::string ties[2];
  for (std::size_t i = 0; i < 10000; ++i) {
    const bool xy = i % 2 != 0;
    ties[i % 2] += Tie(static_cast<double>(i / 2), i % 4 < 2 ? 2 - i % 8 / 2 : 3, xy) + "tie\n";
  }
  const test::Outcome plain = Run(models_, ties[0], {"--threads", "1"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(Run(models_, ties[0], {"--threads", "3"}).out, plain.out);
  test::PrintedNumbers lines(plain.out);
  test::PrintedNumbers xy_lines(Run(models_, ties[1], {"--xy", "--origin", "corner"}).out);
  double g[2][4];
  std::string tie;
  int i = 0;
  for (; lines >> g[0][0] >> g[0][1] >> g[0][2] >> g[0][3] >> tie; ++i) {
    xy_lines >> g[1][1] >> g[1][0] >> g[1][2] >> g[1][3] >> tie;
    for (const auto& at : g) {
      ASSERT_NEAR(at[0], Latitude(i), 1e-11);
      ASSERT_NEAR(std::remainder(at[1] - 180.0, 360.0), 0.01 * std::sin(2 * i), 1e-11);
      ASSERT_LE(std::fabs(at[1]), 180.0);
      ASSERT_NEAR(at[2], 100.0, 1e-6);
      ASSERT_LT(at[3], 1e-9);
    }
  }
  EXPECT_EQ(i, 5000);
}

TEST_F(Intersect, TellsTheWidestConvergenceAngleOnRequest) {
  // The third model is the first once more: it has an angle with the second only.
  const std::string ties = Tie(0, 3) + '\n' + Tie(0, 2) + '\n' + Tie(0, 0) + '\n';
  double angle = 0.0;
  ASSERT_TRUE(CalculateConvergenceAngle(first_, second_, Latitude(0), 180.0 - moved_, 100.0, &angle));
  EXPECT_GT(angle, 4.0);
  test::PrintedNumbers lines(Run(models_, ties, {"--angle"}).out);
  double point[5];
  for (int i = 0; i < 3; ++i) {
    for (double& number : point) lines >> number;
    EXPECT_NEAR(point[2], 100.0, 1e-6) << i;
    EXPECT_NEAR(point[4], angle, 1e-6) << i;
  }
}

TEST_F(Intersect, WhatHasNoAnswerSaysWhyAndSpoilsNothingElse) {
  const std::string reasons[][2] = {{"nan nan nan nan nan nan", "no model sees"},
                                    {"1 2 nan nan nan nan", "only one model sees"},
                                    {"1 2 3 nan 1 2", "of model 2 there is only one"},
                                    {"1 2 3 inf 1 2", "\"inf\" is no finite"},
                                    {"1e12 2 3 -1e15 1 2", ""},
                                    {Tie(0, 1), "no ground point found: the images do not tell"}};
  for (const auto& [bad, why] : reasons) {
    const test::Outcome outcome = Run(models_, bad + " x\n" + Tie(0, 2));
    EXPECT_EQ(outcome.status, 1) << bad;
    EXPECT_EQ(outcome.out.rfind("nan nan nan nan x\n", 0), 0U) << bad;
    EXPECT_EQ(outcome.out.find("nan", 18), std::string::npos) << bad;
    EXPECT_TRUE(test::Contains(outcome.err, "stdin:1: " + why));
  }
  EXPECT_EQ(Run({models_[0]}, "").status, 2);
  EXPECT_EQ(Run(models_, "", {"--height", "5"}).status, 2);
}

TEST_F(Intersect, SigmaTellsDeviationsInMetres) {
  const std::string tie = Tie(1.0, 3);
  const test::Outcome plain = Run(models_, tie);
  const test::Outcome one = Run(models_, tie, {"--sigma", "1"});
  const test::Outcome two = Run(models_, tie, {"--sigma", "2", "--angle"});
  ASSERT_EQ(one.status, 0) << one.err;
  ASSERT_EQ(one.out.compare(0, plain.out.size() - 1, plain.out, 0, plain.out.size() - 1), 0);
  std::vector<double> at[2];
  for (int i = 0; i < 2; ++i) {
    test::PrintedNumbers numbers(i == 0 ? one.out : two.out);
    for (double number = 0.0; numbers >> number;) at[i].push_back(number);
    ASSERT_EQ(at[i].size(), 7U + static_cast<std::size_t>(i));
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    EXPECT_GT(at[0][4 + axis], axis == 2 ? 1.0 : 0.1);
    EXPECT_LT(at[0][4 + axis], 10.0);
    EXPECT_NEAR(at[1][5 + axis], 2.0 * at[0][4 + axis], 1e-12);
  }
  EXPECT_EQ(Run(models_, tie, {"--sigma", "0"}).status, 2);
}

}  // namespace
