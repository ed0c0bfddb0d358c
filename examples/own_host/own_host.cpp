/// A small host, and all that it takes to be one. It has no XML documents.
#include "own_host.h"

#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kelvane/module/c_numeric_locale.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/string_tree.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/host/transform.h"
#include "kelvane/module/host/xml.h"

namespace {

std::vector<std::string> g_messages;
std::map<std::string, TKa2DTransform::TFactory> g_factories;

/// True when the text is one number.
bool ToNumber(const std::string& text, double* value) {
  const TCNumericLocale point;
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0') return false;
  *value = number;
  return true;
}

/// A line from bytes that `next` hands over one by one, EOF at the end.
template <class TNext>
std::size_t TakeLine(char* buffer, std::size_t capacity, TNext next) {
  std::size_t stored = 0;
  for (int c = next(); c != EOF && c != '\n'; c = next()) {
    if (stored + 1 < capacity) buffer[stored++] = static_cast<char>(c);
  }
  while (stored > 0 && buffer[stored - 1] == '\r') --stored;
  buffer[stored] = '\0';
  return stored;
}

std::vector<std::string> Lines(TKaStream* stream) {
  std::vector<std::string> lines;
  for (char line[4096]; !stream->AtEnd();) lines.emplace_back(line, stream->ReadLine(line, sizeof line));
  return lines;
}

}  // namespace

const std::vector<std::string>& OwnDbgMessages() { return g_messages; }

// Running process
int KaGetThreadsCount() { return 2; }
void KaPrintDbgMsg(const std::string& text) { g_messages.push_back(text); }
void Init_KaDataContainer() { KaPrintDbgMsg("start"); }
void Deinit_KaDataContainer() { KaPrintDbgMsg("stop"); }

// Streams
TKaProgressHandler::~TKaProgressHandler() = default;
TKaStream::~TKaStream() = default;

struct TKaFileStream::TFile {
  explicit TFile(std::FILE* file) : File(file) {}
  ~TFile() { std::fclose(File); }
  std::FILE* File;
};

TKaFileStream::TKaFileStream() = default;
TKaFileStream::~TKaFileStream() = default;
TKaFileStream::TKaFileStream(const TKaPath& path, kaOpenMode mode, kaShareMode share) {
  if (!Open(path, mode, share)) throw TKaMessage(path.Text() + " cannot be opened");
}
bool TKaFileStream::Open(const TKaPath& path, kaOpenMode mode, kaShareMode) {
  std::FILE* const file = std::fopen(path.Text().c_str(), mode == kaOpenRead ? "rb" : "wb");
  file_ = file == nullptr ? nullptr : std::make_unique<TFile>(file);
  return file_ != nullptr;
}
bool TKaFileStream::Close() { return std::exchange(file_, nullptr) != nullptr; }
bool TKaFileStream::IsReady() const { return file_ != nullptr; }
bool TKaFileStream::AtEnd() {
  return file_ == nullptr || std::ungetc(std::fgetc(file_->File), file_->File) == EOF;
}
std::size_t TKaFileStream::Read(void* to, std::size_t size) { return std::fread(to, 1, size, file_->File); }
std::size_t TKaFileStream::Write(const void* from, std::size_t size) {
  return std::fwrite(from, 1, size, file_->File);
}
bool TKaFileStream::Rewind() { return std::fseek(file_->File, 0, SEEK_SET) == 0; }
std::size_t TKaFileStream::ReadLine(char* buffer, std::size_t capacity) {
  return TakeLine(buffer, capacity, [this] { return std::fgetc(file_->File); });
}

TKaStringStream::~TKaStringStream() = default;
bool TKaStringStream::IsReady() const { return true; }
bool TKaStringStream::AtEnd() { return position_ == text_.size(); }
std::size_t TKaStringStream::Read(void* to, std::size_t size) {
  const std::size_t read = text_.copy(static_cast<char*>(to), size, position_);
  position_ += read;
  return read;
}
std::size_t TKaStringStream::Write(const void* from, std::size_t size) {
  text_.append(static_cast<const char*>(from), size);
  return size;
}
bool TKaStringStream::Rewind() { return (position_ = 0, true); }
std::size_t TKaStringStream::ReadLine(char* buffer, std::size_t capacity) {
  return TakeLine(buffer, capacity, [this] { return AtEnd() ? EOF : text_[position_++]; });
}

// Configurations
TKaXIniReader::~TKaXIniReader() = default;
TKaXIniWriter::~TKaXIniWriter() = default;
unsigned long TKaXIniReader::FindFE(const char* key, unsigned long start) const {
  const unsigned long index = FindItem(key, start);
  if (index == NoItem) throw TKaMessage("no " + std::string(key) + " in " + SectionPath());
  return index;
}
unsigned long TKaXIniReader::FindFE(const std::string& key, unsigned long start) const {
  return FindFE(key.c_str(), start);
}
unsigned long TKaXIniReader::FindF(const char* key, unsigned long start) const {
  return FindItem(key, start);
}
unsigned long TKaXIniReader::FindF(const std::string& key, unsigned long start) const {
  return FindItem(key, start);
}
unsigned long TKaXIniReader::FindFP(const char* key, unsigned long* position) const {
  const unsigned long index = FindItem(key, *position);
  if (index != NoItem) *position = index + 1;
  return index;
}
unsigned long TKaXIniReader::EnterSectionS(const char* name) { return EnterSection(name); }
unsigned long TKaXIniReader::EnterSectionS(const std::string& name) { return EnterSection(name); }
unsigned long TKaXIniReader::EnterSectionSE(const char* name) {
  const unsigned long handle = EnterSection(name);
  if (handle == 0) throw TKaMessage("no section " + std::string(name) + " in " + SectionPath());
  return handle;
}
std::string TKaXIniReader::ItemKey(unsigned long) const { return ""; }
void TKaXIniReader::ThrowUnreadable(unsigned long, const char* kind) const {
  throw TKaMessage("no " + std::string(kind) + " in " + SectionPath());
}

/// A configuration is its lines; an item's index is its line's. A section is where its lines begin.
struct TKaXIniStreamReader::TDocument {
  std::vector<std::string> Lines;
  std::vector<std::size_t> Open = {0};

  /// The first line of the current section, at or behind `start`, that begins so; or `NoItem`.
  unsigned long Find(const std::string& beginning, std::size_t start) const {
    int depth = 0;
    for (std::size_t i = Open.back(); i < Lines.size() && depth >= 0; ++i) {
      if (depth == 0 && i >= start && Lines[i].compare(0, beginning.size(), beginning) == 0) return i;
      depth += Lines[i][0] == '[' ? 1 : Lines[i][0] == ']' ? -1 : 0;
    }
    return NoItem;
  }
};

TKaXIniStreamReader::TKaXIniStreamReader(const var_a<TKaStream*>& stream, bool from_start,
                                         TKaProgressHandler*)
    : document_(std::make_unique<TDocument>()) {
  if (from_start) stream->Rewind();
  for (std::string& line : Lines(stream.get())) {
    if (!line.empty()) document_->Lines.push_back(std::move(line));
  }
}
TKaXIniStreamReader::~TKaXIniStreamReader() = default;
unsigned long TKaXIniStreamReader::FindItem(const std::string& key, unsigned long start) const {
  return document_->Find(key + '=', start);
}
unsigned long TKaXIniStreamReader::EnterSection(const std::string& name) {
  for (unsigned long line = 0; (line = document_->Find('[' + name, line)) != NoItem; ++line) {
    if (document_->Lines[line].size() != name.size() + 1) continue;
    document_->Open.push_back(line + 1);
    return document_->Open.size() - 1;
  }
  return 0;
}
bool TKaXIniStreamReader::LeaveSection(unsigned long handle) {
  if (handle == 0 || handle >= document_->Open.size()) return false;
  document_->Open.resize(handle);
  return true;
}
std::string TKaXIniStreamReader::SectionPath() const {
  const std::size_t begin = document_->Open.back();
  return begin == 0 ? "/" : document_->Lines[begin - 1];
}
std::string TKaXIniStreamReader::ItemKey(unsigned long index) const {
  return document_->Lines[index].substr(0, document_->Lines[index].find('='));
}
int TKaXIniStreamReader::ReadPoint(unsigned long index, xy_d* point) const {
  std::string text;
  if (!GetValue(index, &text)) return 2;
  const std::size_t blank = text.find(' ');
  xy_d read;
  if (blank == std::string::npos || !ToNumber(text.substr(0, blank), &read.x) ||
      !ToNumber(text.substr(blank + 1), &read.y)) {
    return 1;
  }
  *point = read;
  return 0;
}
bool TKaXIniStreamReader::GetValue(unsigned long index, std::string* value) const {
  if (index >= document_->Lines.size()) return false;
  *value = document_->Lines[index].substr(document_->Lines[index].find('=') + 1);
  return true;
}
bool TKaXIniStreamReader::GetValue(unsigned long index, double* value) const {
  std::string text;
  return GetValue(index, &text) && ToNumber(text, value);
}
bool TKaXIniStreamReader::GetValue(unsigned long index, int* value) const {
  double number = 0.0;
  if (!GetValue(index, &number) || number != std::floor(number) || std::fabs(number) > 2e9) return false;
  *value = static_cast<int>(number);
  return true;
}
bool TKaXIniStreamReader::GetValue(unsigned long index, unsigned long* value) const {
  double number = 0.0;
  if (!GetValue(index, &number) || number != std::floor(number) || !(number >= 0 && number < 9e15))
    return false;
  *value = static_cast<unsigned long>(number);
  return true;
}
bool TKaXIniStreamReader::GetValue(unsigned long index, bool* value) const {
  int number = 0;
  if (!GetValue(index, &number) || (number != 0 && number != 1)) return false;
  *value = number == 1;
  return true;
}

unsigned long TOwnWriter::BeginSection(const std::string& name) {
  text_ += '[' + name + '\n';
  return ++open_;
}
bool TOwnWriter::EndSection(unsigned long handle) {
  if (handle == 0 || handle != open_) return false;
  text_ += "]\n";
  --open_;
  return true;
}
bool TOwnWriter::WritePoint(const std::string& name, const xy_d& point) {
  return PutValue(name, Tessarin::ssprintf("%.17g %.17g", point.x, point.y));
}
bool TOwnWriter::PutValue(const std::string& key, const double& value) {
  return PutValue(key, Tessarin::ssprintf("%.17g", value));
}
bool TOwnWriter::PutValue(const std::string& key, const int& value) {
  return PutValue(key, std::to_string(value));
}
bool TOwnWriter::PutValue(const std::string& key, const unsigned long& value) {
  return PutValue(key, std::to_string(value));
}
bool TOwnWriter::PutValue(const std::string& key, const bool& value) { return PutValue(key, value ? 1 : 0); }
bool TOwnWriter::PutValue(const std::string& key, const std::string& value) {
  if ((key + value).find('\n') != std::string::npos || key.find_first_of("=[]") == 0) return false;
  text_ += key + '=' + value + '\n';
  return true;
}

// XML documents
std::string TKaXmlTagAttributes::get_value(const std::string& name, const std::string& fallback) const {
  for (const TKaXmlTagAttribute& attribute : *this) {
    if (attribute.Name == name) return attribute.Value;
  }
  return fallback;
}
unsigned long TKaXmlTagItems::find_tag_f(const std::string& name, unsigned long start) const {
  for (unsigned long i = start; i < size(); ++i) {
    if ((*this)[i]->AsTag() != nullptr && (*this)[i]->AsTag()->Name == name) return i;
  }
  return NoItem;
}
std::string TKaXmlTagItems::get_text() const {
  std::string text;
  for (const var_a<TKaXmlItem*>& item : *this) text += item->AsText() == nullptr ? "" : item->AsText()->Text;
  return text;
}
var_a<TKaXmlTagItem*> KaReadXml(TKaStream*, bool, TKaProgressHandler*) {
  throw TKaMessage("this host reads no XML documents");
}
bool WriteXml(TKaStream*, const TKaXmlTagItem*) { return false; }

// Texts
std::string trim(std::string text) {
  constexpr char blanks[] = " \t\r\n\v\f";
  text.erase(text.find_last_not_of(blanks) + 1);
  return text.erase(0, text.find_first_not_of(blanks));
}
std::string toupper(const std::string& text) {
  std::string upper = text;
  for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return upper;
}
std::string Tessarin::ssprintf(const char* format, ...) {
  const TCNumericLocale point;
  std::va_list values;
  va_start(values, format);
  char* text = nullptr;
  const int length = vasprintf(&text, format, values);
  va_end(values);
  if (length < 0) throw std::bad_alloc();
  const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
  return std::string(text, static_cast<std::size_t>(length));
}

namespace SatCommonUtils {

std::string CutFileExt(std::string path) {
  const std::size_t name = path.rfind('/') + 1;
  const std::size_t dot = path.rfind('.');
  return dot == std::string::npos || dot <= name ? path : path.substr(0, dot);
}
std::string ChangeFileExt(std::string path, std::string ext) { return CutFileExt(std::move(path)) + ext; }
double StringToDoubleDef(const std::string& text, const double& fallback) {
  double value = fallback;
  return ToNumber(trim(text), &value) ? value : fallback;
}
unsigned SplitStringIntoDoubles(const char* text, const char* separators, double* out, unsigned count,
                                bool skip_others, TKaProgressHandler*) {
  const std::string between = std::string(separators) + " \t\r\n\v\f";
  unsigned stored = 0;
  for (const char* at = text + std::strspn(text, between.c_str()); *at != '\0' && stored < count;) {
    const std::size_t length = std::strcspn(at, between.c_str());
    if (ToNumber(std::string(at, length), out + stored)) {
      ++stored;
    } else if (!skip_others) {
      return 0;
    }
    at += length;
    at += std::strspn(at, between.c_str());
  }
  return stored;
}
/// Without comments and units, which this host's files do not have.
void PVLtoXML(var_a<TKaStream*> in, var_a<TKaStream*> out) {
  std::string converted;
  std::string statement;
  for (const std::string& line : Lines(in.get())) {
    statement += trim(line);
    if (statement.find('(') != std::string::npos && statement.find(')') == std::string::npos) continue;
    const std::size_t equals = statement.find('=');
    const std::string key = trim(statement.substr(0, equals));
    std::string value = equals == std::string::npos ? "" : trim(statement.substr(equals + 1));
    statement.clear();
    if (!value.empty() && value.back() == ';') value.pop_back();
    if (value.size() > 1 && value.front() == '"') value = value.substr(1, value.size() - 2);
    if (key == "BEGIN_GROUP") {
      converted += '[' + value + '\n';
    } else if (key == "END_GROUP") {
      converted += "]\n";
    } else if (equals != std::string::npos) {
      converted.append(key).append("=").append(value).append("\n");
    }
  }
  if (!statement.empty() || converted.empty()) throw TKaMessage("no PVL text");
  out->Write(converted.data(), converted.size());
}

// Trees of numbers
TStringTree::~TStringTree() = default;
bool TStringTree::InsertDouble(std::string name, int tag, int index, const double& value) {
  if (index >= 0) entries_[{tag, index}] = {std::move(name), value};
  return index >= 0;
}
bool TStringTree::GetDouble(int tag, int index, double* value) const {
  const auto found = entries_.find({tag, index});
  if (found != entries_.end()) *value = found->second.Value;
  return found != entries_.end();
}
std::string TStringTree::GetName(int tag, int index) const {
  const auto found = entries_.find({tag, index});
  return found == entries_.end() ? "" : found->second.Name;
}
int TStringTree::Count(int tag) const {
  int count = 0;
  for (const auto& entry : entries_) count += entry.first.first == tag ? 1 : 0;
  return count;
}

}  // namespace SatCommonUtils

// Plane transforms
TKa2DTransform::~TKa2DTransform() = default;
void TKa2DTransform::TSerializer::RegisterName(const char* name, TFactory factory) {
  if (!g_factories.emplace(name, factory).second) throw TKaMessage(std::string(name) + " is taken");
}
void TKa2DTransform::TSerializer::UnregisterName(const char* name) { g_factories.erase(name); }
var_a<TKa2DTransform*> TKa2DTransform::TSerializer::CreateByName(const char* name) {
  const auto found = g_factories.find(name);
  return found == g_factories.end() ? nullptr : found->second();
}
bool TKa2DTransform::GetTraCoordB(const xy_d& from, xy_d& to) const {
  to = GetTraCoord(from);
  return std::isfinite(to.x) && std::isfinite(to.y);
}
bool TKa2DTransform::GetInverseTraCoordB(const xy_d& to, xy_d& from) const {
  from = GetInverseTraCoord(to);
  return std::isfinite(from.x) && std::isfinite(from.y);
}
void TKa2DTransform::GetTraCoordM(const xy_d* from, size_t count, size_t from_step, xy_d* to,
                                  size_t to_step) const {
  const std::vector<xy_d> points(from, from + (count == 0 ? 0 : (count - 1) * from_step + 1));
  for (size_t i = 0; i < count; ++i) to[i * to_step] = GetTraCoord(points[i * from_step]);
}
void TKa2DTransform::GetInverseTraCoordM(const xy_d* to, size_t count, size_t to_step, xy_d* from,
                                         size_t from_step) const {
  const std::vector<xy_d> points(to, to + (count == 0 ? 0 : (count - 1) * to_step + 1));
  for (size_t i = 0; i < count; ++i) from[i * from_step] = GetInverseTraCoord(points[i * to_step]);
}
unsigned TKa2DTransform::GetTransformFlags() const { return HasDirect | HasInverse; }
double TKa2DTransform::GetTransformTime(bool) const { return 1.0; }
bool TKa2DTransform::GetMatrix(matr3x3*) const { return false; }
bool TKa2DTransform::GetInverseMatrix(matr3x3*) const { return false; }
