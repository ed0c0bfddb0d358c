/// \file
/// Sections and tables of numbers in the host's configuration (internal): how they are read and written
/// everywhere. Readers and writers must not be null; what they throw passes through.
#pragma once

#include <string>

#include "kelvane/module/host/ini.h"

namespace SatCommonUtils {

/// Calls `read()` within the section of that handle, and leaves it in any case. False when `read` is, or when
/// it cannot be left.
template <class Read>
bool ReadEnteredSection(TKaXIniReader* reader, unsigned long section, const Read& read) {
  bool done = false;
  try {
    done = read();
  } catch (...) {
    reader->LeaveSection(section);
    throw;
  }
  return reader->LeaveSection(section) && done;
}

/// The same within the sub-section `name`; false, too, when there is none.
template <class Read>
bool ReadSection(TKaXIniReader* reader, const std::string& name, const Read& read) {
  const unsigned long section = reader->EnterSectionS(name);
  return section != 0 && ReadEnteredSection(reader, section, read);
}

/// Calls `write()` within a new sub-section `name`. False at the first failure: a section whose content could
/// not be written is not ended.
template <class Write>
bool WriteSection(TKaXIniWriter* writer, const std::string& name, const Write& write) {
  const unsigned long section = writer->BeginSection(name);
  return section != 0 && write() && writer->EndSection(section);
}

/// Reads the numbers of a table of `Key` and `Value` (a pointer to member), in its order. Throws at the first
/// that is missing or no number: it and those behind it are then as they were.
template <class Table, class Record>
void ReadNumbersE(TKaXIniReader* reader, const Table& table, Record* record) {
  for (const auto& field : table) record->*field.Value = reader->ReadE<double>(reader->FindFE(field.Key, 0));
}

/// Writes them; false at the first write that fails.
template <class Table, class Record>
bool WriteNumbers(TKaXIniWriter* writer, const Table& table, const Record& record) {
  for (const auto& field : table) {
    if (!writer->WriteS<double>(field.Key, record.*field.Value)) return false;
  }
  return true;
}

}  // namespace SatCommonUtils
