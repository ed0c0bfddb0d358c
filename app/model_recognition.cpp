#include "app/model_recognition.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>

#include "app/text_start.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace app {

namespace {

using SatCommonUtils::RPCDataCoefficients;
using SatCommonUtils::RPCDataFields;

constexpr std::string_view WhiteSpace = " \t\r\n\v\f";

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

std::string_view TrimmedStart(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(WhiteSpace), text.size()));
}

/// What stands before the mark, without blanks around it; empty without the mark.
std::string_view KeyBefore(std::string_view line, char mark) {
  const std::size_t end = line.find(mark);
  if (end == std::string_view::npos) return {};
  line = TrimmedStart(line.substr(0, end));
  return line.substr(0, line.find_last_not_of(WhiteSpace) + 1);
}

bool IsRpbKey(std::string_view key) {
  const std::string upper = toupper(std::string(key));
  return upper == "BEGIN_GROUP" || upper == "GROUP" || key == "SpecId" ||
         std::any_of(std::begin(RPCDataFields), std::end(RPCDataFields),
                     [key](const auto& field) { return key == field.RPBKey; });
}

bool IsBinary(std::string_view line) {
  return std::any_of(line.begin(), line.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' && WhiteSpace.find(c) == std::string_view::npos;
  });
}

/// Whether it is the number of one of a set's twenty coefficients, as the text form counts them.
bool IsCoefficientNumber(std::string_view text) {
  std::size_t number = 0;
  const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size() && text[0] != '0' &&
         number <= SatCommonUtils::TRPCData::CoefficientCount;
}

/// Where the text goes on behind the first `end` in it; npos where there is none.
std::size_t Behind(std::string_view end, std::string_view text) {
  const std::size_t at = text.find(end);
  return at == std::string_view::npos ? at : at + end.size();
}

/// Where the text goes on behind the comment, instruction or quote that it begins with; 0 for none.
std::size_t BehindOpaque(std::string_view text) {
  if (StartsWith(text, "<!--")) return Behind("-->", text);
  if (StartsWith(text, "<?")) return Behind("?>", text);
  if (!StartsWith(text, "\"") && !StartsWith(text, "'")) return 0;
  const std::size_t end = text.find(text[0], 1);
  return end == std::string_view::npos ? end : end + 1;
}

/// Where the text goes on behind the document type that it begins with, declarations within it and all.
std::size_t BehindDocumentType(std::string_view text) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t opaque = BehindOpaque(text.substr(i));
    if (opaque == std::string_view::npos) return opaque;
    if (opaque == 0) depth += text[i] == '<' ? 1 : text[i] == '>' ? -1 : 0;
    i += std::max<std::size_t>(opaque, 1);
    if (depth == 0) return i;
  }
  return std::string_view::npos;
}

/// The name of the first element, behind declarations and comments; empty where the text is no XML, or ends
/// before.
std::string_view RootName(std::string_view text) {
  for (text = TrimmedStart(text); StartsWith(text, "<?") || StartsWith(text, "<!");) {
    const std::size_t opaque = BehindOpaque(text);
    const std::size_t end = opaque == 0 ? BehindDocumentType(text) : opaque;
    if (end == std::string_view::npos) return {};
    text = TrimmedStart(text.substr(end));
  }
  const std::size_t end = text.find_first_of(" \t\r\n/>");
  if (!StartsWith(text, "<") || end == std::string_view::npos) return {};
  return text.substr(1, end - 1);
}

struct Root {
  std::string_view name;
  ModelFormat format;
};
constexpr Root Roots[] = {{"configuration", ModelFormat::Xml},
                          {"Dimap_Document", ModelFormat::Dimap},
                          {"isd", ModelFormat::Isd},
                          {"RPCDataset", ModelFormat::Dataset}};

}  // namespace

const char* FormatName(ModelFormat format) {
  constexpr const char* Names[] = {"rpb", "text", "xml", "refined-xml", "dimap", "isd", "dataset"};
  return Names[static_cast<int>(format)];
}

bool IsTextKey(std::string_view key) {
  return std::any_of(std::begin(RPCDataFields), std::end(RPCDataFields),
                     [key](const auto& field) { return key == field.TextKey; }) ||
         std::any_of(std::begin(RPCDataCoefficients), std::end(RPCDataCoefficients), [key](const auto& set) {
           const std::string_view prefix = set.TextPrefix;
           return StartsWith(key, prefix) && IsCoefficientNumber(key.substr(prefix.size()));
         });
}

bool BeginsAsXml(std::string_view head) {
  const std::string_view text = TrimmedStart(WithoutByteOrderMark(head));
  return StartsWith(text, "<?") || StartsWith(text, "<!");
}

std::optional<ModelFormat> Recognise(std::string_view head) {
  std::string_view text = WithoutByteOrderMark(head);
  const std::string_view name = RootName(text);
  for (const Root& root : Roots) {
    if (name == root.name) return root.format;
  }
  if (name.empty() && BeginsAsXml(text)) return std::nullopt;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    const std::string_view line = text.substr(0, end);
    if (IsBinary(line)) return std::nullopt;
    if (IsTextKey(KeyBefore(line, ':'))) return ModelFormat::Text;
    if (IsRpbKey(KeyBefore(line, '='))) return ModelFormat::Rpb;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return std::nullopt;
}

std::vector<std::string> SideCars(const std::string& image) {
  const std::string stem = SatCommonUtils::CutFileExt(image);
  std::vector<std::string> names;
  for (const char* suffix :
       {".RPB", ".rpb", "_RPC.TXT", "_rpc.txt", "_RPC.txt", "_rpc.TXT", ".xml", ".XML"}) {
    names.push_back(stem + suffix);
  }
  return names;
}

}  // namespace app
