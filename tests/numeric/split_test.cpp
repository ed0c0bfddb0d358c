#include "kelvane/numeric/split.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

using SatCommonUtils::Split;

std::vector<double> Numbers(const std::string& text, const char* delimiters, bool reverse = false) {
  std::vector<double> numbers(Split(text.c_str(), delimiters, nullptr, 0, reverse), NAN);
  EXPECT_EQ(Split(text.c_str(), delimiters, numbers.data(), numbers.size(), reverse), numbers.size());
  return numbers;
}

TEST(Split, ReadsWhatBeginsAsANumber) {
  const std::vector<double> three = {1.0, 2.5, -3e-2};
  EXPECT_EQ(Numbers("(1;2.5;-3e-2)", "();"), three);
  EXPECT_EQ(Numbers("((;; 1 m; two;\t2.5.7;;-3e-2", "();"), three);  // the end of the text ends a token
  EXPECT_EQ(Numbers("3,1415", "();"), std::vector<double>{3.0});     // a comma is no decimal point
  EXPECT_EQ(Numbers("1e2e-3e5", "e"), (std::vector<double>{1.0, 2.0, -3.0, 5.0}));
  EXPECT_EQ(Numbers("(1;2.5;-3e-2)", "();", true), (std::vector<double>{-3e-2, 2.5, 1.0}));
}

TEST(Split, BlankAndEmptyTokensAreNoNumbers) {
  for (const char* text : {"", "()", "( )", " ; \n", ";;;", "abc;-;."}) {
    EXPECT_EQ(Split(text, "();", nullptr, 0, false), 0U) << text;
  }
  EXPECT_EQ(Numbers("(1; ;2)\r\n", "();"), (std::vector<double>{1.0, 2.0}));
}

TEST(Split, LongTokensAreReadWhole) {
  const std::string zeros(5000, '0');
  EXPECT_EQ(Numbers("1;0." + zeros + "25e5000;" + std::string(400, 'x') + ';' + zeros + "7", ";"),
            (std::vector<double>{1.0, 0.25, 7.0}));
}

}  // namespace
