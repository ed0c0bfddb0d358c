#include "host/xml_text.h"

#include <algorithm>

#include "host/whole_text.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/stream.h"

namespace {

/// Walks the tree, without recursion, until an element lies too deep.
class TDepthCheck : public pugi::xml_tree_walker {
 public:
  bool for_each(pugi::xml_node& node) override {
    if (node.type() != pugi::node_element || depth() < KaMaxXmlDepth) return true;
    too_deep_ = node;
    return false;
  }

  pugi::xml_node TooDeep() const { return too_deep_; }

 private:
  pugi::xml_node too_deep_;
};

[[noreturn]] void Fail(const std::string& text, std::ptrdiff_t offset, const std::string& reason) {
  throw TKaMessage(KaXmlReason(text, offset, reason));
}

// The parser takes a text that holds several elements, or other text, beside the root.
void CheckOutermostLevel(const std::string& text, const pugi::xml_document& document) {
  bool has_root = false;
  for (const pugi::xml_node node : document.children()) {
    const pugi::xml_node_type type = node.type();
    if (type == pugi::node_pcdata || type == pugi::node_cdata) {
      const std::size_t begin =
          text.find_first_not_of(KaWhiteSpace, static_cast<std::size_t>(node.offset_debug()));
      Fail(text, static_cast<std::ptrdiff_t>(begin), "text outside the root element");
    }
    if (type != pugi::node_element) continue;
    if (has_root) Fail(text, node.offset_debug(), "a second root element");
    has_root = true;
  }
  if (!has_root) Fail(text, static_cast<std::ptrdiff_t>(text.size()), "no XML element in the text");
}

void AppendReference(char c, std::string* xml) {
  *xml += "&#";
  *xml += std::to_string(static_cast<unsigned char>(c));
  *xml += ';';
}

void AppendEscaped(std::string_view text, std::string_view referenced, std::string* xml) {
  for (const char c : text) {
    switch (c) {
      case '&':
        *xml += "&amp;";
        break;
      case '<':
        *xml += "&lt;";
        break;
      case '>':
        *xml += "&gt;";
        break;
      case '"':
        *xml += "&quot;";
        break;
      default: {
        const bool control = static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n';
        if (control || referenced.find(c) != std::string_view::npos) {
          AppendReference(c, xml);
        } else {
          *xml += c;
        }
      }
    }
  }
}

}  // namespace

std::string KaReadXmlText(TKaStream* stream, bool from_start) {
  if (stream == nullptr) throw TKaMessage("no stream to read XML from");
  if (from_start && !stream->Rewind()) throw TKaMessage("the stream cannot be read from its beginning");
  return KaReadText(*stream);
}

void KaParseXml(const std::string& text, pugi::xml_document* document) {
  const std::size_t control = KaFindControlByte(text, "\t\r\n");
  if (control != std::string::npos) {
    Fail(text, static_cast<std::ptrdiff_t>(control), "a control byte: this is no XML text in UTF-8");
  }
  constexpr unsigned flags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_comments |
                             pugi::parse_pi | pugi::parse_fragment;
  const pugi::xml_parse_result result = document->load_buffer(text.data(), text.size(), flags);
  if (!result) Fail(text, result.offset, result.description());
  CheckOutermostLevel(text, *document);
  TDepthCheck depth;
  document->traverse(depth);
  if (depth.TooDeep()) Fail(text, depth.TooDeep().offset_debug(), "elements are nested too deeply");
}

std::string KaXmlReason(const std::string& text, std::ptrdiff_t offset, const std::string& reason) {
  const auto place = static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0));
  return "line " + std::to_string(KaLineOf(text, place)) + ": " + reason;
}

void KaAppendXmlContent(std::string_view content, std::string* xml) {
  const bool blank = content.find_first_not_of(KaWhiteSpace) == std::string_view::npos;
  AppendEscaped(content, blank ? " \t\n" : "", xml);
}

void KaAppendXmlAttribute(std::string_view name, std::string_view value, std::string* xml) {
  *xml += ' ';
  *xml += name;
  *xml += "=\"";
  AppendEscaped(value, "\t\n", xml);
  *xml += '"';
}
