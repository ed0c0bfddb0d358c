#include "app/model_writing.h"

#include <filesystem>
#include <utility>

#include "app/files.h"
#include "app/problem.h"
#include "host/ini_xml.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace app {

namespace {

using SatCommonUtils::TRPBHeader;

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
    case ModelFormat::Dimap:
    case ModelFormat::Isd:
    case ModelFormat::Dataset:
      break;
  }
  return false;
}

/// What of the model the form leaves out, adds or rounds besides the record. `back` is what was written.
std::vector<std::string> CompareBesidesRecord(const ModelFile& file, const ModelFile& back) {
  std::vector<std::string> remarks;
  if (back.format == ModelFormat::Xml || back.format == ModelFormat::RefinedXml) return remarks;
  const std::string form = std::string("the form ") + FormatName(back.format);
  const auto lose = [&](const char* what) { remarks.push_back(form + " has no place for " + what); };
  const TRPBHeader& had = file.header;
  const TRPBHeader& has = back.header;
  if (back.format == ModelFormat::Text) {
    if (had.ErrBias || had.ErrRand) lose("the error estimate (errBias, errRand)");
    if (had.SatId || had.BandId) lose("the names of satellite and band");
  } else {
    if (!had.ErrBias || !had.ErrRand)
      remarks.push_back(form + " asks for errBias and errRand: 0.00 is written where there is none");
    if (!had.SatId || !had.BandId)
      remarks.push_back(form + " asks for satId and bandId: an empty name is written where there is none");
    if ((had.ErrBias && had.ErrBias != has.ErrBias) || (had.ErrRand && had.ErrRand != has.ErrRand)) {
      remarks.push_back(form + " rounds errBias and errRand to 0.01");
    }
  }
  SatCommonUtils::TPolygon margin;
  if (file.model->GetMargin(&margin)) lose("the margin");
  if (file.model->GetRasterDims(nullptr, nullptr)) lose("the raster size");
  return remarks;
}

int CountChanged(const SatCommonUtils::TRPCData& a, const SatCommonUtils::TRPCData& b) {
  const SatCommonUtils::TRPCValues before = RPCValues(a);
  const SatCommonUtils::TRPCValues after = RPCValues(b);
  int changed = 0;
  for (std::size_t i = 0; i < before.size(); ++i) changed += before[i] != after[i];
  return changed;
}

}  // namespace

ModelFormat FormatOfSuffix(const std::string& path) {
  const std::string suffix = toupper(std::filesystem::path(path).extension().string());
  if (suffix == ".RPB") return ModelFormat::Rpb;
  if (suffix == ".TXT") return ModelFormat::Text;
  if (suffix == ".XML") return ModelFormat::Xml;
  throw Problem(path + ": the name of a model to write ends in .rpb, .txt or .xml");
}

PreparedModel PrepareModel(const ModelFile& file, ModelFormat format, const std::string& path) {
  PreparedModel prepared;
  WrittenModel& written = prepared.written;
  written.format = format;
  const std::string as_form = path + ": cannot be written as " + FormatName(written.format) + ": ";
  const SatCommonUtils::TRPC& model = UsableModel(file);
  if (file.refinement && written.format != ModelFormat::Xml) {
    throw Problem(as_form + "it has no place for a refinement; \"kelvane export\" makes a plain model of it");
  }
  if (written.format == ModelFormat::Rpb &&
      (file.header.SatId.value_or("") + file.header.BandId.value_or("")).find('"') != std::string::npos) {
    throw Problem(as_form + "a double quote in satId or bandId has no place there");
  }
  TKaStringStream stream;
  if (!Save(file, written.format, &stream)) throw Problem(as_form + "it holds what this form cannot");
  // What was rounded is told by what will be read: the text itself is the witness.
  ModelFile back;
  try {
    back = ReadModelBytes(path, written.format, stream.Text());
  } catch (const Problem& problem) {
    throw Problem(as_form + problem.what());
  }
  if (!back.model) throw Problem(as_form + "after rounding " + back.defect);
  written.rounded = CountChanged(file.data, back.data);
  written.max_difference = SatCommonUtils::CalculateMaxImageDifference(model, *back.model);
  written.remarks = CompareBesidesRecord(file, back);
  written.model = std::move(back.model);
  prepared.text = stream.Text();
  return prepared;
}

void KeepDataset(const std::string& in, const std::string& out) {
  std::error_code ignored;
  if (std::filesystem::exists(in, ignored)) return;
  for (std::size_t colon = in.find(':'); colon != std::string::npos; colon = in.find(':', colon + 1)) {
    if (!IsOneFile(in.substr(0, colon), out)) continue;
    throw Problem(out + ": the model is one of this dataset, and does not replace them all");
  }
}

WrittenModel WriteModelFile(const ModelFile& file, const std::string& path) {
  KeepDataset(file.path, path);
  PreparedModel prepared = PrepareModel(file, FormatOfSuffix(path), path);
  ReplaceFile(path, prepared.text);
  return std::move(prepared.written);
}

}  // namespace app
