#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "kelvane/numeric/simd_target.h"
#include "tests/support/conversation.h"
#include "tests/support/program.h"

namespace {

using test::Contains;
using test::Outcome;
using test::RunKelvane;
using test::WorldView;

const std::string CentreSeen = "806.202140394 847.76392192";

Outcome Project(const std::string& points, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"project", WorldView});
  return RunKelvane(options, points);
}

TEST(Project, KnownPointsComeOutTheSameToTheLastBit) {
  const std::string cases = std::string(KELVANE_SOURCE_DIR) + "/tests/cases/project_worldview3";
  const std::string expected = test::FileText(cases + "_out.txt");
  ASSERT_FALSE(expected.empty());
  for (const char* threads : {"1", "2", "7"}) {
    const Outcome outcome = RunKelvane({"project", WorldView, "-p", cases + "_in.txt", "--threads", threads});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, expected);
  }
}

TEST(Project, ReadsPointsAsPeopleWriteThem) {
  for (const char* line : {"41.8791 12.5798 95", "\t41.8791,\t12.5798 , 95\r", "+41.8791,12.5798,9.5e1"}) {
    EXPECT_EQ(Project(line).out, CentreSeen + "\n") << line;
  }
  // Another turn of the longitude costs its last digits, no more.
  for (const char* line : {"  41.8791  372.5798   95  ", "41.8791 -347.4202 95"}) {
    EXPECT_EQ(Project(line, {"--precision", "10"}).out, "806.2021404 847.7639219\n") << line;
  }
  const Outcome outcome =
      Project("# head\n\n41.8791,12.5798,95, church tower # 3\n  \n  # x\n41.8791 12.5798 95 b");
  EXPECT_EQ(outcome.out, CentreSeen + " church tower # 3\n" + CentreSeen + " b\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Project("").out, "");
  EXPECT_EQ(Project("\xEF\xBB\xBF+41.8791 12.5798 95").out, CentreSeen + "\n");
}

TEST(Project, OptionsDoWhatTheySay) {
  EXPECT_EQ(Project("12.5798 41.8791 95", {"--xy"}).out, "847.76392192 806.202140394\n");
  EXPECT_EQ(Project("41.8791 12.5798 95", {"--origin", "corner"}).out, "806.702140394 848.26392192\n");
  EXPECT_EQ(Project("41.8791 12.5798 95", {"--precision", "5"}).out, "806.2 847.76\n");
  EXPECT_EQ(Project("41.8791 12.5798\n41.8791 12.5798 95\n41.8791 12.5798 a 1", {"--height", "95"}).out,
            CentreSeen + "\n" + CentreSeen + "\n" + CentreSeen + " a 1\n");
  EXPECT_TRUE(Contains(Project("41.8791 12.5798 95abc", {"--height", "95"}).err, "\"95abc\" is no number"));
  EXPECT_EQ(Project("41.8791,12.5798,,roof", {"--height", "95"}).out, CentreSeen + " roof\n");
  const std::string at_zero = Project("41.8791 12.5798 0").out;
  EXPECT_EQ(Project("41.8791 12.5798", {"--height", "0"}).out, at_zero);
  EXPECT_EQ(Project("41.8791 12.5798 -5").out, Project("41.8791 12.5798", {"--height", "-5"}).out);
}

TEST(Project, ABadPointSpoilsOnlyItsOwnLine) {
  const std::string cases[][3] = {
      {"41.8791 12.5798", "nan nan", "2 of the 3 numbers"},
      {"41.8791 x12 95 name", "nan nan name", "\"x12\" is no number"},
      {"41.8791,,95", "nan nan", "\"\" is no number"},
      {"nan 12.5798 95", "nan nan", "no finite number"},
      {"41.8791 12.5798 inf b", "nan nan b", "no finite number"},
      {"12.5798 41.8791 95", "nan nan", "latitude is out of the model's reach"},
      {"41.8791 14.5798 95", "nan nan", "longitude is out of the model's reach"},
      {"41.8791 12.5798 1e6", "nan nan", "height is out of the model's reach"},
  };
  for (const auto& [line, answer, why] : cases) {
    const Outcome outcome = Project("# 1\n" + line + "\n41.8791 12.5798 95\n");
    EXPECT_EQ(outcome.out, answer + "\n" + CentreSeen + "\n") << line;
    EXPECT_EQ(outcome.err.rfind("stdin:2: ", 0), 0U) << outcome.err;
    EXPECT_TRUE(Contains(outcome.err, why));
    EXPECT_EQ(outcome.status, 1) << line;
  }
}

TEST(Project, TenReasonsAndACountWhateverTheThreads) {
  std::string points;
  for (int i = 0; i < 40000; ++i)
    points += i % 1000 == 999 ? "bad\n" : "41.8791 12.5798 " + std::to_string(i) + "\n";
  const Outcome one = Project(points, {"--threads", "1"});
  EXPECT_EQ(one.status, 1);
  EXPECT_EQ(one.err.rfind("stdin:1000: \"bad\" is no number\n", 0), 0U);
  EXPECT_TRUE(Contains(one.err, "stdin:10000: "));
  EXPECT_FALSE(Contains(one.err, "stdin:11000: "));
  EXPECT_TRUE(Contains(one.err, "40 points of 40000 have no answer"));
  const Outcome many = Project(points, {"--threads", "5"});
  EXPECT_EQ(many.out, one.out);
  EXPECT_EQ(many.err, one.err);
}

TEST(Project, WhatCannotBeReadOrWrittenEndsWithOneLine) {
  const test::ScratchFolder folder;
  const auto expect_unusable = [](const Outcome& outcome, const std::string& why) {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(Contains(outcome.err, why));
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  };
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"project", folder.Path("none.RPB")}, "none.RPB: No such file"},
      {{"project", WorldView, "-p", folder.Path("none.txt")}, "No such file or directory"},
      {{"project", WorldView, "-p", folder.Path("")}, "Is a directory"},
      {{"project", WorldView, "--height", "high"}, "\"high\" is no height"},
      {{"project", WorldView, "--height", "nan"}, "\"nan\" is no height"},
      {{"project", WorldView, "--origin", "middle"}, "middle"},
      {{"project", WorldView, "--threads", "0"}, "--threads: Value 0 not in range 1 to 1024"},
      {{"project", WorldView, "--threads", "-1"}, "not in range"},
      {{"project", WorldView, "--threads", "1025"}, "not in range"},
      {{"project", WorldView, "--threads", "99999999999999999999"}, "not in range"},
      {{"project"}, "MODEL"},
      {{}, "subcommand"},
      {{"rotate", WorldView},
       "\"rotate\" is no command; there are: info project locate intersect fit invert refine export "
       "convert"}};
  for (const auto& [arguments, why] : cases) expect_unusable(RunKelvane(arguments), why);
  const std::string xml = test::FileText(test::SamplePath("pleiades_1.xml"));
  const auto scaled = [&](const std::string& scale) {
    return folder.Write("a.xml", test::Replaced(xml, "\"SampleScale\">19999.5", "\"SampleScale\">" + scale));
  };
  expect_unusable(RunKelvane({"project", scaled("0")}), "SampleScale is 0");
  expect_unusable(RunKelvane({"project", scaled("nan")}), "SampleScale is no finite number");
  test::RunOptions full;
  full.input = "41.8791 12.5798 95\n";
  full.out_path = "/dev/full";
  expect_unusable(RunKelvane({"project", WorldView}, full), "No space left on device");
  expect_unusable(RunKelvane({"info", WorldView}, full), "No space left on device");
  expect_unusable(RunKelvane({"--help"}, full), "No space left on device");
  std::string line = "41.8791 12.5798 95";
  line.resize((std::size_t{16} << 20) - 1, ' ');
  EXPECT_EQ(Project(line).out, CentreSeen + "\n");
  for (const char* threads : {"1", "100"})
    expect_unusable(Project(line + " ", {"--threads", threads}), "a line of 16 MiB or more");
}

/// So many points at the scene's centre.
std::string Points(std::size_t count) {
  std::string points;
  for (std::size_t i = 0; i < count; ++i) points += "41.8791 12.5798 95\n";
  return points;
}

TEST(Project, WhatWasReadIsAnsweredWhateverComesBehind) {
  constexpr std::size_t Count = 60000;
  for (const char* threads : {"1", "2", "4"}) {
    const Outcome outcome =
        Project(Points(Count) + std::string(std::size_t{17} << 20, ' '), {"--threads", threads});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out.size(), Count * (CentreSeen.size() + 1)) << threads;
  }
}

TEST(Project, AnswersAreDueBeforeTheNextLineIsThere) {
  for (const char* threads : {"1", "2", "4"}) {
    for (const std::size_t count : {1U, 20000U, 200000U}) {
      test::Conversation with({"project", WorldView, "--threads", threads, "--quiet"});
      // A part of the next line must hold nobody up.
      const std::string answers = with.Ask(Points(count) + "41.87", count * (CentreSeen.size() + 1));
      EXPECT_EQ(answers.size(), count * (CentreSeen.size() + 1))
          << threads << " threads, " << count << " points";
      EXPECT_EQ(with.Ask("91 12.5798 95\n", CentreSeen.size() + 1), CentreSeen + "\n");
    }
  }
}

TEST(Project, TheEnvironmentForcesInstructionsAndAsksForThreads) {
  const auto project_with = [](const char* variable, const char* value) {
    ::setenv(variable, value, 1);
    const Outcome outcome = Project("41.8791 12.5798 95");
    ::unsetenv(variable);
    return outcome;
  };
  for (const std::string& target : SatCommonUtils::SimdTargets()) {
    EXPECT_EQ(project_with("KELVANE_SIMD", target.c_str()).out, CentreSeen + "\n") << target;
  }
  for (const char* threads : {"0", "-1", "many", "1000000", "99999999999999999999"}) {
    EXPECT_EQ(project_with("KELVANE_THREADS", threads).out, CentreSeen + "\n") << threads;
  }
  const Outcome unknown = project_with("KELVANE_SIMD", "abacus");
  EXPECT_EQ(unknown.status, 2);
  EXPECT_TRUE(Contains(unknown.err, "KELVANE_SIMD=abacus")) << unknown.err;
}

}  // namespace
