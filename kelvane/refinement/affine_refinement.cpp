#include "kelvane/refinement/affine_refinement.h"

#include <stdexcept>

#include "kelvane/refinement/affine_correction_xml.h"

namespace SatCommonUtils {

bool TRPCRefinementDataAffine::InitializeFromXML(TKaXIniReader* reader) try {
  for (const TAffineCorrectionField& field : AffineCorrectionFields) {
    this->*field.Value = reader->ReadE<double>(reader->FindFE(field.Key, 0));
  }
  return true;
} catch (...) {
  return false;
}

bool TRPCRefinementDataAffine::SaveToXML(TKaXIniWriter* writer) const try {
  return SaveAffineCorrection(*this, writer);
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
  TRPCRefinementDataAffine record;
  if (!ReadSection(reader, RawToRefinedSection, &record)) return false;
  SetRawToRefinedCoefs(record);
  if (!ReadSection(reader, RefinedToRawSection, &record)) return CalculateRefinedToRawCoefs();
  SetRefinedToRawCoefs(record);
  return true;
} catch (...) {
  return false;
}

bool TRPCRefinementAffine::SaveToXML(TKaXIniWriter* writer) const try {
  return WriteSection(writer, RawToRefinedSection, TRPCRefinementDataAffine{corrections_.RawToRefined}) &&
         WriteSection(writer, RefinedToRawSection, TRPCRefinementDataAffine{corrections_.RefinedToRaw});
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
