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
using test::Outcome;
using test::RunKelvane;

const std::string Model = test::SamplePath("worldview3.RPB");

Outcome Answer(const std::string& command, const std::string& model, const std::string& points,
               std::vector<std::string> options = {}) {
  options.insert(options.begin(), {command, model});
  test::RunOptions run;
  run.input = points;
  return RunKelvane(options, run);
}

std::string WriteModel(const test::ScratchFolder& folder, const TRPCData& data) {
  const TRPC model(data, nullptr);
  return folder.Write("model.xml",
                      test::SavedXml([&](TKaXIniWriter* writer) { return model.SaveToXML(writer); }));
}

constexpr int PointCount = 300;

/// Answers without heights, each with that of its point behind it.
std::string WithHeights(const std::string& answers) {
  std::istringstream lines(answers);
  std::string joined;
  std::string line;
  for (int i = 0; std::getline(lines, line); ++i) joined += line + ' ' + std::to_string(2 * i - 200) + '\n';
  return joined;
}

TEST(Locate, BringsProjectedPointsBackWhateverTheThreads) {
  const test::ScratchFolder folder;
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  test::PointText points;
  for (int i = 0; i < PointCount; ++i) {
    points << data.LatitudeOffset + data.LatitudeScale * std::sin(i) << ' '
           << data.LongitudeOffset + data.LongitudeScale * std::cos(3.0 * i) << '\n';
  }
  for (const TRPCData& record : {data, test::WithNegativeLatitudeScale(data)}) {
    const std::string model = WriteModel(folder, record);
    const std::string image = Answer("project", model, WithHeights(points.str())).out;
    const Outcome ground = Answer("locate", model, WithHeights(image), {"--threads", "3"});
    EXPECT_EQ(ground.status, 0) << ground.err;
    EXPECT_EQ(Answer("locate", model, WithHeights(image), {"--threads", "1"}).out, ground.out);
    test::PrintedNumbers there(image);
    test::PrintedNumbers and_back(Answer("project", model, WithHeights(ground.out)).out);
    double pixel[2] = {};
    int compared = 0;
    for (; there >> pixel[0]; ++compared) {
      and_back >> pixel[1];
      ASSERT_NEAR(pixel[0], pixel[1], 1e-6);
    }
    EXPECT_EQ(compared, 2 * PointCount);
  }
}

TEST(Locate, OptionsDoWhatTheySay) {
  const std::vector<std::string> digits = {"--precision", "9"};
  EXPECT_EQ(Answer("locate", Model, "806.202140394 847.76392192 95 centre", digits).out,
            "41.8791 12.5798 centre\n");
  EXPECT_EQ(
      Answer("locate", Model, "847.76392192,806.202140394", {"--xy", "--height", "95", "--precision", "9"})
          .out,
      "12.5798 41.8791\n");
  EXPECT_EQ(
      Answer("locate", Model, "806.702140394 848.26392192 95", {"--origin", "corner", "--precision", "9"})
          .out,
      "41.8791 12.5798\n");
}

TEST(Locate, LongitudesStayWithinHalfATurn) {
  const test::ScratchFolder folder;
  TRPCData data = test::SampleRecord("worldview3.RPB");
  data.LongitudeOffset = 180.0;
  const std::string model = WriteModel(folder, data);
  const std::string west = Answer("locate", model, "806 1500 95\n806 100 95", {"--precision", "6"}).out;
  EXPECT_EQ(west, "41.8794 -179.987\n41.8788 179.986\n");
  // In another turn the same place is asked about; the turn costs the last digits.
  const auto project = [&](const char* point) {
    return Answer("project", model, point, {"--precision", "9"}).out;
  };
  EXPECT_EQ(project("41.8791 -179.99 95"), project("41.8791 180.01 95"));
  EXPECT_EQ(project("41.8791 -180.01 95"), project("41.8791 179.99 95"));
}

TEST(Locate, WhatHasNoAnswerSaysWhyAndSpoilsNothingElse) {
  const char* const good = "806.202140394 847.76392192 95\n";
  for (const char* bad : {"806 847 1e30", "1e12 847 95", "806 -1e200 95"}) {
    const Outcome outcome = Answer("locate", Model, std::string(bad) + " x\n" + good, {"--precision", "9"});
    EXPECT_EQ(outcome.status, 1) << bad;
    EXPECT_EQ(outcome.out, "nan nan x\n41.8791 12.5798\n") << bad;
    EXPECT_EQ(outcome.err.rfind("stdin:1: ", 0), 0U) << outcome.err;
  }
  const Outcome far = Answer("locate", Model, "806 60000 95");
  EXPECT_NE(far.err.find("out of the model's reach"), std::string::npos) << far.err << far.out;
  const test::ScratchFolder folder;
  TRPCData flat = test::IdentityRecord();
  flat.SampleNum[1] = 0.0;
  const Outcome none = Answer("locate", WriteModel(folder, flat), "0.5 0.5 0");
  EXPECT_EQ(none.out, "nan nan\n");
  EXPECT_NE(none.err.find("no ground point found: the image of the nearest is off by"), std::string::npos)
      << none.err;
  flat.LineDenom[0] = 0.0;
  const Outcome no_number = Answer("locate", WriteModel(folder, flat), "0.5 0.5 0");
  EXPECT_EQ(no_number.err, "stdin:1: the model gives no number here\n");
}

}  // namespace
