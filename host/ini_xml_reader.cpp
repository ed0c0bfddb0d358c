#include <algorithm>
#include <charconv>
#include <pugixml.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "host/ini_xml_form.h"
#include "host/number_text.h"
#include "host/whole_text.h"
#include "host/xml_text.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/transform.h"

namespace {

/// Keys in order, equal ones by their position, so that a key is found from any position on without
/// walking the section.
class TKeys {
 public:
  void Add(std::string_view key, unsigned long position) { keys_.emplace_back(key, position); }
  void Sort() { std::sort(keys_.begin(), keys_.end()); }

  unsigned long Find(std::string_view key, unsigned long start) const {
    const auto found = std::lower_bound(keys_.begin(), keys_.end(), TEntry(key, start));
    return found != keys_.end() && found->first == key ? found->second : TKaXIniReader::NoItem;
  }

 private:
  using TEntry = std::pair<std::string_view, unsigned long>;
  std::vector<TEntry> keys_;
};

std::string_view KeyOf(const pugi::xml_node& node) { return node.attribute(IniKey).value(); }

/// A section that is open: its items and sub-sections, in document order, and their keys.
class TSection {
 public:
  TSection(unsigned long handle, const pugi::xml_node& node) : handle_(handle), name_(KeyOf(node)) {
    for (const pugi::xml_node child : node.children()) {
      const std::string_view kind = child.name();
      if (KeyOf(child).empty()) continue;
      if (kind == IniValue || kind == IniPoint) Add(child, &items_, &item_keys_);
      if (kind == IniSection) Add(child, &sections_, &section_names_);
    }
    item_keys_.Sort();
    section_names_.Sort();
  }

  unsigned long Handle() const { return handle_; }
  std::string_view Name() const { return name_; }
  unsigned long FindItem(std::string_view key, unsigned long start) const {
    return item_keys_.Find(key, start);
  }
  /// The item, or a null node behind the last one.
  pugi::xml_node Item(unsigned long index) const {
    return index < items_.size() ? items_[index] : pugi::xml_node();
  }
  pugi::xml_node FindSection(std::string_view name) const {
    const unsigned long position = section_names_.Find(name, 0);
    return position == TKaXIniReader::NoItem ? pugi::xml_node() : sections_[position];
  }

 private:
  static void Add(const pugi::xml_node& node, std::vector<pugi::xml_node>* nodes, TKeys* keys) {
    keys->Add(KeyOf(node), nodes->size());
    nodes->push_back(node);
  }

  unsigned long handle_;
  std::string_view name_;
  std::vector<pugi::xml_node> items_;
  std::vector<pugi::xml_node> sections_;
  TKeys item_keys_;
  TKeys section_names_;
};

/// The item's text; false when it is no value, or holds elements.
bool TextOf(const pugi::xml_node& item, std::string* text) {
  if (item.name() != std::string_view(IniValue)) return false;
  text->clear();
  for (const pugi::xml_node child : item.children()) {
    if (child.type() == pugi::node_element) return false;
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) *text += child.value();
  }
  return true;
}

bool ParseValue(std::string_view text, double* value) { return KaParseNumber(text, value); }

template <class T>
bool ParseInteger(std::string_view text, T* value) {
  const bool plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
  const char* const end = text.data() + text.size();
  T number = 0;
  const std::from_chars_result result = std::from_chars(text.data() + (plus ? 1 : 0), end, number);
  if (result.ec != std::errc() || result.ptr != end) return false;
  *value = number;
  return true;
}

bool ParseValue(std::string_view text, int* value) { return ParseInteger(text, value); }
bool ParseValue(std::string_view text, unsigned long* value) { return ParseInteger(text, value); }

bool ParseValue(std::string_view text, bool* value) {
  const bool yes = text == "true" || text == "1";
  if (!yes && text != "false" && text != "0") return false;
  *value = yes;
  return true;
}

template <class T>
bool ReadItem(const pugi::xml_node& item, T* value) {
  std::string text;
  return TextOf(item, &text) && ParseValue(KaTrimmed(text), value);
}

}  // namespace

struct TKaXIniStreamReader::TDocument {
  const TSection& Current() const { return Open.back(); }

  pugi::xml_document Xml;
  std::vector<TSection> Open;
  unsigned long NextHandle = 1;
};

TKaXIniStreamReader::TKaXIniStreamReader(const var_a<TKaStream*>& stream, bool from_start,
                                         TKaProgressHandler* progress)
    : document_(std::make_unique<TDocument>()) {
  KaReportProgress(progress, 0.0);
  const std::string text = KaReadXmlText(stream.get(), from_start);
  KaParseXml(text, KaMostXmlMarks, &document_->Xml);
  const pugi::xml_node root = document_->Xml.document_element();
  if (root.name() != std::string_view(IniRoot)) {
    throw TKaMessage(KaXmlReason(text, root.offset_debug(),
                                 "the root element is <" + std::string(root.name()) + ">, not <" + IniRoot +
                                     ">: this is no configuration"));
  }
  document_->Open.emplace_back(0, root);
  if (progress != nullptr) progress->OnProgress(1.0);
}

TKaXIniStreamReader::~TKaXIniStreamReader() = default;

unsigned long TKaXIniStreamReader::FindItem(const std::string& key, unsigned long start) const {
  return document_->Current().FindItem(key, start);
}

std::string TKaXIniStreamReader::ItemKey(unsigned long index) const {
  return std::string(KeyOf(document_->Current().Item(index)));
}

unsigned long TKaXIniStreamReader::EnterSection(const std::string& name) {
  const pugi::xml_node section = document_->Current().FindSection(name);
  if (!section) return 0;
  document_->Open.emplace_back(document_->NextHandle, section);
  return document_->NextHandle++;
}

bool TKaXIniStreamReader::LeaveSection(unsigned long handle) {
  std::vector<TSection>& open = document_->Open;
  const auto section = std::find_if(open.begin() + 1, open.end(),
                                    [handle](const TSection& one) { return one.Handle() == handle; });
  if (section == open.end()) return false;
  open.erase(section, open.end());
  return true;
}

std::string TKaXIniStreamReader::SectionPath() const {
  std::string path;
  for (auto section = document_->Open.begin() + 1; section != document_->Open.end(); ++section) {
    path += '/';
    path += section->Name();
  }
  return path.empty() ? "/" : path;
}

int TKaXIniStreamReader::ReadPoint(unsigned long index, xy_d* point) const {
  const pugi::xml_node item = document_->Current().Item(index);
  if (!item) return 2;
  xy_d read;
  const bool is_point = item.name() == std::string_view(IniPoint) &&
                        KaParseNumber(KaTrimmed(item.attribute(IniX).value()), &read.x) &&
                        KaParseNumber(KaTrimmed(item.attribute(IniY).value()), &read.y);
  if (!is_point) return 1;
  *point = read;
  return 0;
}

bool TKaXIniStreamReader::GetValue(unsigned long index, double* value) const {
  return ReadItem(document_->Current().Item(index), value);
}

bool TKaXIniStreamReader::GetValue(unsigned long index, int* value) const {
  return ReadItem(document_->Current().Item(index), value);
}

bool TKaXIniStreamReader::GetValue(unsigned long index, unsigned long* value) const {
  return ReadItem(document_->Current().Item(index), value);
}

bool TKaXIniStreamReader::GetValue(unsigned long index, bool* value) const {
  return ReadItem(document_->Current().Item(index), value);
}

bool TKaXIniStreamReader::GetValue(unsigned long index, std::string* value) const {
  return TextOf(document_->Current().Item(index), value);
}
