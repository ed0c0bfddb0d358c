/// The RPB form: a PVL text with a group IMAGE.
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/problem.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/rpc/rpc_numbers_text.h"

namespace SatCommonUtils {

namespace {

std::optional<std::string> ReadName(const TKaXIniReader& reader, const char* key) {
  const unsigned long item = reader.FindF(key, 0);
  if (item == TKaXIniReader::NoItem) return std::nullopt;
  return reader.Read<std::string>(item, "");
}

/// Absent, too, when what stands there is no number.
std::optional<double> ReadErrorFigure(const TKaXIniReader& reader, const char* key) {
  const unsigned long item = reader.FindF(key, 0);
  const double value = reader.Read<double>(item, TRPCData::Unset);
  if (value == TRPCData::Unset) return std::nullopt;
  return value;
}

void Read(const var_a<TKaStream*>& stream, TRPCData* data, TRPBHeader* header) {
  const var_a<TKaStream*> xml = new_a<TKaStringStream>();
  PVLtoXML(stream, xml);
  TKaXIniStreamReader reader(xml, true, nullptr);
  header->SatId = ReadName(reader, "satId");
  header->BandId = ReadName(reader, "bandId");
  if (reader.EnterSectionS("IMAGE") == 0) throw std::runtime_error("no group IMAGE");
  header->HasImage = true;
  header->ErrBias = ReadErrorFigure(reader, "errBias");
  header->ErrRand = ReadErrorFigure(reader, "errRand");
  for (const TRPCDataField& field : RPCDataFields) {
    data->*field.Value = reader.ReadE<double>(reader.FindFE(field.RPBKey, 0));
  }
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    const std::string text = reader.ReadE<std::string>(reader.FindFE(set.RPBKey, 0));
    ReadCoefficients(text, "();,", set.RPBKey, data->*set.Values);
  }
}

std::string CoefficientBlock(const TRPCDataCoefficients& set, const TRPCData& data) {
  std::string text = Tessarin::ssprintf("\t%s = (\n", set.RPBKey);
  const double* const values = data.*set.Values;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    const bool last = k + 1 == TRPCData::CoefficientCount;
    text += Tessarin::ssprintf(last ? "\t\t\t%+.8E);\n" : "\t\t\t%+.8E,\n", values[k]);
  }
  return text;
}

}  // namespace

bool TRPCData::InitializeFromRPB(const var_a<TKaStream*>& stream, TRPBHeader* header, std::string* problem) {
  TRPBHeader read;
  bool complete = false;
  try {
    Read(stream, this, &read);
    complete = true;
  } catch (const std::exception& failure) {
    Fail(problem, failure.what());
  } catch (...) {
    Fail(problem, "the host cannot read it");
  }
  if (!complete) Invalidate();
  if (header != nullptr) *header = std::move(read);
  if (complete && !*this) return Fail(problem, "a value is the mark of an unset field");
  return complete;
}

bool TRPCData::InitializeFromRPBFile(const std::string& path, double* errBias, double* errRand) {
  TRPBHeader header;
  try {
    const var_a<TKaStream*> file = new_a<TKaFileStream>(TKaPath(path), kaOpenRead, kaShareAll);
    InitializeFromRPB(file, &header, nullptr);
  } catch (...) {
    Invalidate();
  }
  if (header.HasImage) {
    if (errBias != nullptr) *errBias = header.ErrBias.value_or(0.0);
    if (*errRand != 0.0) *errRand = header.ErrRand.value_or(0.0);
  }
  return static_cast<bool>(*this);
}

bool TRPCData::SaveToRPB(TKaStream* stream, const std::string& satId, const std::string& bandId,
                         const double& errBias, const double& errRand) const try {
  std::string text = "satId = \"" + satId + "\";\nbandId = \"" + bandId + "\";\n";
  text += "SpecId = \"RPC00B\";\nBEGIN_GROUP = IMAGE\n";
  text += Tessarin::ssprintf("\terrBias =%8.2lf;\n\terrRand =%8.2lf;\n", errBias, errRand);
  for (std::size_t i = 0; i < RPCDataFieldCount; ++i) {
    const TRPCDataField& field = RPCDataFieldOffsetsFirst(i);
    text += Tessarin::ssprintf("\t%s = %.*lf;\n", field.RPBKey, field.RPBDecimals, this->*field.Value);
  }
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) text += CoefficientBlock(set, *this);
  text += "END_GROUP = IMAGE\nEND;";
  return *this && stream->Write(text.data(), text.size()) == text.size();
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
