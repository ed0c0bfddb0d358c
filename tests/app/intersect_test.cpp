#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "kelvane/rpc/rpc.h"
#include "tests/support/failing_ini.h"
#include "tests/support/program.h"

namespace {

using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;
using Texts = std::vector<std::string>;

const Texts Pair = {test::SamplePath("pleiades_1.xml"), test::SamplePath("pleiades_2.xml")};
const Texts Triple = {Pair[0], Pair[1], Pair[0]};
const TRPCData Records[] = {test::SampleRecord("pleiades_1.xml"), test::SampleRecord("pleiades_2.xml")};
const TRPCData& First = Records[0];

test::Outcome Intersect(Texts models, const std::string& ties, const Texts& options = {}) {
  models.insert(models.begin(), "intersect");
  models.insert(models.end(), options.begin(), options.end());
  test::RunOptions run;
  run.input = ties;
  return test::RunKelvane(models, run);
}

std::string Text(const std::vector<double>& numbers, int precision = 17) {
  std::ostringstream line;
  line.precision(precision);
  for (const double number : numbers) line << number << ' ';
  return line.str();
}

/// A ground point 100 m high in images 1, 2 and 1 again, less the one that does not see it.
std::vector<double> Tie(double lat, double lon, std::size_t unseen, std::size_t count = 3) {
  std::vector<double> tie(2 * count, std::nan(""));
  for (std::size_t i = 0; i < count; ++i) {
    if (i == unseen) continue;
    TRPC(Records[i % 2], nullptr)
        .CalculateLineSample(lat, lon, 100.0, &tie[2 * i], &tie[2 * i + 1], nullptr, nullptr);
  }
  return tie;
}

TEST(Intersect, GivesProjectedPointsBackWhateverTheThreads) {
  const auto place = [](double i) {
    return std::vector<double>{First.LatitudeOffset + 0.01 * std::sin(i),
                               First.LongitudeOffset + 0.01 * std::cos(i)};
  };
  std::string ties;
  for (std::size_t i = 0; i < 5000; ++i) {
    const std::vector<double> at = place(static_cast<double>(i));
    ties += Text(Tie(at[0], at[1], i % 2 == 0 ? 2 - i % 4 : 3)) + "tie\n";
  }
  const test::Outcome outcome = Intersect(Triple, ties, {"--threads", "1"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(Intersect(Triple, ties, {"--threads", "3"}).out, outcome.out);
  std::istringstream lines(outcome.out);
  double g[4];
  std::string name;
  int i = 0;
  for (; lines >> g[0] >> g[1] >> g[2] >> g[3] >> name; ++i) {
    ASSERT_NEAR(g[0], place(i)[0], 1e-11);
    ASSERT_NEAR(g[1], place(i)[1], 1e-11);
    ASSERT_NEAR(g[2], 100.0, 1e-6);
    ASSERT_LT(g[3], 1e-9);
  }
  EXPECT_EQ(i, 5000);
}

TEST(Intersect, OptionsTurnsAndResidual) {
  const test::ScratchFolder folder;
  Texts models;
  for (TRPCData data : Records) {
    // At the date line, one model in each turn.
    data.LongitudeOffset += 180.01 - First.LongitudeOffset - (models.empty() ? 0.0 : 360.0);
    const TRPC model(data, nullptr);
    const auto save = [&](TKaXIniWriter* writer) { return model.SaveToXML(writer); };
    models.push_back(folder.Write(models.empty() ? "1.xml" : "2.xml", test::SavedXml(save)));
  }
  const std::vector<double> n = Tie(First.LatitudeOffset, First.LongitudeOffset, 2, 2);
  const auto begins = [&](const test::Outcome& outcome, const std::string& expected) {
    EXPECT_EQ(outcome.out.substr(0, expected.size()), expected) << outcome.err;
  };
  begins(Intersect(models, Text(n), {"--precision", "9"}), Text({First.LatitudeOffset, -179.99, 100.0}, 9));
  begins(Intersect(models, Text({n[1] + 0.5, n[0] + 0.5, n[3] + 0.5, n[2] + 0.5}),
                   {"--xy", "--origin", "corner", "--precision", "9"}),
         Text({-179.99, First.LatitudeOffset, 100.0}, 9));
  // A pixel across the rays is made good by no height.
  std::istringstream apart(Intersect(models, Text({n[0] + 1.0, n[1], n[2], n[3] + 1.0})).out);
  double rms = 0.0;
  for (int i = 0; i < 4; ++i) apart >> rms;
  EXPECT_TRUE(rms > 0.01 && rms < 1.0) << rms;
}

TEST(Intersect, WhatHasNoAnswerSaysWhyAndSpoilsNothingElse) {
  const std::string good = Text(Tie(First.LatitudeOffset, First.LongitudeOffset, 2));
  const std::string same = Text(Tie(First.LatitudeOffset, First.LongitudeOffset, 1));
  const std::string reasons[][2] = {{"nan nan nan nan nan nan", "no model sees"},
                                    {"1 2 nan nan nan nan", "only one model sees"},
                                    {"1 2 3 nan 1 2", "of model 2 there is only one"},
                                    {"1 2 3 inf 1 2", "\"inf\" is no finite"},
                                    {"1e12 2 3 -1e15 1 2", ""},
                                    {same, "no ground point found: the images do not tell its height"}};
  // The third image is the first: those two alone have no height.
  const std::string answer = Intersect(Triple, good).out;
  EXPECT_EQ(answer.find("nan"), std::string::npos);
  for (const auto& [bad, why] : reasons) {
    const test::Outcome outcome = Intersect(Triple, bad + " x\n" + good);
    EXPECT_EQ(outcome.status, 1) << bad;
    EXPECT_EQ(outcome.out, "nan nan nan nan x\n" + answer) << bad;
    EXPECT_NE(outcome.err.find("stdin:1: " + why), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(Intersect({Pair[0]}, "").status, 2);
  EXPECT_EQ(Intersect(Pair, "", {"--height", "5"}).status, 2);
}

}  // namespace
