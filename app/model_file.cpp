#include "app/model_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "app/files.h"
#include "app/problem.h"
#include "app/text_start.h"
#include "host/quoted_text.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/host/var_a.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/rpc/rpc_vendor_xml.h"

namespace app {

namespace {

using SatCommonUtils::RPCDataCoefficients;
using SatCommonUtils::RPCDataFields;
using SatCommonUtils::TAdjustedRPC;
using SatCommonUtils::TCipherRPCImpExpDataset;
using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;

/// A model is some kilobytes; whatever is larger is no model. Providers' documents hold more than that, such
/// as a satellite's path, and datasets many models.
constexpr std::size_t LargestModelFile = 4U << 20;
constexpr std::size_t LargestDocument = 64U << 20;
/// What is looked at to tell a model from an image.
constexpr std::size_t HeadSize = 64U << 10;

[[noreturn]] void ThrowNotAModel(const ModelFile& file, const std::string& problem) {
  throw Problem(file.path + ": is no RPC model: read as " + FormatName(file.format) + ": " + problem);
}

void Remark(ModelFile& file, const std::string& text) { file.remarks.push_back(file.path + ": " + text); }

std::string TakenFrom(const std::string& side_car) { return ": the model is taken from " + side_car; }

/// Notes a key that stands twice in the reader's section.
void NoteRepeated(ModelFile& file, const TKaXIniReader& reader, const std::string& key) {
  const unsigned long first = reader.FindF(key, 0);
  if (first == TKaXIniReader::NoItem || reader.FindF(key, first + 1) == TKaXIniReader::NoItem) return;
  Remark(file, KaQuoted(key) + " stands more than once; the first is taken");
}

/// What keeps the numbers from making a model that can project; empty when nothing does.
std::string FindDefect(const TRPCData& data) {
  const SatCommonUtils::TRPCValues values = RPCValues(data);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i] == TRPCData::Unset) return SatCommonUtils::RPCValueName(i) + " is unset";
    if (!std::isfinite(values[i])) return SatCommonUtils::RPCValueName(i) + " is no finite number";
  }
  for (const auto& field : RPCDataFields) {
    if (field.IsScale && data.*field.Value == 0.0) {
      return std::string(field.Name) + " is 0: nothing can be normalised with it";
    }
  }
  return {};
}

/// Makes the model of the record, or says why there is none.
void Check(ModelFile& file) {
  file.defect = FindDefect(file.data);
  if (file.defect.empty()) file.model = std::make_unique<TRPC>(file.data, nullptr);
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
  for (const auto& field : RPCDataFields) NoteRepeated(file, reader, field.RPBKey);
  for (const auto& set : RPCDataCoefficients) NoteRepeated(file, reader, set.RPBKey);
  for (const auto& [key, value] :
       {std::pair{ErrBiasKey, &file.header.ErrBias}, {ErrRandKey, &file.header.ErrRand}}) {
    NoteRepeated(file, reader, key);
    if (!*value && reader.FindF(key, 0) != TKaXIniReader::NoItem)
      Remark(file, std::string(key) + " is no number");
  }
  Check(file);
}

/// Notes the key of a line of the text form when it is there for the second time.
void NoteRepeated(ModelFile& file, std::string_view line, std::map<std::string, int, std::less<>>* seen) {
  const std::string key(line.substr(0, line.find(':')));
  if (key.size() < line.size() && IsTextKey(key) && ++(*seen)[key] == 2)
    Remark(file, key + " stands more than once; the first is taken");
}

void ReadText(ModelFile& file, const std::string& bytes) {
  std::string_view text = WithoutByteOrderMark(bytes);
  TKaStringStream stream{std::string(text)};
  std::string problem;
  if (!file.data.InitializeFromText(&stream, &file.header, &problem) || !stream.Rewind() ||
      !SatCommonUtils::RPCTextNumbersAreWhole(&stream, &problem)) {
    ThrowNotAModel(file, problem);
  }
  if (text.back() != '\n' && text.back() != '\r') {
    Remark(file, "the last line has no end; if the file was cut off there, its number is wrong");
  }
  std::map<std::string, int, std::less<>> seen;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    NoteRepeated(file, text.substr(0, end), &seen);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  Check(file);
}

template <class T>
std::optional<T> ReadOptional(const TKaXIniReader& reader, const char* key) {
  const unsigned long item = reader.FindF(key, 0);
  if (item == TKaXIniReader::NoItem) return std::nullopt;
  return reader.ReadE<T>(item);
}

bool HasSection(TKaXIniReader& reader, const char* name) {
  const unsigned long section = reader.EnterSectionS(name);
  return section != 0 && reader.LeaveSection(section);
}

/// What keeps a refinement from being applied; empty when nothing does.
std::string FindDefect(const TAdjustedRPC& model, SatCommonUtils::TRPCRefinementDataAffine* refinement) {
  if (!model.GetRPCRefinementData(refinement)) return "its refinement cannot be read, or has no inverse";
  for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
    const double value = refinement->*field.Value;
    if (!std::isfinite(value) || value == SatCommonUtils::TAffineCorrection::Unset) {
      return std::string("its refinement's ") + field.Key + " is no finite number";
    }
  }
  SatCommonUtils::TRPCRefinementAffine invertible;
  return invertible.Setup(*refinement) ? std::string() : "its refinement has no inverse";
}

/// Makes the model of a checked record, with what stands beside it: margin, raster size, refinement. Where
/// the library would go on without a refinement that it cannot read, nobody would notice the wrong pixels.
void ReadModel(ModelFile& file, TKaXIniReader& reader) {
  // Asked beforehand: what cannot be read keeps the reader in its section.
  const bool is_refined = HasSection(reader, "Refinement");
  const bool has_margin = HasSection(reader, "Margin");
  auto model = std::make_unique<TAdjustedRPC>(file.data, nullptr, nullptr);
  if (!model->InitializeFromXML(&reader)) {
    ThrowNotAModel(file, "what stands beside the record cannot be read");
  }
  SatCommonUtils::TPolygon margin;
  if (has_margin && !model->GetMargin(&margin)) Remark(file, "the margin cannot be read and is passed over");
  if (is_refined) {
    SatCommonUtils::TRPCRefinementDataAffine refinement;
    file.format = ModelFormat::RefinedXml;
    file.defect = FindDefect(*model, &refinement);
    if (!file.defect.empty()) return;
    file.refinement = refinement;
  }
  file.model = std::move(model);
}

void ReadXml(ModelFile& file, const std::string& bytes) {
  try {
    TKaXIniStreamReader reader(new_a<TKaStringStream>(bytes), true, nullptr);
    std::string problem;
    if (!file.data.InitializeFromXML(&reader, &problem)) ThrowNotAModel(file, problem);
    file.header.ErrBias = ReadOptional<double>(reader, ErrBiasKey);
    file.header.ErrRand = ReadOptional<double>(reader, ErrRandKey);
    file.header.SatId = ReadOptional<std::string>(reader, SatIdKey);
    file.header.BandId = ReadOptional<std::string>(reader, BandIdKey);
    for (const auto& field : RPCDataFields) NoteRepeated(file, reader, field.Name);
    for (const auto& set : RPCDataCoefficients) {
      const unsigned long section = reader.EnterSectionS(set.Name);
      if (section == 0) continue;
      for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
        NoteRepeated(file, reader, Tessarin::ssprintf("%02d", static_cast<int>(k)));
      }
      reader.LeaveSection(section);
    }
    file.defect = FindDefect(file.data);
    if (file.defect.empty()) ReadModel(file, reader);
  } catch (const TKaMessage& message) {
    ThrowNotAModel(file, message.what());
  }
}

void ReadVendorDocument(ModelFile& file, const std::string& bytes) {
  TKaStringStream stream(bytes);
  std::string problem;
  if (!SatCommonUtils::ReadVendorXml(&stream, &file.data, &file.header, &problem))
    ThrowNotAModel(file, problem);
  Check(file);
}

TCipherRPCImpExpDataset DatasetOf(const std::string& path, const std::string& bytes) {
  TCipherRPCImpExpDataset dataset;
  TKaStringStream stream(bytes);
  std::string problem;
  if (!dataset.InitializeFromDocument(&stream, &problem)) {
    throw Problem(path + ": is no dataset of RPC models: " + problem);
  }
  return dataset;
}

/// "a", "b" and 1 more.
std::string Listed(const TCipherRPCImpExpDataset& dataset) {
  constexpr std::size_t Most = 20;
  const std::size_t count = dataset.Models().size();
  std::string text;
  for (std::size_t i = 0; i < std::min(count, Most); ++i) {
    text += (i == 0 ? "" : ", ") + KaQuoted(dataset.Models()[i].Name);
  }
  return count > Most ? text + " and " + std::to_string(count - Most) + " more" : text;
}

void TakeModel(ModelFile& file, const SatCommonUtils::TRPCExchangeModel& model) {
  file.name = model.Name;
  file.image = model.File;
  file.data = model.Data;
  file.header = model.Header;
  Check(file);
}

void ReadOnlyModel(ModelFile& file, const std::string& bytes) {
  const TCipherRPCImpExpDataset dataset = DatasetOf(file.path, bytes);
  if (!dataset) throw Problem(file.path + ": is a dataset without a model");
  if (dataset.Models().size() > 1) {
    throw Problem(file.path + ": holds several models: " + Listed(dataset) + "; say which as " + file.path +
                  ":NAME");
  }
  TakeModel(file, dataset.Models().front());
}

/// The model of that name in a file that is a dataset; else adds to `*why` what it is instead.
std::optional<ModelFile> ReadFromDataset(const std::string& path, const std::string& name, std::string* why) {
  const auto dataset = ReadDataset(path);
  const auto* const model = dataset ? dataset->Find(name) : nullptr;
  if (model != nullptr) return ModelOfDataset(path, *model);
  *why += "; " + KaQuoted(path) +
          (dataset ? " holds no such model; there are: " + Listed(*dataset) : " is no dataset of models");
  return std::nullopt;
}

/// The model of FILE:NAME, divided at whichever colon gives one, the last first; else none, with what was
/// found instead added to `*why`.
std::optional<ModelFile> ReadNamedModel(const std::string& path, std::string* why) {
  for (std::size_t colon = path.rfind(':'); colon != std::string::npos && colon > 0;
       colon = path.rfind(':', colon - 1)) {
    const std::string file_path = path.substr(0, colon);
    std::vector<std::string> candidates = SideCars(file_path);
    candidates.insert(candidates.begin(), file_path);
    for (const std::string& candidate : candidates) {
      std::error_code failure;
      const bool again = candidate == file_path && &candidate != &candidates.front();
      if (again || !std::filesystem::is_regular_file(candidate, failure)) continue;
      auto file = ReadFromDataset(candidate, path.substr(colon + 1), why);
      if (!file) continue;
      if (candidate != file_path) file->remarks.push_back(file_path + TakenFrom(candidate));
      return file;
    }
  }
  return std::nullopt;
}

/// The rest of a file that begins with `head`. Throws `Problem` when that is too large for its form.
std::string ReadWhole(const FileDescriptor& file, std::string head, ModelFormat format,
                      const std::string& path) {
  const bool model = format <= ModelFormat::RefinedXml;
  const std::size_t largest = model ? LargestModelFile : LargestDocument;
  head += ReadUpTo(file, largest, path);
  if (head.size() <= largest) return head;
  throw Problem(path + ": is no RPC model: it is larger than " + (model ? "4" : "64") + " MiB");
}

/// The form of a file, and in `*head` how it begins.
std::optional<ModelFormat> RecogniseFile(const FileDescriptor& file, const std::string& path,
                                         std::string* head) {
  *head = ReadUpTo(file, HeadSize, path);
  auto format = Recognise(*head);
  if (format || head->size() < HeadSize || !BeginsAsXml(*head)) return format;
  *head += ReadUpTo(file, LargestDocument, path);
  return Recognise(*head);
}

}  // namespace

ModelFile ReadModelBytes(const std::string& path, ModelFormat format, const std::string& bytes) {
  ModelFile file;
  file.path = path;
  file.format = format;
  switch (format) {
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
    case ModelFormat::Dimap:
    case ModelFormat::Isd:
      ReadVendorDocument(file, bytes);
      break;
    case ModelFormat::Dataset:
      ReadOnlyModel(file, bytes);
      break;
  }
  return file;
}

std::optional<TCipherRPCImpExpDataset> ReadDataset(const std::string& path) {
  std::error_code failure;
  if (!std::filesystem::is_regular_file(path, failure)) return std::nullopt;
  const FileDescriptor file = OpenForReading(path);
  std::string head;
  if (RecogniseFile(file, path, &head) != ModelFormat::Dataset) return std::nullopt;
  return DatasetOf(path, ReadWhole(file, head, ModelFormat::Dataset, path));
}

std::optional<ModelFile> ReadIfModel(const std::string& path, std::string* why) {
  const FileDescriptor file = OpenForReading(path);
  std::string head;
  const auto format = RecogniseFile(file, path, &head);
  if (!format) {
    *why = head.empty() ? "is no RPC model: the file is empty"
                        : "is no RPC model: not XML (no root configuration, Dimap_Document, isd or "
                          "RPCDataset), not RPB (no group IMAGE), not "
                          "RPC text (no line such as LINE_OFF:)";
    return std::nullopt;
  }
  return ReadModelBytes(path, *format, ReadWhole(file, head, *format, path));
}

ModelFile ModelOfDataset(const std::string& path, const SatCommonUtils::TRPCExchangeModel& model) {
  ModelFile file;
  file.path = path + ':' + model.Name;
  file.format = ModelFormat::Dataset;
  TakeModel(file, model);
  return file;
}

ModelFile ReadModelFile(const std::string& path) {
  if (path.empty()) throw Problem("the name of the model is empty");
  std::error_code failure;
  std::string why = "No such file";
  std::string why_not_named;
  if (std::filesystem::is_directory(path, failure)) {
    throw Problem(
        path +
        ": is a folder; \"kelvane info\" lists the models in it, and \"kelvane convert\" takes them "
        "with --dataset or --each");
  }
  if (std::filesystem::status(path, failure).type() != std::filesystem::file_type::not_found) {
    if (auto file = ReadIfModel(path, &why)) return std::move(*file);
  } else if (auto file = ReadNamedModel(path, &why_not_named)) {
    return std::move(*file);
  }
  const std::string stem = SatCommonUtils::CutFileExt(path);
  // Taken for an image, "a.RPB:x" would have the side-car a.RPB.
  const bool is_image = why_not_named.empty() || path.find(':', stem.size()) == std::string::npos;
  why += why_not_named;
  bool beside = false;
  for (const std::string& side_car : SideCars(path)) {
    if (!is_image || side_car == path || !std::filesystem::is_regular_file(side_car, failure)) continue;
    std::string why_not;
    if (auto file = ReadIfModel(side_car, &why_not)) {
      file->remarks.insert(file->remarks.begin(), path + TakenFrom(side_car));
      return std::move(*file);
    }
    beside = true;
    why.append("; the side-car ").append(side_car).append(" ").append(why_not);
  }
  if (!beside && why_not_named.empty()) {
    why += "; there is no side-car " + stem + ".RPB, " + stem + "_RPC.TXT or " + stem + ".xml";
  }
  throw Problem(path + ": " + why);
}

std::unique_ptr<TRPC> MakeModel(const TRPCData& data,
                                const SatCommonUtils::TRPCRefinementDataAffine* refinement,
                                const TRPC& like) {
  SatCommonUtils::TPolygon margin;
  like.GetMargin(&margin);
  auto model = std::make_unique<TAdjustedRPC>(data, &margin, refinement);
  int width = 0;
  int height = 0;
  if (like.GetRasterDims(&width, &height)) model->SetRasterDims(width, height);
  return model;
}

ModelFile PlainModel(const ModelFile& file, bool* exact) {
  ModelFile plain;
  plain.path = file.path;
  plain.header = file.header;
  plain.data = file.data;
  bool is_exact = true;
  bool is_close = true;
  if (file.refinement) {
    const TAdjustedRPC refined(file.data, nullptr, &*file.refinement);
    is_exact = refined.ExportExactly(&plain.data);
    is_close = is_exact || refined.ExportClosely(&plain.data);
  }
  if (exact != nullptr) *exact = is_exact;
  if (is_close) plain.model = MakeModel(plain.data, nullptr, *file.model);
  if (!is_close || !std::isfinite(SatCommonUtils::CalculateMaxCubeDifference(*file.model, *plain.model))) {
    throw Problem(file.path + ": no plain model comes near to it");
  }
  return plain;
}

const TRPC& UsableModel(const ModelFile& file) {
  if (!file.model) throw Problem(file.path + ": " + file.defect);
  return *file.model;
}

}  // namespace app
