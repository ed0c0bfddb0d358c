#include "kelvane/rpc/rpc1.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/failing_ini.h"
#include "tests/support/files.h"

namespace {

using namespace SatCommonUtils;

constexpr TRPC1Params Skewed = {
    {3.0, 0.5, -0.25, 100.0}, {-0.5, 2.0, 0.125, 50.0}, {1e-3, 2e-3, -1e-3, 1.0}, {-2e-3, 1e-3, 5e-4, 1.0}};

std::string Xml(const TRPC1& model) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return model.SaveToXML(writer); });
}

TEST(Rpc1, ProjectsThereAndBack) {
  const TRPC1 model(Skewed);
  for (const double X : {-20.0, 0.0, 7.5}) {
    double line = X;
    double sample = 3.0;
    model.CalculateLineSample(line, sample, 10.0, &line, &sample);  // in place
    EXPECT_EQ(line,
              (3.0 * X + 0.5 * 3.0 - 0.25 * 10.0 + 100.0) / (1e-3 * X + 2e-3 * 3.0 - 1e-3 * 10.0 + 1.0));
    EXPECT_EQ(sample,
              (-0.5 * X + 2.0 * 3.0 + 0.125 * 10.0 + 50.0) / (-2e-3 * X + 1e-3 * 3.0 + 5e-4 * 10.0 + 1.0));
    double back[2];
    ASSERT_TRUE(model.CalculateXY(line, sample, 10.0, &back[0], &back[1]));
    EXPECT_NEAR(back[0], X, 1e-12);
    EXPECT_NEAR(back[1], 3.0, 1e-12);
  }
}

TEST(Rpc1, ParallelEquationsHaveNoSolutionAndNaNSpreads) {
  TRPC1 model(Skewed);
  double X = 1.0;
  double Y = 2.0;
  ASSERT_TRUE(model.CalculateXY(std::nan(""), 0.0, 0.0, &X, &Y));
  EXPECT_TRUE(std::isnan(X) && std::isnan(Y));
  // Line and sample ask for the same plane.
  model.Set({{1.0, 2.0, 0.0, 0.0}, {2.0, 4.0, 0.0, 0.0}, {0.0, 0.0, 0.0, 1.0}, {0.0, 0.0, 0.0, 1.0}});
  X = 1.0;
  EXPECT_FALSE(model.CalculateXY(5.0, 6.0, 0.0, &X, &X));
  EXPECT_EQ(X, 1.0);
  model.Reset();
  model.CalculateLineSample(1.0, 1.0, 1.0, &X, &Y);
  EXPECT_TRUE(std::isnan(X) && std::isnan(Y));
}

TEST(Rpc1, EveryKeyIsRequired) {
  const std::string xml = Xml(TRPC1(Skewed));
  TRPC1 model({{1.0}, {2.0}, {3.0}, {4.0}});
  const std::string before = Xml(model);
  std::size_t last = 0;
  for (const char* set : {"LineNum", "LineDenom", "SampleNum", "SampleDenom"}) {
    for (const char* k : {"0", "1", "2", "3"}) {
      const std::string key = std::string("\"") + set + k + '"';
      EXPECT_GT(xml.find(key), last) << key;
      last = xml.find(key);
      TKaXIniStreamReader reader = test::XmlReader(test::Replaced(xml, key, "\"other\""));
      EXPECT_FALSE(model.InitializeFromXML(&reader)) << key;
    }
  }
  EXPECT_EQ(Xml(model), before);
}

}  // namespace
