#include "kelvane/refinement/refinement_transform.h"

#include <stdexcept>

#include "kelvane/refinement/affine_correction_xml.h"
#include "kelvane/refinement/empty_on_failure.h"

namespace SatCommonUtilsNext {

using SatCommonUtils::IsSet;
using SatCommonUtils::TAffineCorrection;
using SatCommonUtils::TAffineCorrections;

TRPCRefinementBase::~TRPCRefinementBase() = default;

void TRPCRefinementBase::Reset() { type_ = TRPCRefinementType(); }

bool TRPCRefinementBase::InitializeFromXML(TKaXIniReader* reader) { return type_.InitializeFromXML(reader); }

bool TRPCRefinementBase::SaveToXML(TKaXIniWriter* writer) const { return type_.SaveToXML(writer); }

TRPCRefinementBase::operator bool() const { return type_.Value != TRPCRefinementType::Undefined; }

TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine& data) : TRPCRefinementAffine() {
  if (!Setup(data)) {
    throw std::runtime_error("TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine&)");
  }
}

TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementAffine& src) : TRPCRefinementBase(src) {
  if (src) corrections_ = src.corrections_;
}

bool TRPCRefinementAffine::Setup(const TRPCRefinementDataAffine& data) {
  SetRawToRefinedCoefs(data);
  return CalculateRefinedToRawCoefs();
}

void TRPCRefinementAffine::SetRawToRefinedCoefs(const TRPCRefinementDataAffine& data) {
  corrections_.RawToRefined = data;
}

void TRPCRefinementAffine::SetRefinedToRawCoefs(const TRPCRefinementDataAffine& data) {
  corrections_.RefinedToRaw = data;
}

void TRPCRefinementAffine::GetRefinedToRawCoefs(TRPCRefinementDataAffine* data) const {
  static_cast<TAffineCorrection&>(*data) = corrections_.RefinedToRaw;
}

bool TRPCRefinementAffine::GetRefinementData(TRPCRefinementDataAffine* data) const {
  if (data == nullptr || !*this) return false;
  static_cast<TAffineCorrection&>(*data) = corrections_.RawToRefined;
  return true;
}

bool TRPCRefinementAffine::CalculateRefinedToRawCoefs() { return corrections_.CalculateRefinedToRaw(); }

void TRPCRefinementAffine::Reset() { corrections_ = TAffineCorrections(); }

void TRPCRefinementAffine::RawToRefined(const double& line, const double& sample, double* refinedLine,
                                        double* refinedSample) const {
  Correct(corrections_.RawToRefined, line, sample, refinedLine, refinedSample);
}

void TRPCRefinementAffine::RefinedToRaw(const double& line, const double& sample, double* rawLine,
                                        double* rawSample) const {
  Correct(corrections_.RefinedToRaw, line, sample, rawLine, rawSample);
}

var_a<TRPCRefinementData*> TRPCRefinementAffine::GetRefinementData() const {
  if (!*this) return nullptr;
  return new_a<TRPCRefinementDataAffine>(corrections_.RawToRefined);
}

bool TRPCRefinementAffine::InitializeFromXML(TKaXIniReader* reader) {
  Reset();
  try {
    if (!read_type_.InitializeFromXML(reader)) read_type_ = TRPCRefinementType(TRPCRefinementType::Affine);
    if (reader != nullptr && read_type_.Value == TRPCRefinementType::Affine &&
        SatCommonUtils::ReadDirections<TRPCRefinementDataAffine>(reader, &corrections_) && *this) {
      return true;
    }
  } catch (...) {
    // As what cannot be read.
  }
  Reset();
  read_type_ = TRPCRefinementType();
  return false;
}

bool TRPCRefinementAffine::SaveToXML(TKaXIniWriter* writer) const try {
  return TRPCRefinementBase::SaveToXML(writer) &&
         SatCommonUtils::WriteDirections<TRPCRefinementDataAffine>(writer, corrections_);
} catch (...) {
  return false;
}

bool TRPCRefinementAffine::IsUnity() const { return corrections_.RawToRefined.IsUnity(); }

TRPCRefinementAffine::operator bool() const {
  return read_type_.Value == TRPCRefinementType::Affine && IsSet(corrections_.RawToRefined) &&
         IsSet(corrections_.RefinedToRaw);
}

var_a<TRPCRefinementBase*> CreateRefinementE(TRPCRefinementType::TType type) {
  if (type != TRPCRefinementType::Affine) {
    throw std::runtime_error("var_a<TRPCRefinementBase*> CreateRefinementE(TRPCRefinementType::TType type)");
  }
  return new_a<TRPCRefinementAffine>();
}

var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementType& type) {
  return CreateRefinementE(type.Value);
}

var_a<TRPCRefinementBase*> CreateRefinementN(TRPCRefinementType::TType type) {
  return EmptyOnFailure([type] { return CreateRefinementE(type); });
}

var_a<TRPCRefinementBase*> CreateRefinementN(const TRPCRefinementType& type) {
  return CreateRefinementN(type.Value);
}

var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementData& src) {
  const auto* const affine = dynamic_cast<const TRPCRefinementDataAffine*>(&src);
  if (affine == nullptr || src.GetType().Value != TRPCRefinementType::Affine) {
    throw std::runtime_error("var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementData& src)");
  }
  return new_a<TRPCRefinementAffine>(*affine);
}

var_a<TRPCRefinementBase*> CreateRefinementN(const TRPCRefinementData& src) {
  return EmptyOnFailure([&src] { return CreateRefinementE(src); });
}

var_a<TRPCRefinementBase*> CreateRefinementCopyE(const TRPCRefinementBase& src) {
  const auto* const affine = dynamic_cast<const TRPCRefinementAffine*>(&src);
  if (affine == nullptr) {
    throw std::runtime_error(
        "var_a<TRPCRefinementBase*> CreateRefinementCopyE(const TRPCRefinementBase& src)");
  }
  return new_a<TRPCRefinementAffine>(*affine);
}

var_a<TRPCRefinementBase*> CreateRefinementCopyN(const TRPCRefinementBase& src) {
  return EmptyOnFailure([&src] { return CreateRefinementCopyE(src); });
}

var_a<TRPCRefinementBase*> CreateRefinementFromXMLE(TKaXIniReader* reader) {
  var_a<TRPCRefinementBase*> made = CreateRefinementFromXMLN(reader);
  if (!made) {
    throw std::runtime_error("var_a<TRPCRefinementBase*> CreateRefinementFromXMLE(TKaXIniReader* from_xml)");
  }
  return made;
}

var_a<TRPCRefinementBase*> CreateRefinementFromXMLN(TKaXIniReader* reader) {
  return CreateFromXML(reader, [](const TRPCRefinementType& type) { return CreateRefinementN(type); });
}

}  // namespace SatCommonUtilsNext
