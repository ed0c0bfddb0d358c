#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"

namespace {

using test::Outcome;
using test::RunKelvane;

const std::string Model = test::SamplePath("worldview3.RPB");
const std::string Centre = "806.202140394 847.76392192";

Outcome Project(const std::string& points, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"project", Model});
  test::RunOptions run;
  run.input = points;
  return RunKelvane(options, run);
}

TEST(Project, KnownPointsComeOutTheSameToTheLastBit) {
  const std::string cases = std::string(KELVANE_SOURCE_DIR) + "/tests/cases/project_worldview3";
  const std::string expected = test::FileText(cases + "_out.txt");
  ASSERT_FALSE(expected.empty());
  for (const char* threads : {"1", "2", "7"}) {
    const Outcome outcome = RunKelvane({"project", Model, "-p", cases + "_in.txt", "--threads", threads});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, expected);
  }
}

TEST(Project, ReadsPointsAsPeopleWriteThem) {
  for (const char* line : {"41.8791 12.5798 95", "\t41.8791,\t12.5798 , 95\r", "+41.8791,12.5798,9.5e1"}) {
    EXPECT_EQ(Project(line).out, Centre + "\n") << line;
  }
  // Another turn of the longitude costs its last digits, no more.
  for (const char* line : {"  41.8791  372.5798   95  ", "41.8791 -347.4202 95"}) {
    EXPECT_EQ(Project(line, {"--precision", "10"}).out, "806.2021404 847.7639219\n") << line;
  }
  const Outcome outcome =
      Project("# head\n\n41.8791,12.5798,95, church tower # 3\n  \n  # x\n41.8791 12.5798 95 b");
  EXPECT_EQ(outcome.out, Centre + " church tower # 3\n" + Centre + " b\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Project("").out, "");
  EXPECT_EQ(Project("\xEF\xBB\xBF"
                    "41.8791 12.5798 95")
                .out,
            Centre + "\n");
}

TEST(Project, OptionsDoWhatTheySay) {
  EXPECT_EQ(Project("12.5798 41.8791 95", {"--xy"}).out, "847.76392192 806.202140394\n");
  EXPECT_EQ(Project("41.8791 12.5798 95", {"--origin", "corner"}).out, "806.702140394 848.26392192\n");
  EXPECT_EQ(Project("41.8791 12.5798 95", {"--precision", "5"}).out, "806.2 847.76\n");
  EXPECT_EQ(Project("41.8791 12.5798\n41.8791 12.5798 95\n41.8791 12.5798 a 1", {"--height", "95"}).out,
            Centre + "\n" + Centre + "\n" + Centre + " a 1\n");
  EXPECT_NE(Project("41.8791 12.5798 95abc", {"--height", "95"}).err.find("\"95abc\" is no number"),
            std::string::npos);
  EXPECT_EQ(Project("41.8791,12.5798,,roof", {"--height", "95"}).out, Centre + " roof\n");
  const std::string at_zero = Project("41.8791 12.5798 0").out;
  EXPECT_EQ(Project("41.8791 12.5798", {"--height", "0"}).out, at_zero);
  EXPECT_EQ(Project("41.8791 12.5798 -5").out, Project("41.8791 12.5798", {"--height", "-5"}).out);
}

TEST(Project, ABadPointSpoilsOnlyItsOwnLine) {
  const struct {
    const char* line;
    const char* answer;
    const char* why;
  } cases[] = {
      {"41.8791 12.5798", "nan nan", "2 of the 3 numbers"},
      {"41.8791 x12 95 name", "nan nan name", "\"x12\" is no number"},
      {"41.8791,,95", "nan nan", "\"\" is no number"},
      {"nan 12.5798 95", "nan nan", "no finite number"},
      {"41.8791 12.5798 inf b", "nan nan b", "no finite number"},
      {"12.5798 41.8791 95", "nan nan", "latitude is out of the model's reach"},
      {"41.8791 14.5798 95", "nan nan", "longitude is out of the model's reach"},
      {"41.8791 12.5798 1e6", "nan nan", "height is out of the model's reach"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Project("# 1\n" + std::string(c.line) + "\n41.8791 12.5798 95\n");
    EXPECT_EQ(outcome.out, std::string(c.answer) + "\n" + Centre + "\n") << c.line;
    EXPECT_EQ(outcome.err.rfind("stdin:2: ", 0), 0U) << outcome.err;
    EXPECT_NE(outcome.err.find(c.why), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.status, 1) << c.line;
  }
}

TEST(Project, TenReasonsAndACountWhateverTheThreads) {
  std::string points;
  for (int i = 0; i < 40000; ++i)
    points += i % 1000 == 999 ? "bad\n" : "41.8791 12.5798 " + std::to_string(i) + "\n";
  const Outcome one = Project(points, {"--threads", "1"});
  EXPECT_EQ(one.status, 1);
  EXPECT_EQ(one.err.rfind("stdin:1000: \"bad\" is no number\n", 0), 0U);
  EXPECT_NE(one.err.find("stdin:10000: "), std::string::npos);
  EXPECT_EQ(one.err.find("stdin:11000: "), std::string::npos);
  EXPECT_NE(one.err.find("40 points of 40000 have no answer"), std::string::npos) << one.err;
  const Outcome many = Project(points, {"--threads", "5"});
  EXPECT_EQ(many.out, one.out);
  EXPECT_EQ(many.err, one.err);
}

TEST(Project, WhatCannotBeReadOrWrittenEndsWithOneLine) {
  const test::ScratchFolder folder;
  const auto expect_unusable = [](const Outcome& outcome, const std::string& why) {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  };
  expect_unusable(RunKelvane({"project", folder.Path("none.RPB")}), "none.RPB: No such file");
  expect_unusable(RunKelvane({"project", Model, "-p", folder.Path("none.txt")}), "No such file or directory");
  expect_unusable(RunKelvane({"project", Model, "-p", folder.Path("")}), "Is a directory");
  expect_unusable(RunKelvane({"project", Model, "--height", "high"}), "\"high\" is no height");
  expect_unusable(RunKelvane({"project", Model, "--height", "nan"}), "\"nan\" is no height");
  expect_unusable(RunKelvane({"project", Model, "--origin", "middle"}), "middle");
  expect_unusable(RunKelvane({"project", Model, "--threads", "0"}), "--threads");
  expect_unusable(RunKelvane({"project"}), "MODEL");
  expect_unusable(RunKelvane({}), "subcommand");
  expect_unusable(
      RunKelvane({"rotate", Model}),
      "\"rotate\" is no command; there are: info project locate intersect fit invert refine export convert");
  std::string xml = test::FileText(test::SamplePath("pleiades_1.xml"));
  const std::string scale = "\"SampleScale\">";
  const std::size_t at = xml.find(scale) + scale.size();
  xml.replace(at, xml.find('<', at) - at, "0");
  expect_unusable(RunKelvane({"project", folder.Write("zero.xml", xml)}), "SampleScale is 0");
  xml.replace(at, 1, "nan");
  expect_unusable(RunKelvane({"project", folder.Write("nan.xml", xml)}), "SampleScale is no finite number");
  test::RunOptions full;
  full.input = "41.8791 12.5798 95\n";
  full.out_path = "/dev/full";
  expect_unusable(RunKelvane({"project", Model}, full), "No space left on device");
  expect_unusable(RunKelvane({"info", Model}, full), "No space left on device");
  expect_unusable(RunKelvane({"--help"}, full), "No space left on device");
  test::RunOptions endless;
  endless.input = std::string(std::size_t{17} << 20, ' ');
  for (const char* threads : {"1", "100"})
    expect_unusable(RunKelvane({"project", Model, "--threads", threads}, endless),
                    "a line of 16 MiB or more");
}

}  // namespace
