#include <gtest/gtest.h>

#include <string>

#include "kelvane/rpc/rpc_vendor_xml.h"
#include "tests/support/vendor_xml.h"

namespace {

using namespace SatCommonUtils;
using test::Replaced;

TEST(VendorXml, BothFormsHoldTheRecordInItsOrder) {
  const TRPCData expected = test::NumberedRecord();
  const struct {
    std::string text;
    bool has_header;
  } cases[] = {{test::DimapText(expected), false}, {test::IsdText(expected), true}};
  for (const auto& c : cases) {
    TKaStringStream stream("\xEF\xBB\xBF" + c.text);
    TRPCData data;
    TRPBHeader header;
    std::string problem;
    ASSERT_TRUE(ReadVendorXml(&stream, &data, &header, &problem)) << problem;
    EXPECT_NEAR(data.LineOffset, expected.LineOffset, 1e-15);
    EXPECT_NEAR(data.SampleOffset, expected.SampleOffset, 1e-15);
    data.LineOffset = expected.LineOffset;
    data.SampleOffset = expected.SampleOffset;
    EXPECT_TRUE(DebugRPCDataAreIdentical(data, expected)) << c.text;
    EXPECT_EQ(header.SatId.value_or("?"), c.has_header ? "WV03" : "?");
    EXPECT_EQ(header.BandId.value_or("?"), c.has_header ? "P" : "?");
    EXPECT_EQ(header.ErrBias.value_or(-1.0), c.has_header ? 1.49 : -1.0);
    EXPECT_FALSE(header.ErrRand);
  }
}

/// A validity domain of rows 1 to 19676 about a line offset of 9838.5: its middle, counted from 0, is 9837.5.
TEST(VendorXml, DimapCountsFromOne) {
  std::string text = test::DimapText(test::IdentityRecord());
  text = Replaced(text, "<LINE_OFF>1<", "<LINE_OFF> 9838.5\n<");
  text = Replaced(text, "<SAMP_OFF>1<", "<SAMP_OFF>+9.333E3<");
  TKaStringStream stream(text);
  TRPCData data;
  ASSERT_TRUE(ReadVendorXml(&stream, &data, nullptr, nullptr));
  EXPECT_EQ(data.LineOffset, 9837.5);
  EXPECT_EQ(data.SampleOffset, 9332.0);
}

TEST(VendorXml, WhatIsNotWholeIsRefusedAndChangesNothing) {
  const std::string dimap = test::DimapText(test::IdentityRecord());
  const std::string isd = test::IsdText(test::IdentityRecord());
  const struct {
    std::string text;
    const char* why;
  } cases[] = {
      {"", ""},
      {"<html/>", "neither Dimap_Document nor isd"},
      {dimap.substr(0, dimap.size() / 2), "line "},
      {Replaced(dimap, "RPC00B", "RPC00A"), "RESOURCE_ID is not RPC00B"},
      {Replaced(Replaced(dimap, "<Inverse_Model>", "<Other>"), "</Inverse_Model>", "</Other>"),
       "no Inverse_Model in Global_RFM"},
      {Replaced(dimap, "<LINE_OFF>1</LINE_OFF>", ""), "no LINE_OFF in RFM_Validity"},
      {Replaced(dimap, "<LAT_OFF>", "<LAT_OFF>1</LAT_OFF><LAT_OFF>"), "LAT_OFF stands more than once"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>0,5<"), "LAT_OFF is no number"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>0 5<"), "LAT_OFF is no number"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF><"), "LAT_OFF is no number"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>1.7976931348623157e308<"), "mark of an unset field"},
      {Replaced(isd, "RPC00B", "RPC00A"), "SPECID is not RPC00B"},
      {Replaced(isd, "<LINENUMCOEF>0", "<LINENUMCOEF>"), "LINENUMCOEF does not hold 20 numbers"},
      {Replaced(isd, "<SAMPDENCOEF>1", "<SAMPDENCOEF>1 1"), "SAMPDENCOEF does not hold 20 numbers"},
      {Replaced(isd, "<LINENUMCOEF>0", "<LINENUMCOEF>x"), "LINENUMCOEF does not hold 20 numbers"},
      {Replaced(Replaced(isd, "<IMAGE>", "<IMAG>"), "</IMAGE>", "</IMAG>"), "no IMAGE in RPB"},
  };
  for (const auto& c : cases) {
    TKaStringStream stream(c.text);
    TRPCData data = test::NumberedRecord();
    TRPBHeader header;
    header.SatId = "kept";
    std::string problem;
    EXPECT_FALSE(ReadVendorXml(&stream, &data, &header, &problem)) << c.why;
    EXPECT_NE(problem.find(c.why), std::string::npos) << problem;
    EXPECT_FALSE(problem.empty());
    EXPECT_TRUE(DebugRPCDataAreIdentical(data, test::NumberedRecord()));
    EXPECT_EQ(header.SatId, "kept");
  }
}

}  // namespace
