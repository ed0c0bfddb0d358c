#include <charconv>
#include <cmath>
#include <string_view>
#include <vector>

#include "host/ini_xml.h"
#include "host/ini_xml_form.h"
#include "host/xml_text.h"
#include "kelvane/module/host/transform.h"

namespace {

/// Root and value lie around and inside the sections.
constexpr std::size_t MaxSectionDepth = KaMaxXmlDepth - 2;

/// The shortest text that reads back as the same number.
template <class T>
std::string NumberText(T number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string DoubleText(double number) { return std::isnan(number) ? "nan" : NumberText(number); }

bool HasZeroByte(std::string_view text) { return text.find('\0') != std::string_view::npos; }

bool IsKey(std::string_view key) { return !key.empty() && !HasZeroByte(key); }

bool WriteAll(TKaStream* stream, std::string_view text) {
  return stream->Write(text.data(), text.size()) == text.size();
}

}  // namespace

struct TKaXIniXmlWriter::TDocument {
  /// Begins a line with the element's opening tag up to its key.
  void BeginElement(std::string_view element, std::string_view key) {
    Indent();
    Body += '<';
    Body += element;
    KaAppendXmlAttribute(IniKey, key, &Body);
  }

  void Indent() { Body.append(Open.size() + 1, '\t'); }

  bool PutValue(std::string_view key, std::string_view value) {
    if (!IsKey(key) || HasZeroByte(value)) return false;
    BeginElement(IniValue, key);
    Body += '>';
    KaAppendXmlContent(value, &Body);
    ((Body += "</") += IniValue) += ">\n";
    return true;
  }

  std::string Body;
  std::vector<unsigned long> Open;
  unsigned long NextHandle = 1;
};

TKaXIniXmlWriter::TKaXIniXmlWriter() : document_(std::make_unique<TDocument>()) {}
TKaXIniXmlWriter::~TKaXIniXmlWriter() = default;

bool TKaXIniXmlWriter::Save(TKaStream* stream) const {
  if (stream == nullptr || !document_->Open.empty()) return false;
  const std::string root(IniRoot);
  // No line end behind the last tag: whatever is cut off, the rest is seen to be incomplete.
  return WriteAll(stream, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<" + root + ">\n") &&
         WriteAll(stream, document_->Body) && WriteAll(stream, "</" + root + ">");
}

unsigned long TKaXIniXmlWriter::BeginSection(const std::string& name) {
  if (!IsKey(name) || document_->Open.size() == MaxSectionDepth) return 0;
  document_->BeginElement(IniSection, name);
  document_->Body += ">\n";
  document_->Open.push_back(document_->NextHandle);
  return document_->NextHandle++;
}

bool TKaXIniXmlWriter::EndSection(unsigned long handle) {
  if (document_->Open.empty() || document_->Open.back() != handle) return false;
  document_->Open.pop_back();
  document_->Indent();
  ((document_->Body += "</") += IniSection) += ">\n";
  return true;
}

bool TKaXIniXmlWriter::WritePoint(const std::string& name, const xy_d& point) {
  if (!IsKey(name)) return false;
  document_->BeginElement(IniPoint, name);
  KaAppendXmlAttribute(IniX, DoubleText(point.x), &document_->Body);
  KaAppendXmlAttribute(IniY, DoubleText(point.y), &document_->Body);
  document_->Body += "/>\n";
  return true;
}

bool TKaXIniXmlWriter::PutValue(const std::string& key, const double& value) {
  return document_->PutValue(key, DoubleText(value));
}

bool TKaXIniXmlWriter::PutValue(const std::string& key, const int& value) {
  return document_->PutValue(key, NumberText(value));
}

bool TKaXIniXmlWriter::PutValue(const std::string& key, const unsigned long& value) {
  return document_->PutValue(key, NumberText(value));
}

bool TKaXIniXmlWriter::PutValue(const std::string& key, const bool& value) {
  return document_->PutValue(key, value ? "true" : "false");
}

bool TKaXIniXmlWriter::PutValue(const std::string& key, const std::string& value) {
  return document_->PutValue(key, value);
}
