#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/support/failing_ini.h"
#include "tests/support/files.h"

namespace {

using namespace StereopairsByOverlap;
using Params = TStereopairsByOverlapParams;

std::string Xml(const Params& params) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return params.SaveToXML(writer); });
}

std::string InvalidXml() {
  Params params;
  params.Invalidate();
  return Xml(params);
}

/// Valid, with all 29 keys.
Params Everything(bool checked) {
  Params params;
  for (bool Params::*check : {&Params::CheckOverlapPercentage, &Params::CheckOverlapPixels, &Params::CheckGSD,
                              &Params::CheckConvergenceAngle, &Params::CheckTimeGap, &Params::CheckDateGap,
                              &Params::CheckSunAzimuthDiff, &Params::CheckSunElevationDiff}) {
    params.*check = checked;
  }
  params.MinTimeGap = 0.05;
  return params;
}

/// `key` with its quotes.
bool Has(const std::string& text, const std::string& key) { return text.find(key) != std::string::npos; }

constexpr char Keys[] =
    R"("TiesRequired" "CheckOverlapPercentage" "RejectUndefOverlapPercentage" "MinOverlapPercentage"
 "CheckOverlapPixels" "RejectUndefOverlapPixels" "MinOverlapPixels" "CheckConvergenceAngle"
 "RejectUndefConvergenceAngle" "MinConvergenceAngle" "MaxConvergenceAngle" "TheSameSensor" "RejectUndefSensor"
 "CheckTimeGap" "RejectUndefTimeGap" "MaxTimeGap" "MinTimeGap" "CheckDateGap" "RejectUndefDateGap" "MaxDateGap"
 "CheckGSD" "RejectUndefGSD" "MaxGSDPercentDiff" "CheckSunAzimuthDiff" "RejectUndefSunAzimuthDiff"
 "MaxSunAzimuthDiff" "CheckSunElevationDiff" "RejectUndefSunElevationDiff" "MaxSunElevationDiff")";
constexpr char NeverRequired[] =
    R"("MinTimeGap" "CheckDateGap" "CheckSunAzimuthDiff" "CheckSunElevationDiff")";
constexpr char AlwaysRequired[] =
    R"("TiesRequired" "CheckOverlapPercentage" "CheckOverlapPixels" "CheckConvergenceAngle" "TheSameSensor"
 "RejectUndefSensor" "CheckTimeGap" "CheckGSD")";

TEST(StereopairsByOverlapParams, KeysInTheirOrderAndWhichAreRequired) {
  for (const bool checked : {true, false}) {
    const std::string xml = Xml(Everything(checked));
    std::size_t at = 0;
    std::size_t last = 0;
    std::istringstream keys(Keys);
    for (std::string key; keys >> key; last = at) {
      at = xml.find(key);
      ASSERT_TRUE(at != std::string::npos && at > last) << key;
      const bool number = key.compare(1, 1, "M") == 0;
      EXPECT_EQ(Has(InvalidXml(), key), !number) << key;

      TKaXIniStreamReader reader = test::XmlReader(test::Replaced(xml, key, "\"other\""));
      Params read;
      const bool required = checked ? !Has(NeverRequired, key) : Has(AlwaysRequired, key);
      EXPECT_EQ(read.InitializeFromXML(&reader), !required) << key;
      if (required) {
        EXPECT_EQ(Xml(read), InvalidXml()) << key;
      }
    }
  }
  // Absent, every optional key has its default.
  std::string least;
  std::istringstream required(AlwaysRequired);
  for (std::string key; required >> key;) {
    least += "<value key=" + key + (key == "\"RejectUndefSensor\"" ? ">true</value>" : ">false</value>");
  }
  TKaXIniStreamReader reader = test::XmlReader("<configuration>" + least + "</configuration>");
  Params read = Everything(true);
  EXPECT_TRUE(read.InitializeFromXML(&reader));
  EXPECT_EQ(Xml(read), Xml(Params()));
}

TEST(StereopairsByOverlapParams, ARangeDecidesOnValidityAndAnotherOnWriting) {
  const struct {
    const char* key;
    const char* value;
    bool valid;
    bool written;
  } rows[] = {
      {"MinOverlapPercentage", "0", false, true},
      {"MinOverlapPercentage", "100", true, true},
      {"MinOverlapPercentage", "100.5", false, false},
      {"MinOverlapPixels", "5e-324", true, true},
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
      {"MaxGSDPercentDiff", "0", true, true},
      {"MaxGSDPercentDiff", "100.5", false, true},
      {"MaxGSDPercentDiff", "nan", false, false},
      {"MaxSunAzimuthDiff", "180", true, true},
      {"MaxSunAzimuthDiff", "361", false, false},
      {"MaxSunElevationDiff", "90.5", false, true},
      {"MaxSunElevationDiff", "-1", false, true},
  };
  for (const auto& row : rows) {
    for (const bool checked : {true, false}) {
      const std::string key = '"' + std::string(row.key) + '"';
      std::string xml = Xml(Everything(checked));
      const std::size_t value = xml.find(key) + key.size() + 1;
      xml.replace(value, xml.find('<', value) - value, row.value);
      TKaXIniStreamReader reader = test::XmlReader(xml);
      Params read;
      EXPECT_EQ(read.InitializeFromXML(&reader), row.valid || !checked) << key << row.value;
      EXPECT_EQ(Has(Xml(read), key), row.written) << key << row.value;
    }
  }
  Params invalid;
  invalid.Invalidate();
  EXPECT_FALSE(invalid);
}

TEST(StereopairsByOverlapParams, IsCreatedFromASectionOrNotAtAll) {
  const std::string xml =
      test::SavedXml([](TKaXIniWriter* writer) { return Everything(true).SaveToXML(writer, "Criteria"); });
  TKaXIniStreamReader reader = test::XmlReader(xml);
  EXPECT_FALSE(CreateStereopairsByOverlapParams(&reader, "Absent"));
  const auto params = CreateStereopairsByOverlapParams(&reader, "Criteria");
  ASSERT_TRUE(params);
  EXPECT_EQ(Xml(*params), Xml(Everything(true)));

  int forgiven = 0;
  for (int failing = 0;; ++failing) {
    test::FailingReader bad(xml, failing);
    const bool created = static_cast<bool>(CreateStereopairsByOverlapParams(&bad, "Criteria"));
    if (bad.NeverFailed()) break;
    forgiven += created;
  }
  EXPECT_EQ(forgiven, 2 * 4) << "finding and reading the keys that may be absent";
}

}  // namespace
