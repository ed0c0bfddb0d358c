#include "kelvane/refinement/affine_refinement.h"

#include <stdexcept>

#include "kelvane/refinement/affine_correction_xml.h"

namespace SatCommonUtils {

bool TRPCRefinementDataAffine::InitializeFromXML(TKaXIniReader* reader) try {
  ReadNumbersE(reader, AffineCorrectionFields, this);
  return true;
} catch (...) {
  return false;
}

bool TRPCRefinementDataAffine::SaveToXML(TKaXIniWriter* writer) const try {
  return WriteNumbers(writer, AffineCorrectionFields, *this);
} catch (...) {
  return false;
}

var_a<TRPCRefinementDataAffine*> TRPCRefinementDataAffine::CreateCopyE() const {
  return new_a<TRPCRefinementDataAffine>(*this);
}

var_a<TRPCRefinementDataAffine*> TRPCRefinementDataAffine::CreateCopyN() const try {
  return CreateCopyE();
} catch (...) {
  return nullptr;
}

bool TRPCRefinementDataAffine::IsBias() const {
  return LineDrift == 1.0 && LineTilt == 0.0 && SampleDrift == 0.0 && SampleTilt == 1.0;
}

void TRPCRefinementDataAffine::DebugOutput() const { DebugOutputAffineCorrection(*this); }

TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine& src) {
  if (!Setup(src)) {
    throw std::runtime_error(
        "TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine& src)");
  }
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

void TRPCRefinementAffine::GetRefinementData(TRPCRefinementDataAffine* data) const {
  *data = {corrections_.RawToRefined};
}

void TRPCRefinementAffine::GetRefinedToRawCoefs(TRPCRefinementDataAffine* data) const {
  *data = {corrections_.RefinedToRaw};
}

bool TRPCRefinementAffine::CalculateRefinedToRawCoefs() { return corrections_.CalculateRefinedToRaw(); }

void TRPCRefinementAffine::Reset() { corrections_ = TAffineCorrections(); }

bool TRPCRefinementAffine::InitializeFromXML(TKaXIniReader* reader) try {
  return ReadDirections<TRPCRefinementDataAffine>(reader, &corrections_);
} catch (...) {
  return false;
}

bool TRPCRefinementAffine::SaveToXML(TKaXIniWriter* writer) const try {
  return WriteDirections<TRPCRefinementDataAffine>(writer, corrections_);
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
