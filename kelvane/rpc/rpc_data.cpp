#include "kelvane/rpc/rpc_data.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <functional>
#include <iterator>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/ini_sections.h"
#include "kelvane/module/problem.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace SatCommonUtils {

namespace {

std::string CoefficientKey(std::size_t k) { return Tessarin::ssprintf("%02d", static_cast<int>(k)); }

/// Reads the 20 keys of one section and leaves it.
bool ReadCoefficients(TKaXIniReader* reader, const TRPCDataCoefficients& set, TRPCData* data,
                      std::string* problem) {
  unsigned long section = reader->EnterSectionS(set.Name);
  if (section == 0 && set.OtherName != nullptr) section = reader->EnterSectionS(set.OtherName);
  if (section == 0) return Fail(problem, std::string("no section \"") + set.Name + "\"");
  double* const values = data->*set.Values;
  const auto read = [&] {
    for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
      values[k] = reader->ReadE<double>(reader->FindFE(CoefficientKey(k), 0));
    }
    return true;
  };
  return ReadEnteredSection(reader, section, read) ||
         Fail(problem, std::string("the section \"") + set.Name + "\" cannot be left");
}

bool WriteCoefficients(TKaXIniWriter* writer, const TRPCDataCoefficients& set, const TRPCData& data) {
  const unsigned long section = writer->BeginSection(set.Name);
  if (section == 0) return false;
  const double* const values = data.*set.Values;
  bool written = true;
  for (std::size_t k = 0; written && k < TRPCData::CoefficientCount; ++k) {
    written = writer->WriteS<double>(CoefficientKey(k), values[k]);
  }
  return writer->EndSection(section) && written;
}

}  // namespace

void TRPCData::Invalidate() {
  TRPCValues values;
  values.fill(Unset);
  std::memcpy(static_cast<void*>(this), values.data(), sizeof values);
}

TRPCData::operator bool() const {
  const TRPCValues values = RPCValues(*this);
  return std::find(values.begin(), values.end(), Unset) == values.end();
}

bool TRPCData::InitializeFromXML(TKaXIniReader* reader) { return InitializeFromXML(reader, nullptr); }

bool TRPCData::InitializeFromXML(TKaXIniReader* reader, std::string* problem) try {
  for (const TRPCDataField& field : RPCDataFields) {
    this->*field.Value = reader->ReadE<double>(reader->FindFE(field.Name, 0));
  }
  return std::all_of(
      std::begin(RPCDataCoefficients), std::end(RPCDataCoefficients),
      [&](const TRPCDataCoefficients& set) { return ReadCoefficients(reader, set, this, problem); });
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the reader failed");
}

bool TRPCData::SaveToXML(TKaXIniWriter* writer) const try {
  for (const TRPCDataField& field : RPCDataFields) {
    if (!writer->WriteS<double>(field.Name, this->*field.Value)) return false;
  }
  return std::all_of(std::begin(RPCDataCoefficients), std::end(RPCDataCoefficients),
                     [&](const TRPCDataCoefficients& set) { return WriteCoefficients(writer, set, *this); });
} catch (...) {
  return false;
}

void DebugEstimateRPCDataDifference(const TRPCData& a, const TRPCData& b, TRPCData* diff) {
  const TRPCValues minuend = RPCValues(a);
  const TRPCValues subtrahend = RPCValues(b);
  TRPCValues difference;
  std::transform(minuend.begin(), minuend.end(), subtrahend.begin(), difference.begin(), std::minus<>());
  std::memcpy(static_cast<void*>(diff), difference.data(), sizeof difference);
}

bool DebugRPCDataAreIdentical(const TRPCData& a, const TRPCData& b) {
  TRPCData diff;
  DebugEstimateRPCDataDifference(a, b, &diff);
  const TRPCValues differences = RPCValues(diff);
  return std::all_of(differences.begin(), differences.end(), [](double value) { return value == 0.0; });
}

}  // namespace SatCommonUtils
