/// \file
/// Documents as image providers deliver them, around the numbers of a record.
#pragma once

#include <string>
#include <utility>

#include "kelvane/module/host/text.h"
#include "tests/support/records.h"

namespace test {

inline std::string Tag(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

inline std::string Digits(double value) { return Tessarin::ssprintf("%.17g", value); }

/// Offsets and scales; `off` and `scale` end their names, and the first pixel has the number `first`.
inline std::string NormalisationTags(const SatCommonUtils::TRPCData& d, const std::string& off,
                                     const std::string& scale, double first) {
  const auto tags = [&](const std::string& key, double offset, double factor) {
    return Tag(key + scale, Digits(factor)) + Tag(key + off, Digits(offset));
  };
  return tags("LONG", d.LongitudeOffset, d.LongitudeScale) + tags("LAT", d.LatitudeOffset, d.LatitudeScale) +
         tags("HEIGHT", d.HeightOffset, d.HeightScale) + tags("SAMP", d.SampleOffset + first, d.SampleScale) +
         tags("LINE", d.LineOffset + first, d.LineScale);
}

/// Lines and samples counted from 1, and a direct model of other numbers, as there is in fact.
inline std::string DimapText(const SatCommonUtils::TRPCData& d) {
  const std::pair<const char*, const double*> sets[] = {{"SAMP_NUM", d.SampleNum},
                                                        {"SAMP_DEN", d.SampleDenom},
                                                        {"LINE_NUM", d.LineNum},
                                                        {"LINE_DEN", d.LineDenom}};
  std::string direct, inverse;
  for (int k = 0; k < 80; ++k) {
    const std::string name = sets[k / 20].first + ("_COEFF_" + std::to_string(k % 20 + 1));
    direct += Tag(name, "-7");
    inverse += Tag(name, Digits(sets[k / 20].second[k % 20]));
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
         "<Dimap_Document><Rational_Function_Model><Resource_Reference><RESOURCE_ID>RPC00B</RESOURCE_ID>"
         "</Resource_Reference><Global_RFM>" +
         Tag("Direct_Model", direct) + Tag("Inverse_Model", inverse + Tag("ERR_BIAS_ROW", "0.1")) +
         Tag("RFM_Validity", NormalisationTags(d, "_OFF", "_SCALE", 1.0)) +
         "</Global_RFM></Rational_Function_Model></Dimap_Document>";
}

/// With the names of satellite and band, and one error figure of two.
inline std::string IsdText(const SatCommonUtils::TRPCData& d) {
  const std::pair<std::string, const double*> sets[] = {
      {"LINENUM", d.LineNum}, {"LINEDEN", d.LineDenom}, {"SAMPNUM", d.SampleNum}, {"SAMPDEN", d.SampleDenom}};
  std::string image = NormalisationTags(d, "OFFSET", "SCALE", 0.0);
  for (const auto& [key, values] : sets) {
    std::string numbers;
    for (int k = 0; k < 20; ++k) numbers += (k == 0 ? "" : " ") + Digits(values[k]);
    image += Tag(key + "COEFList", Tag(key + "COEF", numbers));
  }
  return "<isd><IMD><BANDID>other</BANDID></IMD><RPB><SATID>WV03</SATID><BANDID>P</BANDID><SPECID>RPC00B"
         "</SPECID><IMAGE><ERRBIAS>1.49</ERRBIAS><ERRRAND>none</ERRRAND>" +
         image + "</IMAGE></RPB></isd>";
}

}  // namespace test
