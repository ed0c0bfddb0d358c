#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/failing_ini.h"
#include "tests/support/files.h"

namespace {

using Params = StereopairsByOverlap::TStereopairsByOverlapParams;

std::string Xml(const Params& params) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return params.SaveToXML(writer, "Criteria"); });
}

bool Has(const std::string& xml, const std::string& key) {
  return xml.find("key=\"" + key + '"') != std::string::npos;
}

Params Invalid() {
  Params params;
  params.Invalidate();
  return params;
}

/// The values alone, each followed by a blank.
std::string ValuesOf(const std::string& xml) {
  std::string values;
  for (std::size_t end = 0; (end = xml.find("</value>", end + 1)) != std::string::npos;) {
    const std::size_t begin = xml.rfind('>', end) + 1;
    values += xml.substr(begin, end - begin) + ' ';
  }
  return values;
}

/// A valid record of all 29 keys, every criterion counting.
std::string CheckedXml() {
  Params params;
  params.MinTimeGap = 0.05;
  std::string xml = Xml(params);
  for (std::size_t at = 0; (at = xml.find(">false<")) != std::string::npos;) xml.replace(at, 7, ">true<");
  return xml;
}

TEST(StereopairsByOverlapParams, KeysInTheirOrderAndWhichAreRequired) {
  // "!": whether the criterion counts or not; "?": never.
  std::istringstream keys(
      "TiesRequired! CheckOverlapPercentage! RejectUndefOverlapPercentage MinOverlapPercentage "
      "CheckOverlapPixels! RejectUndefOverlapPixels MinOverlapPixels CheckConvergenceAngle! "
      "RejectUndefConvergenceAngle MinConvergenceAngle MaxConvergenceAngle TheSameSensor! RejectUndefSensor! "
      "CheckTimeGap! RejectUndefTimeGap MaxTimeGap MinTimeGap? CheckDateGap? RejectUndefDateGap MaxDateGap "
      "CheckGSD! RejectUndefGSD MaxGSDPercentDiff CheckSunAzimuthDiff? RejectUndefSunAzimuthDiff "
      "MaxSunAzimuthDiff CheckSunElevationDiff? RejectUndefSunElevationDiff MaxSunElevationDiff");
  std::size_t last = 0;
  for (std::string key; keys >> key;) {
    const char mark = key.back();
    if (mark == '!' || mark == '?') key.pop_back();
    EXPECT_EQ(Has(Xml(Invalid()), key), key[0] != 'M') << key;
    ASSERT_TRUE(Has(CheckedXml(), key) && CheckedXml().find(key) > last) << key;
    last = CheckedXml().find(key);
    const auto read_without = [&](const std::string& xml, Params* read) {
      TKaXIniStreamReader reader = test::XmlReader(test::Replaced(xml, key, "other"));
      return read->InitializeFromXML(&reader, "Criteria");
    };
    Params read;
    EXPECT_EQ(read_without(CheckedXml(), &read), mark == '?') << key;
    EXPECT_EQ(Xml(read) == Xml(Invalid()), mark != '?') << key;
    if (!Has(Xml(Params()), key)) continue;
    EXPECT_EQ(read_without(Xml(Params()), &read), mark != '!') << key;
    EXPECT_EQ(Xml(read), Xml(mark == '!' ? Invalid() : Params())) << key;
  }
}

TEST(StereopairsByOverlapParams, DefaultsAndWhatMarksAnInvalidRecord) {
  EXPECT_EQ(ValuesOf(Xml(Params())),
            "false false true 10 false true 1 false true 10 90 false true false true 0.1 false true 30 false "
            "true 20 false true 15 false true 15 ");
  EXPECT_EQ(Params().MinTimeGap, 0.0);
  const Params p = Invalid();
  EXPECT_EQ(Xml(p).find(">false<"), std::string::npos);
  EXPECT_EQ(std::vector<double>({p.MinOverlapPercentage, p.MinOverlapPixels, p.MinTimeGap, p.MaxTimeGap,
                                 1.0 * p.MaxDateGap, p.MaxGSDPercentDiff}),
            std::vector<double>({-1, -1, 0, -1, -1, -1}));
  EXPECT_EQ(std::vector<double>(
                {p.MinConvergenceAngle, p.MaxConvergenceAngle, p.MaxSunAzimuthDiff, p.MaxSunElevationDiff}),
            std::vector<double>(4, 361));
}

TEST(StereopairsByOverlapParams, ARangeDecidesOnValidityAndAnotherOnWriting) {
  // Key, value, whether the record is valid, whether the value is written.
  const std::tuple<const char*, const char*, bool, bool> rows[] = {
      {"MinOverlapPercentage", "0", false, true},
      {"MinOverlapPercentage", "100", true, true},
      {"MinOverlapPercentage", "100.5", false, false},
      {"MinOverlapPixels", "0", false, true},
      {"MinOverlapPixels", "1.7976931348623157e308", false, true},
      {"MinConvergenceAngle", "95", false, false},
      {"MinConvergenceAngle", "-20", true, true},
      {"MaxConvergenceAngle", "400", true, true},
      {"MaxConvergenceAngle", "361", false, false},
      {"MaxTimeGap", "0.05", true, true},
      {"MaxTimeGap", "0", false, true},
      {"MinTimeGap", "-1", false, false},
      {"MaxDateGap", "0", true, true},
      {"MaxDateGap", "-1", false, false},
      {"MaxGSDPercentDiff", "100.5", false, true},
      {"MaxGSDPercentDiff", "nan", false, false},
      {"MaxGSDPercentDiff", "-1", false, false},
      {"MaxSunAzimuthDiff", "180", true, true},
      {"MaxSunAzimuthDiff", "180.5", false, true},
      {"MaxSunAzimuthDiff", "-1", false, true},
      {"MaxSunAzimuthDiff", "361", false, false},
      {"MaxSunElevationDiff", "90.5", false, true},
  };
  for (const auto& [key, text, valid, written] : rows) {
    std::string xml = CheckedXml();
    const std::size_t value = xml.find('>', xml.find(key)) + 1;
    xml.replace(value, xml.find('<', value) - value, text);
    TKaXIniStreamReader reader = test::XmlReader(xml);
    Params read;
    EXPECT_EQ(read.InitializeFromXML(&reader, "Criteria"), valid) << key << text;
    EXPECT_EQ(Has(Xml(read), key), written) << key << text;
  }
  Params params;
  params.MinOverlapPixels = -5.0;
  params.MinConvergenceAngle = 361.0;
  params.MaxConvergenceAngle = 400.0;
  EXPECT_TRUE(params) << "what does not count is not looked at";
  params.CheckConvergenceAngle = true;
  EXPECT_FALSE(params);
}

TEST(StereopairsByOverlapParams, AreCreatedOrNot) {
  const std::string xml = CheckedXml();
  int forgiven = 0;
  for (int failing = 0;; ++failing) {
    test::FailingReader reader(xml, failing);
    const auto params = StereopairsByOverlap::CreateStereopairsByOverlapParams(&reader, "Criteria");
    if (reader.NeverFailed()) {
      ASSERT_TRUE(params);
      EXPECT_EQ(Xml(*params), xml);
      break;
    }
    forgiven += static_cast<bool>(params);
  }
  EXPECT_EQ(forgiven, 2 * 4) << "finding and reading the keys that may be absent";
}

}  // namespace
