#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/program.h"

namespace {

std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* const pipe = ::popen(command.c_str(), "r");
  char block[4096];
  for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, pipe)) > 0;)
    text.append(block, count);
  EXPECT_EQ(::pclose(pipe), 0) << command;
  return text;
}

/// The README shows the program whole and what it prints; both must stay true.
TEST(Readme, ShowsTheExampleAsItIs) {
  const std::string readme = test::FileText(std::string(KELVANE_SOURCE_DIR) + "/README.md");
  const std::string source = test::FileText(std::string(KELVANE_SOURCE_DIR) + "/examples/project_point.cpp");
  EXPECT_NE(readme.find("```cpp\n" + source + "```"), std::string::npos);
  const std::string out = OutputOf(std::string(KELVANE_EXAMPLES) + "/example_project_point " +
                                   test::SamplePath("worldview3.RPB"));
  EXPECT_NE(readme.find("```text\n" + out + "```"), std::string::npos) << out;
}

/// The first call on the first screen.
TEST(Readme, ShowsTheFirstCallAsItIs) {
  const std::string readme = test::FileText(std::string(KELVANE_SOURCE_DIR) + "/README.md");
  const test::Outcome outcome = test::RunKelvane(
      {"project", test::SamplePath("worldview3.RPB"), "-p", test::SamplePath("worldview3_points.txt")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(readme.find("$ kelvane project samples/worldview3.RPB -p samples/worldview3_points.txt\n" +
                        outcome.out + "```"),
            std::string::npos)
      << outcome.out;
}

}  // namespace
