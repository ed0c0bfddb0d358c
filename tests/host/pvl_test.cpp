
#include "host_testing.h"
#include "kelvane/module/host/text.h"

namespace {

TKaXIniStreamReader Converted(const std::string& pvl) {
  const var_a<TKaStringStream*> out = new_a<TKaStringStream>();
  SatCommonUtils::PVLtoXML(StreamOf(pvl), out);
  return {out, true, nullptr};
}

/// The text of the value `key` at the top.
std::string ValueOf(const std::string& pvl, const std::string& key) {
  const TKaXIniStreamReader ini = Converted(pvl);
  return ini.ReadE<std::string>(ini.FindFE(key, 0));
}

void ExpectError(const std::string& pvl, std::size_t line, const std::string& reason) {
  const var_a<TKaStringStream*> out = new_a<TKaStringStream>();
  const std::string message = MessageOf([&] { SatCommonUtils::PVLtoXML(StreamOf(pvl), out); });
  EXPECT_EQ(message.rfind("PVL line " + std::to_string(line) + ": ", 0), 0U) << message << "\nfrom " << pvl;
  EXPECT_TRUE(Contains(message, reason));
  EXPECT_EQ(out->Text(), "");
}

const char Model[] =
    "satId = \"XX01\";\n"
    "# a comment = 1\n"
    "BEGIN_GROUP = IMAGE\n\n"
    "\tlineOffset = 812\n"
    "\terrBias = 1.49 <m>; errRand = 0.5 m;\n"
    "\tlineNumCoef = ( /* first */\n"
    "\t\t-6.181087E-03,\n"
    "\n"
    "\t# between\n"
    "\t\t+3.5e-006, /* a ) and a ; */ 0\n"
    "\t)\n"
    "\t<m>\n"
    "\t;\n"
    "\tEnd_Group\n"
    "END;\n"
    "ignored ( /* ' \n";

TEST(Pvl, ModelFileUnderEveryLineEnd) {
  for (const std::string line_end : {"\n", "\r\n", "\r\r\n", "\r"}) {
    std::string pvl = "\xEF\xBB\xBF";
    for (const char c : std::string(Model)) pvl += c == '\n' ? line_end : std::string(1, c);
    TKaXIniStreamReader ini = Converted(pvl);
    EXPECT_EQ(ini.ReadE<std::string>(ini.FindFE("satId", 0)), "XX01");
    const unsigned long image = ini.EnterSectionSE("IMAGE");
    EXPECT_EQ(ini.ReadE<int>(ini.FindFE("lineOffset", 0)), 812);
    EXPECT_EQ(ini.ReadE<double>(ini.FindFE("errBias", 0)), 1.49);
    EXPECT_EQ(ini.ReadE<double>(ini.FindFE("errRand", 0)), 0.5);
    EXPECT_EQ(ini.ReadE<std::string>(ini.FindFE("lineNumCoef", 0)), "(-6.181087E-03,+3.5e-006,0)");
    EXPECT_EQ(ini.FindF("LINEOFFSET", 0), TKaXIniReader::NoItem);
    EXPECT_TRUE(ini.LeaveSection(image));
  }
}

TEST(Pvl, ScalarValues) {
  EXPECT_EQ(ValueOf("k=v", "k"), "v");
  EXPECT_EQ(ValueOf("a = 1; k = 2 ;; c = 3", "k"), "2");
  EXPECT_EQ(ValueOf("k = 'a \"b\" ; = /* # \r\n c'", "k"), "a \"b\" ; = /* # \r\n c");
  EXPECT_EQ(ValueOf("k = \" \"\nb = \"\"", "k"), " ");
  EXPECT_EQ(ValueOf("k =\n\n  \"below\"\n", "k"), "below");
  EXPECT_EQ(ValueOf("k = \nb = 5", "k"), "");
  EXPECT_EQ(ValueOf("k = \nb = 5", "b"), "5");
  EXPECT_EQ(ValueOf("k = ;", "k") + ValueOf("k =", "k"), "");
  EXPECT_EQ(ValueOf("k /* over\nlines */ = /* over\nlines */ 5 /* and\non */ b = 6", "k"), "5");
  EXPECT_EQ(ValueOf("k = 5/* c */;", "k"), "5");
  EXPECT_EQ(ValueOf("k = -5 degrees/s ; b = 1", "k"), "-5");
  EXPECT_EQ(ValueOf("k = 5<any unit = >\nb = 1", "k"), "5");
  EXPECT_EQ(ValueOf("END = 1; k = 2; end", "k"), "2") << "with an '=' it is a key";
  EXPECT_EQ(ValueOf("k = a#b", "k"), "a#b");
  EXPECT_EQ(ValueOf("k = b c, 1 \t; b = 1", "k"), "b c, 1");
  EXPECT_EQ(ValueOf("k = 1,2\r\nb = 1", "k"), "1,2");
  EXPECT_EQ(ValueOf("k = b c <m> /* d */\nb = 1", "k"), "b c");
}

TEST(Pvl, Lists) {
  EXPECT_EQ(ValueOf("k = ( 1 , 2 )", "k"), "(1,2)");
  EXPECT_EQ(ValueOf("k =\n(1,\n 2\n)\nb = 1", "k"), "(1,2)");
  EXPECT_EQ(ValueOf("k = {(1, 2),\n{'a , )', \" \"}}", "k"), "{(1,2),{'a , )',\" \"}}");
  EXPECT_EQ(ValueOf("k = ()", "k"), "()");
  EXPECT_EQ(ValueOf("k = (1 m, 2 <m>, a) degrees\nb = 1", "k"), "(1,2,a)");
  EXPECT_EQ(ValueOf("k = (1)\nb = 2", "b"), "2") << "a word below the list is no unit";
  EXPECT_EQ(ValueOf("k = (1)\n\n  <m>\n;b = 2", "b"), "2");
}

TEST(Pvl, Groups) {
  TKaXIniStreamReader ini = Converted(
      "group = A; object = \"B C\"\n v = 1\n END_OBJECT = 'B C'; BEGIN_OBJECT = D\n end_object\nv = 2\n"
      "End_Group = A\nGROUP = A\nEND_GROUP /* c */\n");
  const unsigned long a = ini.EnterSectionSE("A");
  EXPECT_EQ(ini.ReadE<int>(ini.FindFE("v", 0)), 2);
  ini.EnterSectionSE("B C");
  EXPECT_EQ(ini.ReadE<int>(ini.FindFE("v", 0)), 1);
  EXPECT_TRUE(ini.LeaveSection(a));
}

TEST(Pvl, WhatIsOpenedMustBeClosed) {
  ExpectError("a = 1\nk = (1,\n2\n", 2, "not closed");
  ExpectError("a = 1\nk = (1,\n2\n;", 2, "not closed");
  ExpectError("a = 1\nk = (1,\n2,\nb = (1, 2)\n", 2, "not closed");
  ExpectError("a = 1\nk = (1,\n2\nb = (1, 2)\n", 2, "in line 4");
  ExpectError("a = 1\nk = \"1\n\n", 2, "quotes");
  ExpectError("a = 1\nk = (\n'1)\n", 3, "quotes");
  ExpectError("a = 1\n/* \n\n", 2, "comment");
  ExpectError("a = 1 <m\n>", 1, "unit");
  ExpectError("a = 1\rGROUP = A\rGROUP = B\rEND_GROUP = B\r", 2, "\"A\" has no end");
  ExpectError("GROUP = A\nv = 1\nEND\nEND_GROUP", 1, "\"A\" has no end");
  ExpectError("v = 1\r\r\nEND_GROUP = A", 2, "not begun");
  ExpectError("GROUP = A\r\nv = 1\r\nEND_GROUP = B", 3, "\"B\" inside the group \"A\"");
  ExpectError("GROUP = A\nEND_OBJECT = A", 2, "kind");
}

TEST(Pvl, MalformedStatements) {
  ExpectError("", 1, "no statement");
  ExpectError("\n /* only */ \n# comments\nEND;", 4, "no statement");
  ExpectError("a = 1\nword\nb = 2", 2, "\"word\" is no statement");
  ExpectError("a = 5; # no comment here", 1, "no statement");
  ExpectError("a = 1\n= 2", 2, "empty key");
  ExpectError("a = 1\n(1, 2)", 2, "'('");
  ExpectError("a = )", 1, "')'");
  for (const char* value : {"1 b = 2", "1 2", "b = c", "\"b\" \"c\"", "don't;"}) {
    ExpectError("\na = " + std::string(value), 2, "behind the value");
  }
  ExpectError("GROUP = \nA", 1, "without a name");
  ExpectError("GROUP = A b = 1", 1, "behind");
  ExpectError("GROUP = A\nEND_GROUP b = 1", 2, "behind");
  ExpectError("a = (1, 2})", 1, "parenthesis");
  for (const char* list : {"(1 2)", "(b c)", "((1) (2))", "(1 m n)"})
    ExpectError("a = " + std::string(list), 1, "comma");
  ExpectError("a = (<m>)", 1, "'<'");
  ExpectError(std::string("a = 1\nb = \0", 11), 2, "control byte");
  ExpectError("a = 1\nb = \"\x1A\"", 2, "control byte");
}

TEST(Pvl, NestingIsLimitedAndLongTextsTakeLinearTime) {
  const auto groups = [](std::size_t depth) {
    return Repeated("GROUP = A\n", depth) + Repeated("END_GROUP\n", depth);
  };
  EXPECT_NO_THROW(Converted(groups(32)));
  ExpectError(groups(33), 33, "too deeply");
  const auto list = [](std::size_t depth) { return Repeated("(", depth) + Repeated(")", depth); };
  EXPECT_EQ(ValueOf("a=" + list(32), "a"), list(32));
  ExpectError("a=" + list(33), 1, "too deeply");
  constexpr std::size_t size = 2000000;
  for (const char c : std::string("(\"'/*#=;{<a1 \xFF")) ExpectError(std::string(size, c), 1, "");
  ExpectError(std::string(size, '\r'), size + 1, "no statement");
  ExpectError("a = 1" + Repeated(" /*", size), 1, "comment");
  ExpectError("a = (1" + std::string(size, ',') + ";", 1, "not closed");
  EXPECT_NO_THROW(Converted(Repeated("a=/**/(1);", size / 10)));
}

TEST(Pvl, StreamsAreReadFromWhereTheyStandAndAppendedTo) {
  const var_a<TKaStream*> in = StreamOf("not this\nk = 1\n");
  char line[16];
  in->ReadLine(line, sizeof line);
  const var_a<TKaStringStream*> out = new_a<TKaStringStream>("before");
  SatCommonUtils::PVLtoXML(in, out);
  EXPECT_EQ(out->Text().rfind("before<?xml", 0), 0U);
  const var_a<TKaStream*> full = new_a<TKaFileStream>(TKaPath("/dev/full"), kaOpenWrite, kaShareAll);
  EXPECT_THROW(SatCommonUtils::PVLtoXML(StreamOf("k = 1"), full), TKaMessage);
  EXPECT_THROW(SatCommonUtils::PVLtoXML(nullptr, out), TKaMessage);
}

}  // namespace
