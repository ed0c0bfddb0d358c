/// \file
/// The affine correction in XML and in debug text (internal): what both generations write.
#pragma once

#include "kelvane/module/host/ini.h"
#include "kelvane/refinement/affine_correction.h"

namespace SatCommonUtils {

/// Writes the six keys in their order; false at the first write that fails.
bool SaveAffineCorrection(const TAffineCorrection& correction, TKaXIniWriter* writer);
/// Prints the six, one message each, between lines of dashes.
void DebugOutputAffineCorrection(const TAffineCorrection& correction);

/// The two directions' sections in XML.
inline constexpr char RawToRefinedSection[] = "RawToRefined";
inline constexpr char RefinedToRawSection[] = "RefinedToRaw";

/// Reads a record, as its own `InitializeFromXML` does, from a sub-section; false also when there is none or
/// it cannot be left.
template <class Record>
bool ReadSection(TKaXIniReader* reader, const char* name, Record* record) {
  const unsigned long section = reader->EnterSectionS(name);
  if (section == 0) return false;
  const bool read = record->InitializeFromXML(reader);
  return reader->LeaveSection(section) && read;
}

/// Writes records into sub-sections; false at the first failure.
template <class Record>
bool WriteSection(TKaXIniWriter* writer, const char* name, const Record& record) {
  const unsigned long section = writer->BeginSection(name);
  return section != 0 && record.SaveToXML(writer) && writer->EndSection(section);
}

}  // namespace SatCommonUtils
