#include <utility>

#include "host_testing.h"
#include "kelvane/module/host/xml.h"

namespace {

var_a<TKaXmlTagItem*> Parsed(const std::string& text) {
  TKaStringStream stream(text);
  return KaReadXml(&stream, true, nullptr);
}

std::string ParsingError(const std::string& text) {
  return MessageOf([&] { Parsed(text); });
}

/// A text that tells trees apart.
std::string Shape(const TKaXmlItem& item) {
  if (const auto* text = item.AsText()) return "text[" + text->Text + "]";
  if (const auto* comment = item.AsComment()) return "comment[" + comment->Text + "]";
  if (const auto* pi = item.AsPi()) return "pi[" + pi->Target + "|" + pi->Text + "]";
  const TKaXmlTagItem& tag = *item.AsTag();
  std::string shape = "tag " + tag.Name + "(";
  for (const auto& [name, value] : tag.Attributes) shape += name + "=[" + value + "]";
  shape += ")[";
  for (const auto& child : tag.Items) shape += Shape(*child);
  return shape + "]";
}

template <class TItem>
bool Writes(TItem item) {
  const auto root = new_a<TKaXmlTagItem>("root");
  root->Items.push_back(std::move(item));
  TKaStringStream stream;
  const bool written = WriteXml(&stream, root.get());
  EXPECT_EQ(written, !stream.Text().empty());
  return written;
}

TEST(XmlItems, ReadingKeepsItemsInOrder) {
  const auto root = Parsed(
      "\xEF\xBB\xBF<?xml version='1.0'?><!DOCTYPE a><!-- outside -->\n<a x='1&lt;' y=\"2\">\n"
      "  <b/> one &#65;<![CDATA[<two>]]>&amp;<?go now?><!--> & c --><c>  </c><b>t</b>\n</a>\n");
  EXPECT_EQ(Shape(*root),
            "tag a(x=[1<]y=[2])[tag b()[]text[ one A<two>&]pi[go|now]comment[> & c ]"
            "tag c()[text[  ]]tag b()[text[t]]]");
  EXPECT_EQ(root->Attributes.get_value("x", ""), "1<");
  EXPECT_EQ(root->Attributes.get_value("z", "none"), "none");
  EXPECT_EQ(root->Items.find_tag_f("b", 0), 0UL);
  EXPECT_EQ(root->Items.find_tag_f("b", 1), 5UL);
  EXPECT_EQ(root->Items.find_tag_f("b", 6), TKaXmlTagItems::NoItem);
  EXPECT_EQ(root->Items.get_text(), " one A<two>&");
  EXPECT_EQ(root->Items[1]->AsTag(), nullptr);
}

TEST(XmlItems, WrittenTreesReadBackTheSame) {
  const auto root = new_a<TKaXmlTagItem>("r\xC3\xA9");
  root->Attributes.push_back({"a:b", " <&>\"'\t\r\n\x01 "});
  root->Items.push_back(new_a<TKaXmlTextItem>(" \n"));
  root->Items.push_back(new_a<TKaXmlPiItem>("target", ""));
  root->Items.push_back(new_a<TKaXmlPiItem>("target", "text ? >"));
  root->Items.push_back(new_a<TKaXmlTextItem>("\r\n<&>]]>"));
  const auto indented = new_a<TKaXmlTagItem>("indented");
  indented->Items.push_back(new_a<TKaXmlCommentItem>(" - \n"));
  indented->Items.push_back(new_a<TKaXmlTagItem>("_-.9"));
  root->Items.push_back(indented);
  TKaStringStream stream;
  ASSERT_TRUE(WriteXml(&stream, root.get()));
  EXPECT_EQ(Shape(*Parsed(stream.Text())), Shape(*root));
  TKaFileStream full(TKaPath("/dev/full"), kaOpenWrite, kaShareAll);
  EXPECT_FALSE(WriteXml(&full, root.get()));
}

TEST(XmlItems, WhatHasNoXmlFormIsNotWritten) {
  EXPECT_TRUE(Writes(new_a<TKaXmlTagItem>("fine")));
  for (const char* name : {"", "1a", "a b", "-a"}) EXPECT_FALSE(Writes(new_a<TKaXmlTagItem>(name))) << name;
  for (const char* text : {"a--b", "a-", "\r"}) EXPECT_FALSE(Writes(new_a<TKaXmlCommentItem>(text))) << text;
  EXPECT_FALSE(Writes(new_a<TKaXmlPiItem>("Xml", "")) || Writes(new_a<TKaXmlPiItem>("a", "b?>")));
  EXPECT_FALSE(Writes(new_a<TKaXmlTextItem>(std::string(1, '\0'))));
  EXPECT_FALSE(Writes(var_a<TKaXmlItem*>()));
  const auto tag = new_a<TKaXmlTagItem>("tag");
  tag->Attributes.push_back({"a=b", ""});
  EXPECT_FALSE(Writes(tag));
}

TEST(XmlItems, NestingIsLimitedBothWays) {
  var_a<TKaXmlTagItem*> root = new_a<TKaXmlTagItem>("a");
  for (int depth = 1; depth < 258; ++depth) {
    const auto outer = new_a<TKaXmlTagItem>("a");
    outer->Items.push_back(root);
    root = outer;
  }
  TKaStringStream stream;
  ASSERT_TRUE(WriteXml(&stream, root.get()));
  EXPECT_EQ(Shape(*Parsed(stream.Text())), Shape(*root));
  EXPECT_FALSE(Writes(root)) << "inside one more";
  EXPECT_TRUE(Contains(ParsingError(Repeated("<a>\n", 259) + Repeated("</a>", 259)), "line 259: "));
}

TEST(XmlItems, TagsAndAttributesAreCounted) {
  const auto text = [](std::size_t marks) { return "<a>" + std::string(marks - 2, '=') + "</a>"; };
  constexpr std::size_t Most = std::size_t{1} << 22;
  EXPECT_EQ(Parsed(text(Most))->Items.get_text().size(), Most - 2);
  EXPECT_EQ(ParsingError(text(Most + 1)), "more than 4194304 tags and attributes");
  const auto open = [](const std::string& xml) {
    const TKaXIniStreamReader reader(StreamOf(xml), true, nullptr);
  };
  const auto configuration = [](std::size_t marks) {
    return "<configuration>" + std::string(marks - 2, '=') + "</configuration>";
  };
  EXPECT_EQ(MessageOf([&] { open(configuration(4 * Most)); }), "");
  EXPECT_EQ(MessageOf([&] { open(configuration(4 * Most + 1)); }), "more than 16777216 tags and attributes");
}

TEST(XmlItems, ErrorsAndCancelling) {
  for (const char* text : {"", " ", "<a>", "<a></b>", "<a/><b/>", "<a/>x", "<a", "<a b=c/>", "<!-- a"}) {
    EXPECT_TRUE(Contains(ParsingError(text), "line 1: ")) << text;
  }
  TKaStringStream stream("<a/>");
  TStopAt at_once(0.0);
  EXPECT_THROW(KaReadXml(&stream, true, &at_once), TKaMessage);
  EXPECT_THROW(KaReadXml(nullptr, true, nullptr), TKaMessage);
  EXPECT_FALSE(WriteXml(&stream, nullptr));
}

}  // namespace
