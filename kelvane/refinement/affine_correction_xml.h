/// \file
/// The affine correction in XML and in debug text (internal): what both generations write.
#pragma once

#include "kelvane/module/ini_sections.h"
#include "kelvane/refinement/affine_correction.h"

namespace SatCommonUtils {

/// Prints the six, one message each, between lines of dashes.
void DebugOutputAffineCorrection(const TAffineCorrection& correction);

/// The two directions' sections in XML.
inline constexpr char RawToRefinedSection[] = "RawToRefined";
inline constexpr char RefinedToRawSection[] = "RefinedToRaw";

/// Reads both directions, records of their generation: the first must be there; false when it is not, or when
/// the second cannot be read and the way back cannot be derived.
template <class Record>
bool ReadDirections(TKaXIniReader* reader, TAffineCorrections* corrections) {
  Record record;
  const auto read = [&] { return record.InitializeFromXML(reader); };
  if (!ReadSection(reader, RawToRefinedSection, read)) return false;
  corrections->RawToRefined = record;
  try {
    if (ReadSection(reader, RefinedToRawSection, read)) {
      corrections->RefinedToRaw = record;
      return true;
    }
  } catch (...) {
    // As what cannot be read.
  }
  return corrections->CalculateRefinedToRaw();
}

/// Writes both; false at the first failure.
template <class Record>
bool WriteDirections(TKaXIniWriter* writer, const TAffineCorrections& corrections) {
  const auto write = [&](const char* section, const TAffineCorrection& direction) {
    return WriteSection(writer, section, [&] { return Record{direction}.SaveToXML(writer); });
  };
  return write(RawToRefinedSection, corrections.RawToRefined) &&
         write(RefinedToRawSection, corrections.RefinedToRaw);
}

}  // namespace SatCommonUtils
