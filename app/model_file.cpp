#include "app/model_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "app/files.h"
#include "app/problem.h"
#include "host/ini_xml.h"
#include "host/number_text.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/footprint.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace app {

namespace {

using SatCommonUtils::RPCDataCoefficients;
using SatCommonUtils::RPCDataFields;
using SatCommonUtils::TRPBHeader;
using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;
using SatCommonUtils::TRPCDataCoefficients;
using SatCommonUtils::TRPCDataField;

/// A model is some kilobytes; whatever is larger is no model.
constexpr std::size_t LargestModelFile = 64U << 20;

constexpr char ErrBiasKey[] = "errBias";
constexpr char ErrRandKey[] = "errRand";
constexpr char SatIdKey[] = "satId";
constexpr char BandIdKey[] = "bandId";

std::string_view WithoutByteOrderMark(std::string_view text) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  return text.substr(0, mark.size()) == mark ? text.substr(mark.size()) : text;
}

std::string_view TrimmedStart(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

/// Calls `visit` with each line, without its end; `visit` returns false to stop.
template <class Visit>
void ForEachLine(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    if (!visit(text.substr(0, end))) return;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

bool IsTextKey(std::string_view key) {
  const auto starts = [key](std::string_view prefix) { return key.substr(0, prefix.size()) == prefix; };
  return std::any_of(std::begin(RPCDataFields), std::end(RPCDataFields),
                     [key](const TRPCDataField& field) { return key == field.TextKey; }) ||
         std::any_of(std::begin(RPCDataCoefficients), std::end(RPCDataCoefficients),
                     [&](const TRPCDataCoefficients& set) { return starts(set.TextPrefix); });
}

bool IsRpbKey(std::string_view key) {
  const std::string upper = toupper(std::string(key));
  return upper == "BEGIN_GROUP" || upper == "GROUP" || key == "SpecId" ||
         std::any_of(std::begin(RPCDataFields), std::end(RPCDataFields),
                     [key](const TRPCDataField& field) { return key == field.RPBKey; });
}

std::string_view KeyBefore(std::string_view line, char mark) {
  const std::size_t end = line.find(mark);
  if (end == std::string_view::npos) return {};
  line = TrimmedStart(line.substr(0, end));
  return line.substr(0, line.find_last_not_of(" \t") + 1);
}

/// The form that the bytes are in, by the first line that only one form has.
std::optional<ModelFormat> Recognise(std::string_view bytes) {
  const std::string_view text = WithoutByteOrderMark(bytes);
  if (TrimmedStart(text).substr(0, 1) == "<") return ModelFormat::Xml;
  std::optional<ModelFormat> format;
  ForEachLine(text, [&](std::string_view line) {
    if (IsTextKey(KeyBefore(line, ':'))) format = ModelFormat::Text;
    if (IsRpbKey(KeyBefore(line, '='))) format = ModelFormat::Rpb;
    return !format;
  });
  return format;
}

/// The side-cars that an image of this name may have.
std::vector<std::string> SideCars(const std::string& image) {
  const std::string stem = SatCommonUtils::CutFileExt(image);
  std::vector<std::string> names;
  for (const char* suffix :
       {".RPB", ".rpb", "_RPC.TXT", "_rpc.txt", "_RPC.txt", "_rpc.TXT", ".xml", ".XML"}) {
    names.push_back(stem + suffix);
  }
  return names;
}

[[noreturn]] void ThrowNotAModel(const ModelFile& file, const std::string& problem) {
  throw Problem(file.path + ": is no RPC model: read as " + FormatName(file.format) + ": " + problem);
}

void NoteRepeated(ModelFile& file, const std::string& key) {
  file.remarks.push_back(file.path + ": " + key + " stands more than once; the first is taken");
}

/// Notes the values of the current section that stand twice.
template <class Key>
void NoteRepeatedValues(ModelFile& file, const TKaXIniReader& reader, Key key) {
  for (const TRPCDataField& field : RPCDataFields) {
    const unsigned long first = reader.FindF(key(field), 0);
    if (first != TKaXIniReader::NoItem && reader.FindF(key(field), first + 1) != TKaXIniReader::NoItem) {
      NoteRepeated(file, key(field));
    }
  }
}

std::unique_ptr<TKaXIniStreamReader> OpenXml(const std::string& bytes) {
  return std::make_unique<TKaXIniStreamReader>(new_a<TKaStringStream>(bytes), true, nullptr);
}

void ReadRpb(ModelFile& file, const std::string& bytes) {
  std::string problem;
  if (!file.data.InitializeFromRPB(new_a<TKaStringStream>(bytes), &file.header, &problem)) {
    ThrowNotAModel(file, problem);
  }
  const var_a<TKaStream*> xml = new_a<TKaStringStream>();
  SatCommonUtils::PVLtoXML(new_a<TKaStringStream>(bytes), xml);
  TKaXIniStreamReader reader(xml, true, nullptr);
  reader.EnterSectionSE("IMAGE");
  NoteRepeatedValues(file, reader, [](const TRPCDataField& field) { return field.RPBKey; });
}

/// What writers put beside the 90 lines of the text form.
void ReadTextExtras(ModelFile& file, std::string_view text) {
  std::map<std::string, int, std::less<>> seen;
  ForEachLine(text, [&](std::string_view line) {
    const std::string_view key = KeyBefore(line, ':');
    if (IsTextKey(key) && ++seen[std::string(key)] == 2) NoteRepeated(file, std::string(key));
    const bool bias = key == "ERR_BIAS";
    if (bias || key == "ERR_RAND") {
      double value = 0.0;
      if (KaScanNumber(TrimmedStart(line.substr(line.find(':') + 1)), &value) > 0) {
        (bias ? file.header.ErrBias : file.header.ErrRand) = value;
      }
    }
    return true;
  });
  if (text.back() != '\n' && text.back() != '\r') {
    file.remarks.push_back(file.path +
                           ": the last line has no end; if the file was cut off there, its number is wrong");
  }
}

void ReadText(ModelFile& file, const std::string& bytes) {
  TKaStringStream stream(bytes);
  std::string problem;
  if (!file.data.InitializeFromText(&stream, &problem)) ThrowNotAModel(file, problem);
  ReadTextExtras(file, WithoutByteOrderMark(bytes));
}

template <class T>
std::optional<T> ReadOptional(const TKaXIniReader& reader, const char* key) {
  const unsigned long item = reader.FindF(key, 0);
  if (item == TKaXIniReader::NoItem) return std::nullopt;
  return reader.ReadE<T>(item);
}

void ReadXmlExtras(ModelFile& file, TKaXIniReader& reader) {
  file.header.ErrBias = ReadOptional<double>(reader, ErrBiasKey);
  file.header.ErrRand = ReadOptional<double>(reader, ErrRandKey);
  file.header.SatId = ReadOptional<std::string>(reader, SatIdKey);
  file.header.BandId = ReadOptional<std::string>(reader, BandIdKey);
  NoteRepeatedValues(file, reader, [](const TRPCDataField& field) { return field.Name; });
  if (const unsigned long section = reader.EnterSectionS("Refinement"); section != 0) {
    file.format = ModelFormat::RefinedXml;
    auto& refinement = file.refinement.emplace();
    std::transform(std::begin(RefinementKeys), std::end(RefinementKeys), refinement.begin(),
                   [&](const char* key) { return reader.ReadE<double>(reader.FindFE(key, 0)); });
    reader.LeaveSection(section);
  }
}

void ReadXml(ModelFile& file, const std::string& bytes) {
  try {
    std::string problem;
    const auto reader = OpenXml(bytes);
    if (!file.data.InitializeFromXML(reader.get(), &problem)) ThrowNotAModel(file, problem);
    ReadXmlExtras(file, *OpenXml(bytes));
  } catch (const TKaMessage& message) {
    ThrowNotAModel(file, message.what());
  }
}

/// What keeps the numbers from making a model that can project; empty when nothing does.
std::string FindDefect(const TRPCData& data) {
  for (const TRPCDataField& field : RPCDataFields) {
    const double value = data.*field.Value;
    if (value == TRPCData::Unset) return std::string(field.Name) + " is unset";
    if (!std::isfinite(value)) return std::string(field.Name) + " is no finite number";
    if (field.IsScale && value == 0.0)
      return std::string(field.Name) + " is 0: nothing can be normalised with it";
  }
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
      const double value = (data.*set.Values)[k];
      const auto name = [&] { return std::string(set.Name) + "[" + std::to_string(k) + "]"; };
      if (value == TRPCData::Unset) return name() + " is unset";
      if (!std::isfinite(value)) return name() + " is no finite number";
    }
  }
  return {};
}

void Read(ModelFile& file, const std::string& bytes) {
  switch (file.format) {
    case ModelFormat::Rpb:
      ReadRpb(file, bytes);
      break;
    case ModelFormat::Text:
      ReadText(file, bytes);
      break;
    case ModelFormat::Xml:
    case ModelFormat::RefinedXml:
      ReadXml(file, bytes);
      break;
  }
  file.defect = FindDefect(file.data);
  if (!file.defect.empty()) return;
  if (file.refinement) {
    file.defect = "it holds a refinement, which this version of the program cannot apply";
    return;
  }
  // From XML the model brings its margin and raster size too.
  file.model = std::make_unique<TRPC>(file.data, nullptr);
  if (file.format == ModelFormat::Xml && !file.model->InitializeFromXML(OpenXml(bytes).get())) {
    ThrowNotAModel(file, "what stands beside the record cannot be read");
  }
}

ModelFile ReadBytes(const std::string& path, ModelFormat format, const std::string& bytes) {
  ModelFile file;
  file.path = path;
  file.format = format;
  Read(file, bytes);
  return file;
}

ModelFormat FormatOfSuffix(const std::string& path) {
  const std::string suffix = toupper(std::filesystem::path(path).extension().string());
  if (suffix == ".RPB") return ModelFormat::Rpb;
  if (suffix == ".TXT") return ModelFormat::Text;
  if (suffix == ".XML") return ModelFormat::Xml;
  throw Problem(path + ": the name of a model to write ends in .rpb, .txt or .xml");
}

bool SaveXml(const ModelFile& file, TKaStringStream* stream) {
  TKaXIniXmlWriter writer;
  const auto write = [&writer](const char* key, const auto& value) {
    return !value || writer.WriteS(key, *value);
  };
  return UsableModel(file).SaveToXML(&writer) && write(ErrBiasKey, file.header.ErrBias) &&
         write(ErrRandKey, file.header.ErrRand) && write(SatIdKey, file.header.SatId) &&
         write(BandIdKey, file.header.BandId) && writer.Save(stream);
}

bool Save(const ModelFile& file, ModelFormat format, TKaStringStream* stream) {
  const TRPBHeader& header = file.header;
  switch (format) {
    case ModelFormat::Rpb:
      return file.data.SaveToRPB(stream, header.SatId.value_or(""), header.BandId.value_or(""),
                                 header.ErrBias.value_or(0.0), header.ErrRand.value_or(0.0));
    case ModelFormat::Text:
      return file.data.SaveToText(stream, "", "");
    case ModelFormat::Xml:
    case ModelFormat::RefinedXml:
      return SaveXml(file, stream);
  }
  return false;
}

/// What the form has no place for.
std::vector<std::string> FindLosses(const ModelFile& file, ModelFormat format) {
  std::vector<std::string> losses;
  if (format == ModelFormat::Xml) return losses;
  const TRPBHeader& header = file.header;
  const auto lose = [&](const char* what) {
    losses.push_back(std::string(what) + " has no place in the form " + FormatName(format) +
                     " and is left out");
  };
  if (format == ModelFormat::Text) {
    if (header.ErrBias || header.ErrRand) lose("the error estimate (errBias, errRand)");
    if (header.SatId || header.BandId) lose("the name of satellite and band");
  }
  SatCommonUtils::TPolygon margin;
  if (file.model->GetMargin(&margin)) lose("the margin");
  if (file.model->GetRasterDims(nullptr, nullptr)) lose("the raster size");
  return losses;
}

int CountChanged(const TRPCData& a, const TRPCData& b) {
  int changed = 0;
  for (const TRPCDataField& field : RPCDataFields) changed += a.*field.Value != b.*field.Value;
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
      changed += (a.*set.Values)[k] != (b.*set.Values)[k];
    }
  }
  return changed;
}

}  // namespace

const char* FormatName(ModelFormat format) {
  constexpr const char* Names[] = {"rpb", "text", "xml", "refined-xml"};
  return Names[static_cast<int>(format)];
}

ModelFile ReadModelFile(const std::string& path) {
  std::error_code failure;
  const bool exists = std::filesystem::status(path, failure).type() != std::filesystem::file_type::not_found;
  if (exists) {
    const std::string bytes = ReadWholeFile(path, LargestModelFile);
    if (const auto format = Recognise(bytes)) return ReadBytes(path, *format, bytes);
    if (bytes.empty()) throw Problem(path + ": is no RPC model: the file is empty");
  }
  for (const std::string& side_car : SideCars(path)) {
    if (side_car == path || !std::filesystem::is_regular_file(side_car, failure)) continue;
    const std::string bytes = ReadWholeFile(side_car, LargestModelFile);
    if (const auto format = Recognise(bytes)) return ReadBytes(side_car, *format, bytes);
  }
  const std::string stem = SatCommonUtils::CutFileExt(path);
  throw Problem(path +
                (exists ? ": is no RPC model: not XML (no '<' first), not RPB (no group IMAGE), not RPC "
                          "text (no line such as LINE_OFF:)"
                        : ": No such file") +
                ", and there is no side-car " + stem + ".RPB, " + stem + "_RPC.TXT or " + stem + ".xml");
}

const TRPC& UsableModel(const ModelFile& file) {
  if (!file.model) throw Problem(file.path + ": " + file.defect);
  return *file.model;
}

WrittenModel WriteModelFile(const ModelFile& file, const std::string& path) {
  WrittenModel written;
  written.format = FormatOfSuffix(path);
  const std::string as_form = path + ": cannot be written as " + FormatName(written.format) + ": ";
  UsableModel(file);
  TKaStringStream stream;
  if (!Save(file, written.format, &stream)) throw Problem(as_form + "it holds what this form cannot");
  // What was rounded is told by what will be read: the text itself is the witness.
  ModelFile back;
  back.path = path;
  back.format = written.format;
  try {
    Read(back, stream.Text());
  } catch (const Problem& problem) {
    throw Problem(as_form + problem.what());
  }
  if (!back.model) throw Problem(as_form + "after rounding " + back.defect);
  written.rounded = CountChanged(file.data, back.data);
  written.max_difference = SatCommonUtils::CalculateMaxImageDifference(*file.model, *back.model);
  written.remarks = FindLosses(file, written.format);
  ReplaceFile(path, stream.Text());
  return written;
}

}  // namespace app
