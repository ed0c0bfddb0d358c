#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kelvane/rpc/rpc_data.h"
#include "tests/support/files.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using test::NumberedRecord;
using test::Replaced;

std::string RpbOf(const TRPCData& data) {
  TKaStringStream stream;
  EXPECT_TRUE(data.SaveToRPB(&stream, "WV03", "P", 1.493, 12.0));
  return stream.Text();
}

bool ReadRpb(const std::string& text, TRPCData* data, TRPBHeader* header = nullptr,
             std::string* problem = nullptr) {
  return data->InitializeFromRPB(new_a<TKaStringStream>(text), header, problem);
}

TEST(Rpb, IsWrittenByteForByte) {
  TRPCData data = test::IdentityRecord();
  data.LatitudeOffset = 41.8791;
  data.LongitudeScale = 0.0225;
  const std::string zero = "\t\t\t+0.00000000E+00,\n";
  const std::string one = "\t\t\t+1.00000000E+00,\n";
  const auto block = [&](const std::string& key, std::size_t position) {
    std::string text = "\t" + key + " = (\n";
    for (std::size_t k = 0; k < 19; ++k) text += k == position ? one : zero;
    return text + "\t\t\t+0.00000000E+00);\n";
  };
  EXPECT_EQ(RpbOf(data),
            "satId = \"WV03\";\nbandId = \"P\";\nSpecId = \"RPC00B\";\nBEGIN_GROUP = IMAGE\n"
            "\terrBias =    1.49;\n\terrRand =   12.00;\n"
            "\tlineOffset = 0.00;\n\tsampOffset = 0.00;\n\tlatOffset = 41.87910000;\n"
            "\tlongOffset = 0.00000000;\n\theightOffset = 0.00;\n"
            "\tlineScale = 1.00;\n\tsampScale = 1.00;\n\tlatScale = 1.00000000;\n"
            "\tlongScale = 0.02250000;\n\theightScale = 1.00;\n" +
                block("lineNumCoef", 2) + block("lineDenCoef", 0) + block("sampNumCoef", 1) +
                block("sampDenCoef", 0) + "END_GROUP = IMAGE\nEND;");
}

TEST(Rpb, ComesBackWithItsHeader) {
  TRPCData rounded;
  TRPBHeader header;
  std::string problem;
  ASSERT_TRUE(ReadRpb(RpbOf(NumberedRecord()), &rounded, &header, &problem)) << problem;
  EXPECT_EQ(RpbOf(rounded), RpbOf(NumberedRecord()));
  EXPECT_EQ(header.SatId, "WV03");
  EXPECT_EQ(header.BandId, "P");
  EXPECT_EQ(header.ErrBias, 1.49);
  EXPECT_EQ(header.ErrRand, 12.0);
  EXPECT_NEAR(rounded.SampleDenom[19], NumberedRecord().SampleDenom[19], 1e-8);
}

TEST(Rpb, ErrorFiguresFollowTheirRules) {
  const test::ScratchFolder folder;
  const std::string file = folder.Write("with.rpb", RpbOf(NumberedRecord()));
  TRPCData data;
  double bias = 7.0;
  double rand = 0.0;
  ASSERT_TRUE(data.InitializeFromRPBFile(file, &bias, &rand));
  EXPECT_EQ(bias, 1.49);
  EXPECT_EQ(rand, 0.0);  // not asked for
  rand = 1.0;
  ASSERT_TRUE(data.InitializeFromRPBFile(file, nullptr, &rand));
  EXPECT_EQ(rand, 12.0);

  const std::string without = folder.Write(
      "without.rpb", Replaced(Replaced(RpbOf(NumberedRecord()), "errBias", "x"), "errRand", "y"));
  ASSERT_TRUE(data.InitializeFromRPBFile(without, &bias, &rand));
  EXPECT_EQ(bias, 0.0);
  EXPECT_EQ(rand, 0.0);
}

TEST(Rpb, FailuresLeaveTheRecordUnsetAndSayWhy) {
  const std::string good = RpbOf(NumberedRecord());
  const std::size_t first = good.find("\t\t\t", good.find("lineDenCoef"));
  const std::string short_list = good.substr(0, first) + good.substr(good.find("\t\t\t", first + 3));
  const std::pair<std::string, const char*> cases[] = {
      {short_list, "numbers found: 19"},
      {"", ""},
      {"satId = \"X\";\nEND;", "IMAGE"},
      {Replaced(good, "\tlatScale", "\tlatScal"), "latScale"},
      {Replaced(good, "\tlineOffset = ", "\tlineOffset = about"), "lineOffset"},
      {Replaced(good, "\tsampDenCoef", "\tsampDen"), "sampDenCoef"},
      {Replaced(good, "\tlineNumCoef = (\n", "\tlineNumCoef = (\n 1,\n"), "lineNumCoef"},
      {Replaced(good, "\tsampNumCoef = (\n", "\tsampNumCoef = (\n x,"), "sampNumCoef"},
      {Replaced(good, "END_GROUP = IMAGE\nEND;", ""), "IMAGE"},
  };
  for (const auto& [text, reason] : cases) {
    TRPCData data = NumberedRecord();
    std::string problem;
    EXPECT_FALSE(ReadRpb(text, &data, nullptr, &problem) || problem.empty());
    EXPECT_TRUE(test::Contains(problem, reason));
    EXPECT_TRUE(DebugRPCDataAreIdentical(data, TRPCData()));
  }
}

TEST(Rpb, TruncatedAtAnyByteIsRefused) {
  const std::string good = RpbOf(NumberedRecord());
  // The name behind END_GROUP may be left out, but not cut.
  const std::size_t complete = good.rfind(" = IMAGE");
  for (std::size_t size = 0; size < good.rfind("\nEND;"); size += size < good.size() - 100 ? 7U : 1U) {
    TRPCData data;
    const bool bare_end = size == complete || size == complete + 1;
    EXPECT_EQ(ReadRpb(good.substr(0, size), &data), bare_end) << size;
  }
}

TEST(Rpb, FilesThatAreNone) {
  for (const char* path : {"/no/such/file", "/", "/dev/null"}) {
    TRPCData data = NumberedRecord();
    double rand = 1.0;
    EXPECT_FALSE(data.InitializeFromRPBFile(path, nullptr, &rand)) << path;
    EXPECT_FALSE(data);
    EXPECT_EQ(rand, 1.0);
  }
}

TEST(Rpb, AnUnsetRecordWritesNothing) {
  TKaStringStream stream;
  TRPCData data = NumberedRecord();
  data.SampleNum[7] = TRPCData::Unset;
  EXPECT_FALSE(data.SaveToRPB(&stream, "", "", 0.0, 0.0));
  EXPECT_EQ(stream.Text(), "");
  TKaFileStream closed;
  EXPECT_FALSE(NumberedRecord().SaveToRPB(&closed, "", "", 0.0, 0.0));
}

}  // namespace
