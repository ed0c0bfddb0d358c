#include "kelvane/rpc/rpc_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/support/failing_ini.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using test::NumberedRecord;

/// Calls `visit` with each of the record's 90 values.
template <class Visit>
void ForEachValue(TRPCData* data, Visit visit) {
  for (const auto& set : RPCDataCoefficients) {
    for (double& value : data->*set.Values) visit(&value);
  }
  for (const auto& field : RPCDataFields) visit(&(data->*field.Value));
}

/// The text with every `from` replaced.
std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

TEST(RpcData, IsValidWhenEveryFieldIsSet) {
  TRPCData data;
  int count = 0;
  ForEachValue(&data, [&](double* value) {
    EXPECT_FALSE(data);
    EXPECT_EQ(*value, 1.7976931348623157e308);
    *value = ++count % 2 == 0 ? 0.0 : std::nan("");  // given, though of no use
  });
  EXPECT_EQ(count, 90);
  EXPECT_TRUE(data);
  ForEachValue(&data, [&](double* value) {
    const double kept = std::exchange(*value, TRPCData::Unset);
    EXPECT_FALSE(data);
    *value = kept;
  });
  data.Invalidate();
  EXPECT_TRUE(DebugRPCDataAreIdentical(data, TRPCData()));
}

TEST(RpcData, AnyDifferenceTells) {
  const TRPCData data = NumberedRecord();
  TRPCData other = data;
  EXPECT_TRUE(DebugRPCDataAreIdentical(data, other));
  ForEachValue(&other, [&](double* value) {
    const double kept = *value;
    *value = std::nextafter(kept, 100.0);
    EXPECT_FALSE(DebugRPCDataAreIdentical(data, other));
    *value = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(DebugRPCDataAreIdentical(other, other));
    *value = kept;
  });
  TRPCData difference = other;
  DebugEstimateRPCDataDifference(NumberedRecord(), difference, &difference);
  EXPECT_TRUE(DebugRPCDataAreIdentical(difference, TRPCData(difference)));
  ForEachValue(&difference, [](const double* value) { EXPECT_EQ(*value, 0.0); });
}

TEST(RpcDataXml, FailedReadKeepsWhatItRead) {
  const std::string xml = Replaced(test::XmlOf(NumberedRecord()), "\"HeightScale\"", "\"Other\"");
  TRPCData read;
  std::string problem;
  EXPECT_FALSE(test::ReadXml(xml, &read, &problem));
  EXPECT_NE(problem.find("HeightScale"), std::string::npos) << problem;
  EXPECT_EQ(read.HeightOffset, NumberedRecord().HeightOffset);
  EXPECT_EQ(read.HeightScale, TRPCData::Unset);
  EXPECT_EQ(read.LineNum[0], TRPCData::Unset);

  EXPECT_FALSE(test::ReadXml(Replaced(xml, "\"Other\">", "\"HeightScale\">about "), &read));
}

TEST(RpcDataXml, FormerNumeratorNamesAreRead) {
  const std::string xml = test::XmlOf(NumberedRecord());
  EXPECT_EQ(xml.find("Nom"), std::string::npos);
  TRPCData read;
  std::string problem = "none";
  ASSERT_TRUE(test::ReadXml(Replaced(xml, "Num\"", "Nom\""), &read, &problem));
  EXPECT_EQ(problem, "none");
  EXPECT_TRUE(DebugRPCDataAreIdentical(NumberedRecord(), read));
  EXPECT_FALSE(test::ReadXml(Replaced(xml, "LineDenom", "LineDen"), &read, &problem));
  EXPECT_NE(problem.find("LineDenom"), std::string::npos) << problem;
}

}  // namespace
