#include "kelvane/refinement/refinement_data.h"

#include <stdexcept>
#include <string>

#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/text.h"
#include "kelvane/refinement/affine_correction_xml.h"
#include "kelvane/refinement/empty_on_failure.h"

namespace SatCommonUtilsNext {

namespace {

using SatCommonUtils::AffineCorrectionFields;
using SatCommonUtils::TAffineCorrectionField;

std::string NumberText(double value) { return Tessarin::ssprintf("%lg", value); }

void PrintLine(const std::string& text) { KaPrintDbgMsg("\t" + text + "\n"); }

void PrintParameters(const std::vector<std::string>& names, const std::vector<double>& values) {
  if (names.size() == values.size()) {
    KaPrintDbgMsg("\nParameters:\n");
    for (std::size_t i = 0; i < names.size(); ++i) PrintLine(names[i] + " = " + NumberText(values[i]));
    return;
  }
  KaPrintDbgMsg("\nParameters names:\n");
  for (const std::string& name : names) PrintLine(name);
  KaPrintDbgMsg("\nParameters values:\n");
  for (const double value : values) PrintLine(NumberText(value));
}

}  // namespace

TRPCRefinementData::~TRPCRefinementData() = default;

void TRPCRefinementData::Reset() { type_ = TRPCRefinementType(); }

bool TRPCRefinementData::InitializeFromXML(TKaXIniReader* reader) {
  Reset();
  if (reader != nullptr && !type_.InitializeFromXML(reader)) Reset();
  return operator bool();
}

bool TRPCRefinementData::SaveToXML(TKaXIniWriter* writer) const { return type_.SaveToXML(writer); }

var_a<TRPCRefinementData*> TRPCRefinementData::CreateCopyN() const {
  return EmptyOnFailure([this] { return CreateCopyE(); });
}

var_a<TRPCRefinementData*> TRPCRefinementData::CreateCopyE() const {
  throw std::runtime_error("TRPCRefinementDataBase::CreateCopyE");
}

void TRPCRefinementData::DebugOutput() const {
  constexpr char Frame[] = "------------------------------------------------------------\n";
  KaPrintDbgMsg(Frame);
  if (!*this) KaPrintDbgMsg("The refinement data ara INCORRECT!!!\n");
  KaPrintDbgMsg("RPC refinement type: " + type_.GetDebugName() + "\n");
  std::vector<std::string> names;
  type_.GetParametersNames(&names);
  std::vector<double> values;
  GetParametersValues(&values);
  PrintParameters(names, values);
  KaPrintDbgMsg(Frame);
}

void TRPCRefinementDataAffine::InitializeUnity() {
  static_cast<TAffineCorrection&>(*this) = TAffineCorrection();
}

void TRPCRefinementDataAffine::Reset() {
  static_cast<TAffineCorrection&>(*this) = SatCommonUtils::UnsetAffineCorrection();
}

bool TRPCRefinementDataAffine::InitializeFromXML(TKaXIniReader* reader) try {
  Reset();
  if (!type_.InitializeFromXML(reader)) type_ = TRPCRefinementType(TRPCRefinementType::Affine);
  if (reader == nullptr || type_.Value != TRPCRefinementType::Affine) return operator bool();
  for (const TAffineCorrectionField& field : AffineCorrectionFields) {
    this->*field.Value = reader->Read<double>(reader->FindF(field.Key, 0), Unset);
  }
  return operator bool();
} catch (...) {
  return false;
}

bool TRPCRefinementDataAffine::SaveToXML(TKaXIniWriter* writer) const try {
  return TRPCRefinementData::SaveToXML(writer) &&
         SatCommonUtils::WriteNumbers(writer, AffineCorrectionFields, *this);
} catch (...) {
  return false;
}

var_a<TRPCRefinementData*> TRPCRefinementDataAffine::CreateCopyE() const {
  return new_a<TRPCRefinementDataAffine>(*this);
}

TRPCRefinementDataAffine::operator bool() const {
  return type_.Value == TRPCRefinementType::Affine && SatCommonUtils::IsSet(*this);
}

bool TRPCRefinementDataAffine::IsUnity() const { return TAffineCorrection::IsUnity(); }

std::size_t TRPCRefinementDataAffine::GetParametersValues(std::vector<double>* values) const {
  values->clear();
  if (*this) *values = {LineDrift, LineTilt, LineBias, SampleDrift, SampleTilt, SampleBias};
  return values->size();
}

void TRPCRefinementDataAffine::DebugOutput() const { SatCommonUtils::DebugOutputAffineCorrection(*this); }

var_a<TRPCRefinementData*> CreateRefinementDataE(TRPCRefinementType::TType type) {
  if (type != TRPCRefinementType::Affine) {
    throw std::runtime_error("var_a<TRPCRefinementData*> CreateE(const TRPCRefinementType& src)");
  }
  return new_a<TRPCRefinementDataAffine>();
}

var_a<TRPCRefinementData*> CreateRefinementDataE(const TRPCRefinementType& type) {
  return CreateRefinementDataE(type.Value);
}

var_a<TRPCRefinementData*> CreateRefinementDataN(TRPCRefinementType::TType type) {
  return EmptyOnFailure([type] { return CreateRefinementDataE(type); });
}

var_a<TRPCRefinementData*> CreateRefinementDataN(const TRPCRefinementType& type) {
  return CreateRefinementDataN(type.Value);
}

var_a<TRPCRefinementData*> CreateRefinementDataCopyE(const TRPCRefinementData& src) {
  const auto* const affine = dynamic_cast<const TRPCRefinementDataAffine*>(&src);
  if (affine == nullptr || src.GetType().Value != TRPCRefinementType::Affine) {
    throw std::runtime_error(
        "var_a<TRPCRefinementData*> CreateRefinementDataCopyE(const TRPCRefinementData&)");
  }
  return new_a<TRPCRefinementDataAffine>(*affine);
}

var_a<TRPCRefinementData*> CreateRefinementDataCopyN(const TRPCRefinementData& src) {
  return EmptyOnFailure([&src] { return CreateRefinementDataCopyE(src); });
}

var_a<TRPCRefinementData*> CreateRefinementDataFromXMLE(TKaXIniReader* reader) {
  var_a<TRPCRefinementData*> made = CreateRefinementDataFromXMLN(reader);
  if (!made) {
    throw std::runtime_error("var_a<TRPCRefinementData*> CreateFromXMLE(TKaXIniReader* XML_reader)");
  }
  return made;
}

var_a<TRPCRefinementData*> CreateRefinementDataFromXMLN(TKaXIniReader* reader) {
  return CreateFromXML(reader, [](const TRPCRefinementType& type) { return CreateRefinementDataN(type); });
}

}  // namespace SatCommonUtilsNext
