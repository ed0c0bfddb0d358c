/// \file
/// Documents as image providers deliver them, around the numbers of a record.
#pragma once

#include <string>

#include "tests/support/program.h"
#include "tests/support/records.h"

namespace test {

inline std::string Digits(double value) {
  PointText text;
  text << value;
  return text.str();
}

/// Lines and samples counted from 1, and a direct model of other numbers, as there is in fact.
inline std::string DimapText(const SatCommonUtils::TRPCData& d) {
  const struct {
    const char* key;
    const double* values;
  } sets[] = {{"SAMP_NUM", d.SampleNum},
              {"SAMP_DEN", d.SampleDenom},
              {"LINE_NUM", d.LineNum},
              {"LINE_DEN", d.LineDenom}};
  std::string direct;
  std::string inverse;
  for (const auto& set : sets) {
    for (int k = 1; k <= 20; ++k) {
      const std::string key = std::string(set.key) + "_COEFF_" + std::to_string(k) + ">";
      direct += "<" + key + "-7</" + key;
      inverse += "<" + key + Digits(set.values[k - 1]) + "</" + key;
    }
  }
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n<Dimap_Document>"
      "<Metadata_Identification><METADATA_FORMAT version=\"2.15\">DIMAP</METADATA_FORMAT>"
      "</Metadata_Identification>\n<Rational_Function_Model><Resource_Reference>"
      "<RESOURCE_TITLE version=\"2.1\">NITF</RESOURCE_TITLE><RESOURCE_ID>RPC00B</RESOURCE_ID>"
      "</Resource_Reference>\n<Global_RFM><Direct_Model>" +
      direct + "</Direct_Model>\n<Inverse_Model>" + inverse +
      "<ERR_BIAS_ROW>0.1</ERR_BIAS_ROW></Inverse_Model>\n<RFM_Validity><Direct_Model_Validity_Domain>"
      "<FIRST_ROW>1</FIRST_ROW></Direct_Model_Validity_Domain>";
  const struct {
    const char* key;
    double value;
  } fields[] = {{"LONG_SCALE", d.LongitudeScale}, {"LONG_OFF", d.LongitudeOffset},
                {"LAT_SCALE", d.LatitudeScale},   {"LAT_OFF", d.LatitudeOffset},
                {"HEIGHT_SCALE", d.HeightScale},  {"HEIGHT_OFF", d.HeightOffset},
                {"SAMP_SCALE", d.SampleScale},    {"SAMP_OFF", d.SampleOffset + 1.0},
                {"LINE_SCALE", d.LineScale},      {"LINE_OFF", d.LineOffset + 1.0}};
  for (const auto& field : fields) {
    ((text += "<").append(field.key) += ">" + Digits(field.value) + "</").append(field.key) += ">";
  }
  return text + "</RFM_Validity></Global_RFM></Rational_Function_Model></Dimap_Document>";
}

/// With the names of satellite and band, and one error figure of two.
inline std::string IsdText(const SatCommonUtils::TRPCData& d) {
  const struct {
    const char* key;
    double value;
  } fields[] = {{"LINEOFFSET", d.LineOffset},     {"SAMPOFFSET", d.SampleOffset},
                {"LATOFFSET", d.LatitudeOffset},  {"LONGOFFSET", d.LongitudeOffset},
                {"HEIGHTOFFSET", d.HeightOffset}, {"LINESCALE", d.LineScale},
                {"SAMPSCALE", d.SampleScale},     {"LATSCALE", d.LatitudeScale},
                {"LONGSCALE", d.LongitudeScale},  {"HEIGHTSCALE", d.HeightScale}};
  const struct {
    const char* key;
    const double* values;
  } sets[] = {{"LINENUMCOEF", d.LineNum},
              {"LINEDENCOEF", d.LineDenom},
              {"SAMPNUMCOEF", d.SampleNum},
              {"SAMPDENCOEF", d.SampleDenom}};
  std::string text =
      "<?xml "
      "version=\"1.0\"?>\n<isd><VERSION>28.3</VERSION><IMD><BANDID>other</BANDID></IMD>\n<RPB><SATID>WV03"
      "</SATID><BANDID>P</BANDID><SPECID>RPC00B</SPECID><IMAGE><ERRBIAS>1.49</ERRBIAS><ERRRAND>none</"
      "ERRRAND>";
  for (const auto& field : fields) {
    ((text += "<").append(field.key) += ">" + Digits(field.value) + "</").append(field.key) += ">";
  }
  for (const auto& set : sets) {
    const std::string key = set.key;
    text += "\n<" + key + "List><" + key + ">";
    for (int k = 0; k < 20; ++k) text += (k == 0 ? "" : " ") + Digits(set.values[k]);
    text += "</" + key + "></" + key + "List>";
  }
  return text + "</IMAGE></RPB></isd>";
}

}  // namespace test
