#include "kelvane/rpc/rpc1.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/failing_ini.h"
#include "tests/support/files.h"

namespace {

using namespace SatCommonUtils;

constexpr TRPC1Params Skewed = {
    {3, 0.5, -0.25, 100}, {-0.5, 2, 0.125, 50}, {0.1, 0.2, -0.1, 1}, {-0.2, 0.1, 0.3, 1}};

TEST(Rpc1, ProjectsThereAndBack) {
  double line = 7.5;
  double sample = 3.0;
  TRPC1 model(Skewed);
  model.CalculateLineSample(line, sample, 10.0, &line, &sample);  // in place
  EXPECT_NEAR(line, 121.5 / 1.35, 1e-13);
  EXPECT_NEAR(sample, 53.5 / 2.8, 1e-13);
  ASSERT_TRUE(model.CalculateXY(line, sample, 10.0, &line, &sample));
  EXPECT_NEAR(line, 7.5, 1e-12);
  EXPECT_NEAR(sample, 3.0, 1e-12);
  ASSERT_TRUE(model.CalculateXY(std::nan(""), 0.0, 0.0, &line, &sample));
  EXPECT_TRUE(std::isnan(line) && std::isnan(sample));

  double kept = 1.0;
  model.Set({{1, 2, 0, 0}, {2, 4, 0, 0}, {0, 0, 0, 1}, {0, 0, 0, 1}});  // parallel
  EXPECT_FALSE(model.CalculateXY(5.0, 6.0, 0.0, &kept, &kept));
  EXPECT_EQ(kept, 1.0);
}

TEST(Rpc1, WritesItsKeysInTheirOrder) {
  const TRPC1 model(Skewed);
  const std::string xml = test::SavedXml([&](TKaXIniWriter* writer) { return model.SaveToXML(writer); });
  std::size_t last = 0;
  for (const char* set : {"LineNum", "LineDenom", "SampleNum", "SampleDenom"}) {
    for (const char* k : {"0", "1", "2", "3"}) {
      const std::size_t key = xml.find(std::string("\"") + set + k + '"');
      EXPECT_TRUE(key != std::string::npos && key > last) << set << k;
      last = key;
    }
  }
}

}  // namespace
