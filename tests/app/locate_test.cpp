#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kelvane/rpc/rpc.h"
#include "tests/support/failing_ini.h"
#include "tests/support/program.h"

namespace {

using SatCommonUtils::TRPCData;
using test::Outcome;
using test::WorldView;

Outcome Answer(const std::string& command, const std::string& model, const std::string& points,
               std::vector<std::string> options = {}) {
  options.insert(options.begin(), {command, model});
  return test::RunKelvane(options, points);
}

std::string WriteModel(const test::ScratchFolder& folder, const TRPCData& data) {
  return folder.Write("model.xml", test::XmlOf(SatCommonUtils::TRPC(data, nullptr)));
}

TEST(Locate, BringsProjectedPointsBackWhateverTheThreads) {
  const test::ScratchFolder folder;
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  // What stands behind a point is handed on: its height, for the way back and for the way there again.
  test::PointText points;
  for (int i = 0; i < 300; ++i) {
    const int h = 2 * i - 200;
    points << data.LatitudeOffset + data.LatitudeScale * std::sin(i) << ' '
           << data.LongitudeOffset + data.LongitudeScale * std::cos(3.0 * i) << ' ' << h << ' ' << h << ' '
           << h << '\n';
  }
  for (const TRPCData& record : {data, test::WithNegativeLatitudeScale(data)}) {
    const std::string model = WriteModel(folder, record);
    const std::string image = Answer("project", model, points.str()).out;
    const Outcome ground = Answer("locate", model, image, {"--threads", "3"});
    EXPECT_EQ(ground.status, 0) << ground.err;
    EXPECT_EQ(Answer("locate", model, image, {"--threads", "1"}).out, ground.out);
    test::PrintedNumbers there(image);
    test::PrintedNumbers and_back(Answer("project", model, ground.out).out);
    int compared = 0;
    for (double a[4], b[2]; there >> a[0] >> a[1] >> a[2] >> a[3] && and_back >> b[0] >> b[1]; ++compared) {
      ASSERT_NEAR(a[0], b[0], 1e-6);
      ASSERT_NEAR(a[1], b[1], 1e-6);
    }
    EXPECT_EQ(compared, 300);
  }
}

TEST(Locate, OptionsDoWhatTheySay) {
  const auto located = [](const char* point, std::vector<std::string> options) {
    options.insert(options.end(), {"--precision", "9"});
    return Answer("locate", WorldView, point, options).out;
  };
  EXPECT_EQ(located("806.202140394 847.76392192 95 centre", {}), "41.8791 12.5798 centre\n");
  EXPECT_EQ(located("847.76392192,806.202140394", {"--xy", "--height", "95"}), "12.5798 41.8791\n");
  EXPECT_EQ(located("806.702140394 848.26392192 95", {"--origin", "corner"}), "41.8791 12.5798\n");
}

TEST(Locate, LongitudesStayWithinHalfATurn) {
  const test::ScratchFolder folder;
  TRPCData data = test::SampleRecord("worldview3.RPB");
  data.LongitudeOffset = 180.0;
  const std::string model = WriteModel(folder, data);
  const std::string west = Answer("locate", model, "806 1500 95\n806 100 95", {"--precision", "6"}).out;
  EXPECT_EQ(west, "41.8794 -179.987\n41.8788 179.986\n");
  // In another turn the same place is asked about; the turn costs the last digits.
  const auto projected = [&](const char* points) {
    return Answer("project", model, points, {"--precision", "9"}).out;
  };
  EXPECT_EQ(projected("41.8791 -179.99 95\n41.8791 -180.01 95"),
            projected("41.8791 180.01 95\n41.8791 179.99 95"));
}

TEST(Locate, WhatHasNoAnswerSaysWhyAndSpoilsNothingElse) {
  const char* const good = "806.202140394 847.76392192 95\n";
  for (const char* bad : {"806 847 1e30", "1e12 847 95", "806 -1e200 95"}) {
    const Outcome outcome =
        Answer("locate", WorldView, std::string(bad) + " x\n" + good, {"--precision", "9"});
    EXPECT_EQ(outcome.status, 1) << bad;
    EXPECT_EQ(outcome.out, "nan nan x\n41.8791 12.5798\n") << bad;
    EXPECT_EQ(outcome.err.rfind("stdin:1: ", 0), 0U) << outcome.err;
  }
  EXPECT_TRUE(test::Contains(Answer("locate", WorldView, "806 60000 95").err, "out of the model's reach"));
  const test::ScratchFolder folder;
  TRPCData flat = test::IdentityRecord();
  flat.SampleNum[1] = 0.0;
  const Outcome none = Answer("locate", WriteModel(folder, flat), "0.5 0.5 0");
  EXPECT_EQ(none.out, "nan nan\n");
  EXPECT_TRUE(test::Contains(none.err, "no ground point found: the image of the nearest is off by"));
  flat.LineDenom[0] = 0.0;
  EXPECT_EQ(Answer("locate", WriteModel(folder, flat), "0.5 0.5 0").err,
            "stdin:1: the model gives no number here\n");
}

}  // namespace
