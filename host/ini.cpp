#include "kelvane/module/host/ini.h"

#include "host/quoted_text.h"
#include "kelvane/module/host/message.h"

TKaXIniReader::~TKaXIniReader() = default;
TKaXIniWriter::~TKaXIniWriter() = default;

unsigned long TKaXIniReader::FindFE(const char* key, unsigned long start) const {
  return FindFE(std::string(key), start);
}

unsigned long TKaXIniReader::FindFE(const std::string& key, unsigned long start) const {
  const unsigned long index = FindItem(key, start);
  if (index == NoItem) throw TKaMessage("no value " + KaQuoted(key) + " in section " + SectionPath());
  return index;
}

unsigned long TKaXIniReader::FindF(const char* key, unsigned long start) const {
  return FindItem(key, start);
}

unsigned long TKaXIniReader::FindF(const std::string& key, unsigned long start) const {
  return FindItem(key, start);
}

unsigned long TKaXIniReader::FindFP(const char* key, unsigned long* position) const {
  const unsigned long index = FindItem(key, *position);
  if (index != NoItem) *position = index + 1;
  return index;
}

unsigned long TKaXIniReader::EnterSectionS(const char* name) { return EnterSection(name); }

unsigned long TKaXIniReader::EnterSectionS(const std::string& name) { return EnterSection(name); }

unsigned long TKaXIniReader::EnterSectionSE(const char* name) {
  const unsigned long handle = EnterSection(name);
  if (handle == 0) throw TKaMessage("no section " + KaQuoted(name) + " in section " + SectionPath());
  return handle;
}

std::string TKaXIniReader::ItemKey(unsigned long) const { return {}; }

void TKaXIniReader::ThrowUnreadable(unsigned long index, const char* kind) const {
  if (index == NoItem) throw TKaMessage("no such value in section " + SectionPath());
  const std::string key = ItemKey(index);
  const std::string place =
      (key.empty() ? std::to_string(index) : KaQuoted(key)) + " in section " + SectionPath();
  std::string text;
  if (!GetValue(index, &text)) throw TKaMessage("item " + place + " is no value");
  throw TKaMessage("value " + place + " is no " + kind + ": " + KaQuoted(text));
}
