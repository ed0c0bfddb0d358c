#include "kelvane/rpc/rpc_vendor_xml.h"

#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/vendor_xml.h"

namespace {

using namespace SatCommonUtils;
using test::Replaced;

TEST(VendorXml, BothFormsHoldTheRecordInItsOrder) {
  TRPCData expected = test::NumberedRecord();
  // A validity domain of rows 1 to 19676: its middle, 9838.5 there, is 9837.5 from the first pixel at 0.
  expected.LineOffset = 9837.5;
  expected.SampleOffset = 9332.0;
  const std::string dimap =
      Replaced(test::DimapText(expected), "<LINE_OFF>9838.5<", "<LINE_OFF> +9.8385E3\n<");
  for (const std::string& text : {dimap, test::IsdText(expected)}) {
    const bool isd = text != dimap;
    TKaStringStream stream("\xEF\xBB\xBF" + text);
    TRPCData data;
    TRPBHeader header;
    std::string problem;
    ASSERT_TRUE(ReadVendorXml(&stream, &data, &header, &problem)) << problem;
    EXPECT_TRUE(DebugRPCDataAreIdentical(data, expected)) << text;
    EXPECT_EQ(header.SatId.value_or("?"), isd ? "WV03" : "?");
    EXPECT_EQ(header.BandId.value_or("?"), isd ? "P" : "?");
    EXPECT_EQ(header.ErrBias.value_or(-1.0), isd ? 1.49 : -1.0);
    EXPECT_FALSE(header.ErrRand);
  }
}

TEST(VendorXml, WhatIsNotWholeIsRefusedAndChangesNothing) {
  const std::string dimap = test::DimapText(test::IdentityRecord());
  const std::string isd = test::IsdText(test::IdentityRecord());
  const std::pair<std::string, const char*> cases[] = {
      {"<html/>", "neither Dimap_Document nor isd"},
      {dimap.substr(0, dimap.size() / 2), "line "},
      {Replaced(dimap, "RPC00B", "RPC00A"), "RESOURCE_ID is not RPC00B"},
      {Replaced(Replaced(dimap, "<Inverse_", "<X_"), "</Inverse_", "</X_"), "no Inverse_Model in Global_RFM"},
      {Replaced(dimap, "<LINE_OFF>1</LINE_OFF>", ""), "no LINE_OFF in RFM_Validity"},
      {Replaced(dimap, "</Inverse_", "<SAMP_DEN_COEFF_21>0</SAMP_DEN_COEFF_21></Inverse_"),
       "SAMP_DEN_COEFF_1 to 20 are not all"},
      {Replaced(dimap, "<LAT_OFF>", "<LAT_OFF>1</LAT_OFF><LAT_OFF>"), "LAT_OFF stands more than once"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>0,5<"), "LAT_OFF is no number"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>0 5<"), "LAT_OFF is no number"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>1.7976931348623157e308<"), "mark of an unset field"},
      {Replaced(dimap, "<LAT_OFF>0<", "<LAT_OFF>0<NOTE>5</NOTE><"), "LAT_OFF holds tags"},
      {Replaced(dimap, "<RFM_Validity>",
                "<RFM_Validity><Direct_Model_Validity_Domain><FIRST_ROW>0</FIRST_ROW></"
                "Direct_Model_Validity_Domain>"),
       "FIRST_ROW is not 1"},
      {Replaced(isd, "RPC00B", "RPC00A"), "SPECID is not RPC00B"},
      {Replaced(isd, "<LINENUMCOEF>0", "<LINENUMCOEF>"), "LINENUMCOEF does not hold 20 numbers"},
      {Replaced(isd, "<SAMPDENCOEF>1", "<SAMPDENCOEF>1 1"), "SAMPDENCOEF does not hold 20 numbers"}};
  for (const auto& [text, why] : cases) {
    TKaStringStream stream(text);
    TRPCData data = test::NumberedRecord();
    TRPBHeader header{true, "kept", {}, {}, {}};
    std::string problem;
    EXPECT_FALSE(ReadVendorXml(&stream, &data, &header, &problem)) << why;
    EXPECT_NE(problem.find(why), std::string::npos) << problem;
    EXPECT_TRUE(DebugRPCDataAreIdentical(data, test::NumberedRecord()) && header.SatId == "kept");
  }
}

}  // namespace
