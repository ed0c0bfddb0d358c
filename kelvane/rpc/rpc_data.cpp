#include "kelvane/rpc/rpc_data.h"

#include <algorithm>
#include <exception>
#include <iterator>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/rpc/rpc_data_problem.h"

namespace SatCommonUtils {

namespace {

std::string CoefficientKey(std::size_t k) { return Tessarin::ssprintf("%02d", static_cast<int>(k)); }

/// Reads the 20 keys of one section and leaves it.
bool ReadCoefficients(TKaXIniReader* reader, const TRPCDataCoefficients& set, TRPCData* data,
                      std::string* problem) {
  unsigned long section = reader->EnterSectionS(set.Name);
  if (section == 0 && set.FormerName != nullptr) section = reader->EnterSectionS(set.FormerName);
  if (section == 0) return Fail(problem, std::string("no section \"") + set.Name + "\"");
  double* const values = data->*set.Values;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    values[k] = reader->ReadE<double>(reader->FindFE(CoefficientKey(k), 0));
  }
  return reader->LeaveSection(section) ||
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
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    std::fill(std::begin(this->*set.Values), std::end(this->*set.Values), Unset);
  }
  for (const TRPCDataField& field : RPCDataFields) this->*field.Value = Unset;
}

TRPCData::operator bool() const {
  for (std::size_t k = 0; k < CoefficientCount; ++k) {
    for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
      if ((this->*set.Values)[k] == Unset) return false;
    }
  }
  return std::none_of(std::begin(RPCDataFields), std::end(RPCDataFields),
                      [this](const TRPCDataField& field) { return this->*field.Value == Unset; });
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
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
      (diff->*set.Values)[k] = (a.*set.Values)[k] - (b.*set.Values)[k];
    }
  }
  for (const TRPCDataField& field : RPCDataFields) {
    diff->*field.Value = a.*field.Value - b.*field.Value;
  }
}

bool DebugRPCDataAreIdentical(const TRPCData& a, const TRPCData& b) {
  TRPCData diff;
  DebugEstimateRPCDataDifference(a, b, &diff);
  const auto is_zero = [](double value) { return value == 0.0; };
  return std::all_of(std::begin(RPCDataCoefficients), std::end(RPCDataCoefficients),
                     [&](const TRPCDataCoefficients& set) {
                       return std::all_of(std::begin(diff.*set.Values), std::end(diff.*set.Values), is_zero);
                     }) &&
         std::all_of(std::begin(RPCDataFields), std::end(RPCDataFields),
                     [&](const TRPCDataField& field) { return is_zero(diff.*field.Value); });
}

}  // namespace SatCommonUtils
