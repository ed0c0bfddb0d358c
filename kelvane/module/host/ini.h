/// \file
/// The host's hierarchical configuration: sections that hold named values, points and further sections.
/// Every persistent class of the library reads and writes itself through these two interfaces, inside the
/// section that its caller has entered.
///
/// Keys are any non-empty text without a zero byte, such as "LineOffset" or "00". Items keep their order,
/// and a key may stand several times in one section. An item is addressed by its index in the current
/// section.
#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "kelvane/module/export.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/var_a.h"

struct xy_d;

/// Reads a configuration. Implementations supply the protected and the pure virtual operations; the typed
/// ones below stand on them.
class KELVANE_HOST_API TKaXIniReader {
 public:
  /// What the finding operations return when there is no such item.
  static constexpr unsigned long NoItem = ~0UL;

  TKaXIniReader() = default;
  TKaXIniReader(const TKaXIniReader&) = delete;
  TKaXIniReader& operator=(const TKaXIniReader&) = delete;
  virtual ~TKaXIniReader();

  /// Index of the first value item named `key` at or behind index `start` of the current section.
  /// Throws `TKaMessage`, naming the key and the section, when there is none.
  unsigned long FindFE(const char* key, unsigned long start) const;
  unsigned long FindFE(const std::string& key, unsigned long start) const;

  /// The same without throwing: `NoItem` when there is none.
  unsigned long FindF(const char* key, unsigned long start) const;
  unsigned long FindF(const std::string& key, unsigned long start) const;

  /// Walks a repeated key: the next item named `key` at or behind `*position`; `*position` then stands
  /// behind it. `NoItem` at the end of the list, `*position` unchanged.
  unsigned long FindFP(const char* key, unsigned long* position) const;

  /// The item's value, for `T` one of double, int, unsigned long, bool, std::string. Throws `TKaMessage`
  /// when there is no such item or its text is no `T`. Numbers are written with a decimal point under
  /// every locale; "nan" and "inf" are numbers.
  template <class T>
  T ReadE(unsigned long index) const {
    T value{};
    if (!GetValue(index, &value)) ThrowUnreadable(index, std::is_same_v<T, bool> ? "truth value" : "number");
    return value;
  }

  /// The same, returning `fallback` instead of throwing.
  template <class T>
  T Read(unsigned long index, T fallback) const {
    T value{};
    return GetValue(index, &value) ? value : fallback;
  }

  /// Enters the first sub-section `name` of the current one. Returns its handle, never 0; or 0 when there
  /// is none, and the current section stays.
  unsigned long EnterSectionS(const char* name);
  unsigned long EnterSectionS(const std::string& name);

  /// The same, throwing `TKaMessage` when there is no such section.
  unsigned long EnterSectionSE(const char* name);

  /// Leaves the section that `handle` was returned for, and with it any that was entered inside it and not
  /// left. False, and nothing changes, when that section is not open.
  virtual bool LeaveSection(unsigned long handle) = 0;

  /// Reads the item at `index` as a point. 0: read. 1: the item is no point, `*point` unchanged.
  /// 2: `index` is `NoItem` or past the last item, the end of a list walked with `FindFP`.
  virtual int ReadPoint(unsigned long index, xy_d* point) const = 0;

 protected:
  /// Index of the first value or point named `key` at or behind `start`, or `NoItem`.
  virtual unsigned long FindItem(const std::string& key, unsigned long start) const = 0;
  /// Enters the first sub-section named `name`; 0 when there is none.
  virtual unsigned long EnterSection(const std::string& name) = 0;
  /// Path of the current section for messages, such as "/IMAGE"; "/" at the top.
  virtual std::string SectionPath() const = 0;
  /// Key of the item at `index` for messages; empty when there is no such item, or it is not known.
  virtual std::string ItemKey(unsigned long index) const;
  /// Reads the item's value; false when there is no such item or its text does not convert, the output
  /// then unchanged.
  virtual bool GetValue(unsigned long index, double* value) const = 0;
  virtual bool GetValue(unsigned long index, int* value) const = 0;
  virtual bool GetValue(unsigned long index, unsigned long* value) const = 0;
  virtual bool GetValue(unsigned long index, bool* value) const = 0;
  virtual bool GetValue(unsigned long index, std::string* value) const = 0;

 private:
  [[noreturn]] void ThrowUnreadable(unsigned long index, const char* kind) const;
};

/// Writes a configuration. Every operation reports failure by its result; a writer that has failed once
/// is not worth going on with.
class KELVANE_HOST_API TKaXIniWriter {
 public:
  TKaXIniWriter() = default;
  TKaXIniWriter(const TKaXIniWriter&) = delete;
  TKaXIniWriter& operator=(const TKaXIniWriter&) = delete;
  virtual ~TKaXIniWriter();

  /// Writes one value item, for `T` one of double, int, unsigned long, bool, std::string. A double comes
  /// back bit for bit (a NaN as some NaN).
  template <class T>
  bool WriteS(const std::string& key, const T& value) {
    return PutValue(key, value);
  }
  /// A literal is a text; as a pointer it would convert to bool.
  bool WriteS(const std::string& key, const char* text) { return PutValue(key, std::string(text)); }

  /// Opens a sub-section; returns its handle, or 0 on failure.
  virtual unsigned long BeginSection(const std::string& name) = 0;
  /// Closes the innermost open section; false when `handle` is not its handle.
  virtual bool EndSection(unsigned long handle) = 0;
  /// Writes a named point.
  virtual bool WritePoint(const std::string& name, const xy_d& point) = 0;

 protected:
  /// Writes an item into the current section, behind those that are there; false when it cannot be stored.
  virtual bool PutValue(const std::string& key, const double& value) = 0;
  virtual bool PutValue(const std::string& key, const int& value) = 0;
  virtual bool PutValue(const std::string& key, const unsigned long& value) = 0;
  virtual bool PutValue(const std::string& key, const bool& value) = 0;
  virtual bool PutValue(const std::string& key, const std::string& value) = 0;
};

/// A reader over the whole text of a stream.
class KELVANE_HOST_API TKaXIniStreamReader : public TKaXIniReader {
 public:
  /// Reads and parses the stream: from its beginning when `from_start` is true, else from where it stands.
  /// `progress` may be null; it may cancel. Throws `TKaMessage`, with line and reason, when the text is no
  /// configuration, when a section is nested too deeply, or when cancelled. The stream is not kept.
  TKaXIniStreamReader(const var_a<TKaStream*>& stream, bool from_start, TKaProgressHandler* progress);
  ~TKaXIniStreamReader() override;

  bool LeaveSection(unsigned long handle) override;
  int ReadPoint(unsigned long index, xy_d* point) const override;

 protected:
  unsigned long FindItem(const std::string& key, unsigned long start) const override;
  unsigned long EnterSection(const std::string& name) override;
  std::string SectionPath() const override;
  std::string ItemKey(unsigned long index) const override;
  bool GetValue(unsigned long index, double* value) const override;
  bool GetValue(unsigned long index, int* value) const override;
  bool GetValue(unsigned long index, unsigned long* value) const override;
  bool GetValue(unsigned long index, bool* value) const override;
  bool GetValue(unsigned long index, std::string* value) const override;

 private:
  struct TDocument;
  std::unique_ptr<TDocument> document_;
};
