#include <algorithm>
#include <iterator>
#include <new>
#include <pugixml.hpp>
#include <string_view>

#include "host/whole_text.h"
#include "host/xml_text.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/host/xml.h"

namespace {

bool IsCharacterData(const pugi::xml_node& node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

var_a<TKaXmlTagItem*> MakeTag(const pugi::xml_node& element) {
  var_a<TKaXmlTagItem*> tag = new_a<TKaXmlTagItem>(element.name());
  for (const pugi::xml_attribute attribute : element.attributes()) {
    tag->Attributes.push_back({attribute.name(), attribute.value()});
  }
  for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
    if (child.type() == pugi::node_element) {
      tag->Items.push_back(MakeTag(child));
    } else if (child.type() == pugi::node_comment) {
      tag->Items.push_back(new_a<TKaXmlCommentItem>(child.value()));
    } else if (child.type() == pugi::node_pi) {
      tag->Items.push_back(new_a<TKaXmlPiItem>(child.name(), child.value()));
    } else if (IsCharacterData(child)) {
      std::string text = child.value();
      for (; IsCharacterData(child.next_sibling()); child = child.next_sibling()) {
        text += child.next_sibling().value();
      }
      tag->Items.push_back(new_a<TKaXmlTextItem>(std::move(text)));
    }
  }
  return tag;
}

bool IsXmlName(std::string_view name) {
  const auto is_letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
  };
  const auto is_name_byte = [is_letter](char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
  };
  return !name.empty() && is_letter(name[0]) && std::all_of(name.begin(), name.end(), is_name_byte);
}

/// Comments and instructions hold their text as it stands: no reference can be written there.
bool IsVerbatim(std::string_view text, std::string_view forbidden) {
  return KaFindControlByte(text, "\t\n") == std::string_view::npos &&
         text.find(forbidden) == std::string_view::npos;
}

/// Builds the text of a tree. The operations return false for what has no XML form.
class TXmlPrinter {
 public:
  bool PrintTag(const TKaXmlTagItem& tag, int depth) {
    if (depth > KaMaxXmlDepth || !IsXmlName(tag.Name)) return false;
    (text_ += '<') += tag.Name;
    for (const TKaXmlTagAttribute& attribute : tag.Attributes) {
      if (!IsXmlName(attribute.Name) || attribute.Value.find('\0') != std::string::npos) return false;
      KaAppendXmlAttribute(attribute.Name, attribute.Value, &text_);
    }
    if (tag.Items.empty()) {
      text_ += "/>";
      return true;
    }
    text_ += '>';
    if (!PrintItems(tag.Items, depth)) return false;
    ((text_ += "</") += tag.Name) += '>';
    return true;
  }

  const std::string& Text() const { return text_; }

 private:
  bool PrintItems(const TKaXmlTagItems& items, int depth) {
    // Between pieces of text, white space would become part of the text.
    const bool indented = std::none_of(items.begin(), items.end(), [](const var_a<TKaXmlItem*>& item) {
      return item && item->AsText() != nullptr;
    });
    for (const var_a<TKaXmlItem*>& item : items) {
      if (indented) BeginLine(depth);
      if (!item || !PrintItem(*item, depth)) return false;
    }
    if (indented) BeginLine(depth - 1);
    return true;
  }

  bool PrintItem(const TKaXmlItem& item, int depth) {
    if (const TKaXmlTagItem* tag = item.AsTag()) return PrintTag(*tag, depth + 1);
    if (const TKaXmlTextItem* text = item.AsText()) return PrintText(text->Text);
    if (const TKaXmlCommentItem* comment = item.AsComment()) return PrintComment(comment->Text);
    if (const TKaXmlPiItem* pi = item.AsPi()) return PrintPi(*pi);
    return false;
  }

  bool PrintText(const std::string& text) {
    if (text.find('\0') != std::string::npos) return false;
    KaAppendXmlContent(text, &text_);
    return true;
  }

  bool PrintComment(const std::string& text) {
    if (!IsVerbatim(text, "--") || (!text.empty() && text.back() == '-')) return false;
    ((text_ += "<!--") += text) += "-->";
    return true;
  }

  bool PrintPi(const TKaXmlPiItem& pi) {
    const bool reserved = toupper(pi.Target) == "XML";
    const bool starts_blank = pi.Text.find_first_of(KaWhiteSpace) == 0;
    if (!IsXmlName(pi.Target) || reserved || starts_blank || !IsVerbatim(pi.Text, "?>")) return false;
    (text_ += "<?") += pi.Target;
    if (!pi.Text.empty()) (text_ += ' ') += pi.Text;
    text_ += "?>";
    return true;
  }

  void BeginLine(int depth) { (text_ += '\n').append(static_cast<std::size_t>(depth), '\t'); }

  std::string text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
};

}  // namespace

std::string TKaXmlTagAttributes::get_value(const std::string& name, const std::string& fallback) const {
  const auto found =
      std::find_if(begin(), end(), [&](const TKaXmlTagAttribute& one) { return one.Name == name; });
  return found == end() ? fallback : found->Value;
}

TKaXmlTagItem::~TKaXmlTagItem() {
  // A tag that nobody else holds hands its children on before it goes; all the others go as they are.
  while (!Items.empty()) {
    const var_a<TKaXmlItem*> item = std::move(Items.back());
    Items.pop_back();
    if (!item || item->Type() != kaXmlTag || item.use_count() != 1) continue;
    TKaXmlTagItems& below = static_cast<TKaXmlTagItem*>(item.get())->Items;
    try {
      Items.insert(Items.end(), std::make_move_iterator(below.begin()), std::make_move_iterator(below.end()));
    } catch (const std::bad_alloc&) {
      // They go inside the release of their parent then.
    }
  }
}

unsigned long TKaXmlTagItems::find_tag_f(const std::string& name, unsigned long start) const {
  for (unsigned long index = start; index < size(); ++index) {
    const TKaXmlItem* const item = (*this)[index].get();
    const TKaXmlTagItem* const tag = item == nullptr ? nullptr : item->AsTag();
    if (tag != nullptr && tag->Name == name) return index;
  }
  return NoItem;
}

std::string TKaXmlTagItems::get_text() const {
  std::string text;
  for (const var_a<TKaXmlItem*>& item : *this) {
    const TKaXmlTextItem* const piece = item ? item->AsText() : nullptr;
    if (piece != nullptr) text += piece->Text;
  }
  return text;
}

var_a<TKaXmlTagItem*> KaReadXml(TKaStream* stream, bool from_start, TKaProgressHandler* progress) {
  KaReportProgress(progress, 0.0);
  pugi::xml_document document;
  KaParseXml(KaReadXmlText(stream, from_start), KaMostXmlMarksOfTree, &document);
  var_a<TKaXmlTagItem*> tag = MakeTag(document.document_element());
  if (progress != nullptr) progress->OnProgress(1.0);
  return tag;
}

bool WriteXml(TKaStream* stream, const TKaXmlTagItem* document) {
  TXmlPrinter printer;
  if (stream == nullptr || document == nullptr || !printer.PrintTag(*document, 1)) return false;
  return stream->Write(printer.Text().data(), printer.Text().size()) == printer.Text().size();
}
