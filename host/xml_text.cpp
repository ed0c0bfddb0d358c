#include "host/xml_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <vector>

#include "host/quoted_text.h"
#include "host/whole_text.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"

namespace {

/// Walks the tree, without recursion, until an element lies too deep or names an attribute twice.
class TElementCheck : public pugi::xml_tree_walker {
 public:
  bool for_each(pugi::xml_node& node) override {
    if (node.type() != pugi::node_element) return true;
    if (depth() >= KaMaxXmlDepth) {
      problem_ = "elements are nested too deeply";
    } else if (NamesAnAttributeTwice(node)) {
      problem_ = "an attribute stands twice in one element";
    }
    place_ = node.offset_debug();
    return problem_ == nullptr;
  }

  /// Null when there is none.
  const char* Problem() const { return problem_; }
  std::ptrdiff_t Place() const { return place_; }

 private:
  static bool NamesAnAttributeTwice(const pugi::xml_node& element) {
    std::vector<std::string_view> names;
    for (const pugi::xml_attribute attribute : element.attributes()) names.push_back(attribute.name());
    std::sort(names.begin(), names.end());
    return std::adjacent_find(names.begin(), names.end()) != names.end();
  }

  const char* problem_ = nullptr;
  std::ptrdiff_t place_ = 0;
};

[[noreturn]] void Fail(std::string_view text, std::ptrdiff_t offset, const std::string& reason) {
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

/// Every element, text, comment and attribute takes at least one of the two characters.
void CheckMarks(const std::string& text, std::size_t most) {
  const auto marks = static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c == '<') | (c == '='); }));
  if (marks > most) throw TKaMessage("more than " + std::to_string(most) + " tags and attributes");
}

/// The parser takes what it does not know for UTF-8.
void CheckEncoding(const std::string& text) {
  const std::string_view declaration = std::string_view(text).substr(0, text.find("?>"));
  if (declaration.substr(0, 6) != "<?xml ") return;
  const std::size_t key = declaration.find("encoding");
  if (key == std::string_view::npos) return;
  const std::size_t begin = declaration.find_first_of("\"'", key);
  const std::size_t end = declaration.find_first_of("\"'", begin + 1);
  if (begin == std::string_view::npos || end == std::string_view::npos) return;
  const std::string_view name = declaration.substr(begin + 1, end - begin - 1);
  const std::string upper = toupper(std::string(name));
  for (const char* known : {"UTF-8", "UTF8", "US-ASCII", "ISO-8859-1", "LATIN1"}) {
    if (upper == known) return;
  }
  Fail(text, static_cast<std::ptrdiff_t>(key), "the encoding " + KaQuoted(name) + " is not read here");
}

/// Whether what stands between '&' and ';' is a character of XML, or a name that XML knows by itself.
bool IsReference(std::string_view name) {
  for (const std::string_view known : {"lt", "gt", "amp", "quot", "apos"}) {
    if (name == known) return true;
  }
  if (name.substr(0, 1) != "#") return false;
  const bool hexadecimal = name.substr(0, 2) == "#x";
  name.remove_prefix(hexadecimal ? 2 : 1);
  std::uint32_t code = 0;
  const char* const end = name.data() + name.size();
  const std::from_chars_result result = std::from_chars(name.data(), end, code, hexadecimal ? 16 : 10);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return result.ec == std::errc() && result.ptr == end && code > 0 && code <= 0x10FFFF && !surrogate;
}

/// The parser keeps references that it does not understand as text, and cuts a text at a zero character.
void CheckReferences(std::string_view text) {
  constexpr std::string_view Unread[][2] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
  for (std::size_t at = 0; (at = text.find_first_of("<&", at)) != std::string_view::npos; ++at) {
    if (text[at] == '&') {
      // No reference is longer than a few characters.
      const std::string_view name = text.substr(at + 1, text.substr(at + 1, 16).find(';'));
      if (!IsReference(name))
        Fail(text, static_cast<std::ptrdiff_t>(at), "a '&' that begins no known reference");
      continue;
    }
    for (const auto& [opening, closing] : Unread) {
      if (text.substr(at, opening.size()) != opening) continue;
      at = text.find(closing, at + opening.size());
      if (at == std::string_view::npos) return;
      break;
    }
  }
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

void KaParseXml(const std::string& text, std::size_t most_marks, pugi::xml_document* document) {
  CheckMarks(text, most_marks);
  const std::size_t control = KaFindControlByte(text, "\t\r\n");
  if (control != std::string::npos) {
    Fail(text, static_cast<std::ptrdiff_t>(control), "a control byte: this is no XML text in UTF-8");
  }
  CheckEncoding(text);
  CheckReferences(text);
  constexpr unsigned flags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_comments |
                             pugi::parse_pi | pugi::parse_fragment;
  const pugi::xml_parse_result result = document->load_buffer(text.data(), text.size(), flags);
  if (!result) Fail(text, result.offset, result.description());
  CheckOutermostLevel(text, *document);
  TElementCheck elements;
  document->traverse(elements);
  if (elements.Problem() != nullptr) Fail(text, elements.Place(), elements.Problem());
}

std::string KaXmlReason(std::string_view text, std::ptrdiff_t offset, const std::string& reason) {
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
