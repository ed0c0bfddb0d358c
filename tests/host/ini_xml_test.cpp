#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>

#include "host_testing.h"
#include "kelvane/module/host/transform.h"

namespace {

constexpr unsigned long NoItem = TKaXIniReader::NoItem;

TKaXIniStreamReader ReaderOf(std::string text) { return {StreamOf(std::move(text)), true, nullptr}; }

std::string ReadingError(const std::string& text) {
  return MessageOf([&] { ReaderOf(text); });
}

std::string Configuration(const std::string& items) { return "<configuration>" + items + "</configuration>"; }

TEST(IniXml, TextsAndKeysComeBackByteForByte) {
  std::vector<std::string> texts = {"", " ", "\t\n ", "\r\n", "a\rb\r\nc\nd", " <a>&\"' ", "&amp;&#1;]]>"};
  texts.insert(texts.end(), {"<!-- --><![CDATA[x]]>", "\xEF\xBB\xBF", "\xC3\xA9\xFF\x7F"});
  texts.push_back(std::string(70000, ' '));
  for (char c = 1; c < 0x20; ++c) texts.insert(texts.end(), {std::string("x") + c + "y", std::string(2, c)});
  TKaXIniXmlWriter writer;
  for (const std::string& text : texts) {
    ASSERT_TRUE(writer.WriteS("key" + text, text));
    ASSERT_TRUE(writer.EndSection(writer.BeginSection("section" + text)));
  }
  TKaXIniStreamReader reader = ReaderOf(TextOf(writer));
  for (unsigned long i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(reader.FindF("key" + texts[i], i), i);
    EXPECT_EQ(reader.ReadE<std::string>(i), texts[i]);
    EXPECT_TRUE(reader.LeaveSection(reader.EnterSectionS("section" + texts[i])));
  }
}

TEST(IniXml, NumbersComeBackBitForBit) {
  constexpr unsigned seed = 20240611;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937_64 random(seed);
  std::vector<double> numbers = {0.0, -0.0, 0.1, DBL_MAX, -DBL_MIN, 4.9e-324, INFINITY, -INFINITY, -NAN};
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    std::memcpy(&numbers.emplace_back(), &bits, sizeof bits);
  }
  TKaXIniXmlWriter writer;
  for (const double number : numbers) {
    ASSERT_TRUE(writer.WriteS("n", number) && writer.WritePoint("p", {number, -number}));
  }
  const TKaXIniStreamReader reader = ReaderOf(TextOf(writer));
  const auto same = [](double a, double b) {
    return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0;
  };
  unsigned long values = 0;
  unsigned long points = 0;
  for (const double number : numbers) {
    const auto read = reader.ReadE<double>(reader.FindFP("n", &values));
    xy_d point;
    ASSERT_EQ(reader.ReadPoint(reader.FindFP("p", &points), &point), 0);
    ASSERT_TRUE(same(read, number) && same(point.x, number) && same(point.y, -number)) << number;
  }
}

TEST(IniXml, TypesConvertWholeTextsOnly) {
  TKaXIniXmlWriter writer;
  ASSERT_TRUE(writer.WriteS("i", INT_MIN) && writer.WriteS("u", ULONG_MAX) && writer.WriteS("b", true));
  ASSERT_TRUE(writer.WriteS("literal", "no bool"));
  for (const char* text : {" +12\n", "0", "-1", "2147483648", "1.5", "1 2", "+-1", "+", "1e999", "yes", ""}) {
    ASSERT_TRUE(writer.WriteS("t", std::string(text)));
  }
  const TKaXIniStreamReader reader = ReaderOf(TextOf(writer));
  EXPECT_EQ(reader.ReadE<int>(0), INT_MIN);
  EXPECT_EQ(reader.ReadE<unsigned long>(1), ULONG_MAX);
  EXPECT_TRUE(reader.ReadE<bool>(2));
  EXPECT_EQ(reader.ReadE<std::string>(3), "no bool");
  EXPECT_EQ(reader.ReadE<int>(4), 12);
  EXPECT_EQ(reader.ReadE<double>(4), 12.0);
  EXPECT_FALSE(reader.Read<bool>(5, true));
  EXPECT_EQ(reader.Read<unsigned long>(6, 7), 7UL);
  EXPECT_EQ(reader.Read<int>(7, 7), 7);
  EXPECT_EQ(reader.Read<int>(8, 7), 7);
  EXPECT_EQ(reader.ReadE<double>(8), 1.5);
  for (unsigned long i = 9; i < 15; ++i) EXPECT_EQ(reader.Read<double>(i, 7.0), 7.0) << i;
  EXPECT_EQ(reader.Read<int>(15, 7), 7) << "behind the last item";
  EXPECT_EQ(reader.Read<int>(NoItem, 7), 7);
}

TEST(IniXml, RepeatedKeysAndPointsAreWalkedInOrder) {
  const TKaXIniStreamReader reader = ReaderOf(Configuration(
      "<value key='a'>1</value><section key='a'/><other key='a'/><point key='p' x=' 1 ' y='2'/><value/>"
      "<value key='a'>2<!-- -->3&#52;<![CDATA[]]></value><point key='p' x='1'/><point key='a' x='1' "
      "y='z'/>"));
  unsigned long position = 0;
  for (const unsigned long index : {0UL, 2UL, 4UL}) EXPECT_EQ(reader.FindFP("a", &position), index);
  EXPECT_EQ(reader.FindFP("a", &position), NoItem);
  EXPECT_EQ(position, 5UL);
  EXPECT_EQ(reader.ReadE<int>(2), 234);
  EXPECT_EQ(reader.FindF("", 0), NoItem);
  EXPECT_EQ(reader.FindF(std::string("a\0", 2), 0), NoItem);
  xy_d point{5.0, 6.0};
  for (const unsigned long index : {0UL, 3UL, 4UL}) EXPECT_EQ(reader.ReadPoint(index, &point), 1) << index;
  EXPECT_EQ(reader.ReadPoint(5, &point), 2);
  EXPECT_EQ(reader.ReadPoint(NoItem, &point), 2);
  EXPECT_EQ(point.x, 5.0);
  EXPECT_EQ(reader.ReadPoint(1, &point), 0);
  EXPECT_EQ(point.y, 2.0);
}

TEST(IniXml, SectionsAreEnteredAndLeftByHandle) {
  TKaXIniXmlWriter writer;
  const unsigned long outer = writer.BeginSection("A");
  const unsigned long inner = writer.BeginSection("B");
  TKaStringStream unfinished;
  EXPECT_FALSE(writer.EndSection(outer) || writer.Save(&unfinished));
  ASSERT_TRUE(writer.WriteS("v", "abc") && writer.WritePoint("p", {}));
  ASSERT_TRUE(writer.EndSection(inner) && writer.EndSection(outer));
  EXPECT_FALSE(writer.EndSection(outer));

  TKaXIniStreamReader reader = ReaderOf(TextOf(writer));
  EXPECT_EQ(reader.EnterSectionS("B"), 0UL);
  EXPECT_EQ(MessageOf([&] { reader.EnterSectionSE("B"); }), "no section \"B\" in section /");
  const unsigned long a = reader.EnterSectionSE("A");
  const unsigned long b = reader.EnterSectionSE("B");
  EXPECT_EQ(MessageOf([&] { reader.FindFE("w", 0); }), "no value \"w\" in section /A/B");
  EXPECT_EQ(MessageOf([&] { reader.ReadE<double>(0); }), "value \"v\" in section /A/B is no number: \"abc\"");
  EXPECT_EQ(MessageOf([&] { reader.ReadE<double>(1); }), "item \"p\" in section /A/B is no value");
  EXPECT_EQ(MessageOf([&] { reader.ReadE<double>(NoItem); }), "no such value in section /A/B");
  EXPECT_FALSE(reader.LeaveSection(0) || reader.LeaveSection(b + 1));
  EXPECT_EQ(reader.FindFE("v", 0), 0UL);
  EXPECT_TRUE(reader.LeaveSection(a)) << "with B inside it";
  EXPECT_FALSE(reader.LeaveSection(b));
  EXPECT_NE(reader.EnterSectionS("A"), a);
}

TEST(IniXml, WriterRefusesWhatCannotBeWritten) {
  const std::string zero("a\0b", 3);
  TKaXIniXmlWriter writer;
  EXPECT_FALSE(writer.WriteS(zero, 1) || writer.WriteS("key", zero) || writer.WriteS("", 1));
  EXPECT_FALSE(writer.WritePoint("", {}));
  EXPECT_EQ(writer.BeginSection(zero), 0UL);
  std::vector<unsigned long> open;
  while (const unsigned long handle = writer.BeginSection("deeper")) open.push_back(handle);
  EXPECT_EQ(open.size(), 256U);
  ASSERT_TRUE(writer.WriteS("deep", 1));
  for (; !open.empty(); open.pop_back()) ASSERT_TRUE(writer.EndSection(open.back()));
  EXPECT_EQ(ReadingError(TextOf(writer)), "");
  TKaFileStream full(TKaPath("/dev/full"), kaOpenWrite, kaShareAll);
  EXPECT_FALSE(writer.Save(&full));
}

TEST(IniXml, MalformedTextsAreErrorsWithLineAndReason) {
  TKaXIniXmlWriter writer;
  const unsigned long section = writer.BeginSection("S");
  ASSERT_TRUE(writer.WriteS("key", "a <text>\r") && writer.WritePoint("p", {}) && writer.EndSection(section));
  const std::string text = TextOf(writer);
  for (std::size_t size = 0; size < text.size(); ++size)
    EXPECT_TRUE(Contains(ReadingError(text.substr(0, size)), "line "));
  EXPECT_EQ(ReadingError("\xEF\xBB\xBF" + text), "");

  EXPECT_TRUE(Contains(ReadingError("\n<root/>"), "line 2: the root element is <root>"));
  EXPECT_TRUE(Contains(ReadingError("<configuration>\r\n\r\r\n\r<a></b></configuration>"), "line 4: "));
  EXPECT_TRUE(Contains(ReadingError(Configuration("") + "\n<configuration/>"), "line 2: a second root"));
  EXPECT_TRUE(Contains(ReadingError(Configuration("") + "\njunk"), "line 2: text outside"));
  EXPECT_TRUE(Contains(ReadingError(Configuration("\n") + '\0'), "line 2: a control byte"));
  const auto nested = [](std::size_t depth) { return Repeated("<a>\n", depth) + Repeated("</a>", depth); };
  EXPECT_TRUE(Contains(ReadingError(Configuration(nested(258))), "line 258: "));
  EXPECT_TRUE(Contains(ReadingError(nested(1000000)), "too deeply"));
  for (const char* piece : {"<a>", "<", "<!--", "&", "<a b='"})
    EXPECT_NE(ReadingError(Repeated(piece, 1000000)), "");
  for (const char* bad : {"&#0;", "&#x0;", "&#4294967345;", "&#xD800;", "&#x110000;", "&foo;", "&", "&#1a;"})
    EXPECT_TRUE(Contains(ReadingError(Configuration("\n<value key='a'>1" + std::string(bad) + "2</value>")),
                         "line 2: a '&'"))
        << bad;
  EXPECT_TRUE(Contains(ReadingError(Configuration("<a b='1' c='' b='2'/>")), "stands twice"));
  const auto declared = [](const std::string& encoding) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>" + Configuration("<!-- & --><![CDATA[&]]>");
  };
  EXPECT_TRUE(Contains(ReadingError(declared("KOI8-R")), "KOI8-R"));
  EXPECT_EQ(ReadingError(declared("utf-8")) + ReadingError(declared("ISO-8859-1")), "");
}

TEST(IniXml, ProgressMayCancelAndStreamsMayFail) {
  const var_a<TKaStream*> stream = StreamOf("head\n" + Configuration("<value key='a'/>"));
  char line[8];
  stream->ReadLine(line, sizeof line);
  TStopAt willing(2.0);
  EXPECT_EQ(TKaXIniStreamReader(stream, false, &willing).FindF("a", 0), 0UL);
  EXPECT_EQ(willing.Told, (std::vector<double>{0.0, 1.0}));
  EXPECT_THROW(TKaXIniStreamReader(stream, true, nullptr), TKaMessage) << "from the beginning, with the head";
  TStopAt unwilling(0.0);
  EXPECT_THROW(TKaXIniStreamReader(StreamOf(Configuration("")), true, &unwilling), TKaMessage);
  EXPECT_THROW(TKaXIniStreamReader(nullptr, true, nullptr), TKaMessage);
  EXPECT_THROW(TKaXIniStreamReader(new_a<TKaFileStream>(), false, nullptr), TKaMessage);
}

TEST(IniXml, LookingUpIsNotQuadratic) {
  constexpr unsigned long count = 100000;
  TKaXIniXmlWriter writer;
  for (unsigned long i = 0; i < count; ++i) {
    writer.WriteS("key " + std::to_string(i), i);
    writer.EndSection(writer.BeginSection("section " + std::to_string(i)));
  }
  TKaXIniStreamReader reader = ReaderOf(TextOf(writer));
  for (unsigned long i = 0; i < count; ++i) {
    ASSERT_EQ(reader.ReadE<unsigned long>(reader.FindFE("key " + std::to_string(i), 0)), i);
    ASSERT_TRUE(reader.LeaveSection(reader.EnterSectionS("section " + std::to_string(i))));
  }
}

}  // namespace
