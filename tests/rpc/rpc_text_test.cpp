#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kelvane/module/host/message.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "tests/support/failing_ini.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using test::NumberedRecord;

std::string TextOf(const TRPCData& data, const std::string& angle = "", const std::string& length = "") {
  TKaStringStream stream;
  EXPECT_TRUE(data.SaveToText(&stream, angle, length));
  return stream.Text();
}

bool ReadText(const std::string& text, TRPCData* data, std::string* problem = nullptr) {
  TKaStringStream stream(text);
  return data->InitializeFromText(&stream, problem);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find('\n', begin) + 1;
    lines.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return lines;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

TEST(RpcText, IsWrittenByteForByte) {
  TRPCData data = test::IdentityRecord();
  // Offset and scale of line, sample, latitude, longitude, height.
  const double fields[] = {1234.567, 675.0,         -0.004, 100000.0, -1.5,
                           -0.0234,  151.123456789, 0.0357, -31.25,   2511.0};
  for (std::size_t i = 0; i < 10; ++i) data.*RPCDataFields[i].Value = fields[i];
  data.SampleDenom[19] = -1.0 / 3.0;
  const std::string text = TextOf(data);
  const std::string header =
      "LINE_OFF: +001234.57 pixels\r\n"
      "SAMP_OFF: -000000.00 pixels\r\n"
      "LAT_OFF:  -1.50000000 degrees\r\n"
      "LONG_OFF: +151.12345679 degrees\r\n"
      "HEIGHT_OFF: -0031.250 meters\r\n"
      "LINE_SCALE:    +675.00 pixels\r\n"
      "SAMP_SCALE: +100000.00 pixels\r\n"
      "LAT_SCALE: -00.02340000 degrees\r\n"
      "LONG_SCALE: +000.03570000 degrees\r\n"
      "HEIGHT_SCALE: +2511.000 meters\r\n"
      "LINE_NUM_COEFF_1: +0.000000000000000E+00\r\n"
      "LINE_NUM_COEFF_2: +0.000000000000000E+00\r\n"
      "LINE_NUM_COEFF_3: +1.000000000000000E+00\r\n";
  EXPECT_EQ(text.substr(0, header.size()), header);
  const std::string last = "SAMP_DEN_COEFF_20: -3.333333333333333E-01\r\n";
  EXPECT_EQ(text.substr(text.size() - last.size()), last);
  const std::vector<std::string> lines = Lines(text);
  ASSERT_EQ(lines.size(), 90U);
  EXPECT_EQ(lines[30].substr(0, 16), "LINE_DEN_COEFF_1");
  EXPECT_EQ(lines[50].substr(0, 16), "SAMP_NUM_COEFF_1");
  EXPECT_EQ(Lines(TextOf(data, "deg", "m"))[4], "HEIGHT_OFF: -0031.250 m\r\n");
}

TEST(RpcText, ComesBackFromAnyOrder) {
  TRPCData rounded;
  ASSERT_TRUE(ReadText(TextOf(NumberedRecord()), &rounded));
  std::vector<std::string> lines = Lines(TextOf(rounded));
  std::mt19937 random(7);
  std::shuffle(lines.begin(), lines.end(), random);
  lines.insert(lines.begin(),
               {"\xEF\xBB\xBF\r\n", "ERR_BIAS: 1.0 meters\r\n", std::string(2000, 'x') + "\n", "\n"});
  lines.push_back("LINE_OFF: 999\r\n");            // the first of two is taken
  lines.push_back("LINE_NUM_COEFF_21: +1.0\r\n");  // of no use, and passed over
  TRPCData read;
  std::string problem;
  ASSERT_TRUE(ReadText(Joined(lines), &read, &problem)) << problem;
  EXPECT_TRUE(DebugRPCDataAreIdentical(rounded, read));
}

TEST(RpcText, EachKeyIsNeeded) {
  const std::vector<std::string> lines = Lines(TextOf(NumberedRecord()));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string key = lines[i].substr(0, lines[i].find(':'));
    for (const std::string& instead : {std::string(), key + "\r\n", key + ": +\r\n", key + ":\r\n",
                                       key + ": soon\r\n", key + "1: 3\r\n"}) {
      std::vector<std::string> others = lines;
      others[i] = instead;
      TRPCData read;
      std::string problem;
      EXPECT_FALSE(ReadText(Joined(others), &read, &problem)) << key << " as " << instead;
      EXPECT_EQ(problem, "no number for " + key);
    }
  }
}

TEST(RpcText, FilesAndStreamsThatCannotBeReadOrWritten) {
  TRPCData data = NumberedRecord();
  for (const char* path : {"/no/such/file", "/", "/dev/null"}) {
    EXPECT_FALSE(data.InitializeFromTextFile(path)) << path;
  }
  EXPECT_TRUE(DebugRPCDataAreIdentical(data, NumberedRecord()));
  TKaFileStream closed;
  EXPECT_FALSE(data.InitializeFromText(&closed));
  const std::size_t size = TextOf(data).size();
  for (const std::size_t capacity : {std::size_t{0}, std::size_t{100}, std::size_t{400}, size - 1}) {
    test::FullStream stream(capacity);
    EXPECT_FALSE(data.SaveToText(&stream, "", "")) << capacity;
    EXPECT_EQ(stream.Text(), TextOf(data).substr(0, stream.Text().size()));
  }
}

}  // namespace
