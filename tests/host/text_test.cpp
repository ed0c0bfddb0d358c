#include "kelvane/module/host/text.h"

#include <cmath>

#include "host_testing.h"

namespace {

using namespace SatCommonUtils;

TEST(Text, TrimAndToupperTouchAsciiOnly) {
  EXPECT_EQ(trim("\r\n\t \v\fa b\xC2\xA0 \n"), "a b\xC2\xA0");
  EXPECT_EQ(trim(" \t"), "");
  EXPECT_EQ(toupper("az{`\xC3\xA9\xE9 Az9"), "AZ{`\xC3\xA9\xE9 AZ9");
}

TEST(Text, NumbersHaveAPointUnderEveryLocale) {
  EXPECT_EQ(Tessarin::ssprintf("%.2f %s", 1234.5, "x"), "1234.50 x");
  EXPECT_EQ(Tessarin::ssprintf("%s", std::string(100000, 'a').c_str()), std::string(100000, 'a'));
  EXPECT_EQ(Tessarin::ssprintf("%s", ""), "");
  EXPECT_EQ(StringToDoubleDef(" +1.5e0\n", 7.0), 1.5);
  EXPECT_EQ(StringToDoubleDef("4.9e-324", 7.0), 4.9e-324);
  EXPECT_EQ(StringToDoubleDef("1e-999", 7.0), 0.0);
  EXPECT_TRUE(std::isnan(StringToDoubleDef("nan", 7.0)));
  for (const char* text : {"", " ", "1,5", "1.5 m", "1.5.5", "0x10", "1e999", "--1", "+-1", "abc"}) {
    EXPECT_EQ(StringToDoubleDef(text, 7.0), 7.0) << text;
  }
}

TEST(Text, OnlyADotInsideTheFileNameBeginsAnExtension) {
  const std::vector<std::pair<std::string, std::string>> cut = {
      {"a/b.tif", "a/b"}, {"a.b/c", "a.b/c"}, {"b.tar.gz", "b.tar"}, {".hidden", ".hidden"},
      {"a/.b.c", "a/.b"}, {"a.", "a"},        {"..", ".."},          {"a/..", "a/.."},
      {"", ""},           {"a.b/", "a.b/"}};
  for (const auto& [path, expected] : cut) {
    EXPECT_EQ(CutFileExt(path), expected);
    EXPECT_EQ(ChangeFileExt(path, ".rpb"), expected + ".rpb");
  }
}

TEST(Text, ListsAreSplitIntoNumbers) {
  double out[4] = {9, 9, 9, 9};
  EXPECT_EQ(SplitStringIntoDoubles("(1, -2.5e3,\n+3)", "(),", out, 4, false, nullptr), 3U);
  EXPECT_EQ(std::vector<double>(out, out + 4), (std::vector<double>{1, -2500, 3, 9}));
  EXPECT_EQ(SplitStringIntoDoubles("4;5;6", ";", out, 2, false, nullptr), 2U);
  EXPECT_EQ(std::vector<double>(out, out + 4), (std::vector<double>{4, 5, 3, 9}));
  EXPECT_EQ(SplitStringIntoDoubles("7 m 1,5 8", ";", out, 4, true, nullptr), 2U);
  EXPECT_EQ(out[1], 8.0);
  EXPECT_EQ(SplitStringIntoDoubles("7 m 8", ";", out, 4, false, nullptr), 0U);
  EXPECT_EQ(SplitStringIntoDoubles(" ,, ", ",", out, 4, false, nullptr), 0U);
}

}  // namespace
