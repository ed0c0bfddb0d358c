/// \file
/// Readers, writers and streams that fail on the way, to see what a half-done read or write leaves; and
/// objects to and from the text of a document.
#pragma once

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/ini_xml.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/stream.h"

namespace test {

/// How a host fails: by the result of its operation, by an exception, or by throwing something else.
enum class HostFailure { Result, Exception, Anything };

/// Counts operations and fails one of them.
class Countdown {
 public:
  Countdown(int failing, HostFailure how) : left_(failing), how_(how) {}
  bool Fails() {
    if (left_-- != 0) return false;
    if (how_ == HostFailure::Anything) throw 1;
    if (how_ == HostFailure::Exception) throw std::runtime_error("the host has failed");
    return true;
  }
  /// True when fewer operations were done than would have reached the failing one.
  bool NeverFailed() const { return left_ >= 0; }
  /// True when the failing operation was the last one.
  bool JustFailed() const { return left_ == -1; }

 private:
  int left_;
  HostFailure how_;
};

class FailingReader : public TKaXIniStreamReader {
 public:
  FailingReader(const std::string& xml, int failing, HostFailure how = HostFailure::Result)
      : TKaXIniStreamReader(new_a<TKaStringStream>(xml), true, nullptr), countdown_(failing, how) {}
  bool NeverFailed() const { return countdown_.NeverFailed(); }
  /// It has failed by finding no item, as where there is none.
  bool Missed() const { return missed_; }
  /// The sections that were entered and that nobody has asked to leave.
  const std::vector<std::pair<unsigned long, std::string>>& Open() const { return open_; }

  bool LeaveSection(unsigned long handle) override {
    const auto section =
        std::find_if(open_.begin(), open_.end(), [=](const auto& open) { return open.first == handle; });
    open_.erase(section, open_.end());
    return !countdown_.Fails() && TKaXIniStreamReader::LeaveSection(handle);
  }
  int ReadPoint(unsigned long index, xy_d* point) const override {
    return countdown_.Fails() ? 1 : TKaXIniStreamReader::ReadPoint(index, point);
  }

 protected:
  unsigned long FindItem(const std::string& key, unsigned long start) const override {
    if (!countdown_.Fails()) return TKaXIniStreamReader::FindItem(key, start);
    missed_ = true;
    return NoItem;
  }
  unsigned long EnterSection(const std::string& name) override {
    const unsigned long handle = countdown_.Fails() ? 0 : TKaXIniStreamReader::EnterSection(name);
    if (handle != 0) open_.emplace_back(handle, name);
    return handle;
  }
  bool GetValue(unsigned long index, double* value) const override { return Value(index, value); }
  bool GetValue(unsigned long index, int* value) const override { return Value(index, value); }
  bool GetValue(unsigned long index, unsigned long* value) const override { return Value(index, value); }
  bool GetValue(unsigned long index, bool* value) const override { return Value(index, value); }
  bool GetValue(unsigned long index, std::string* value) const override { return Value(index, value); }

 private:
  template <class T>
  bool Value(unsigned long index, T* value) const {
    return !countdown_.Fails() && TKaXIniStreamReader::GetValue(index, value);
  }
  mutable Countdown countdown_;
  mutable bool missed_ = false;
  std::vector<std::pair<unsigned long, std::string>> open_;
};

class FailingWriter : public TKaXIniXmlWriter {
 public:
  explicit FailingWriter(int failing, HostFailure how = HostFailure::Result) : countdown_(failing, how) {}
  bool NeverFailed() const { return countdown_.NeverFailed(); }
  /// True when nothing was written after the failure; sections may have been ended.
  bool StoppedThere() const { return countdown_.JustFailed(); }

  unsigned long BeginSection(const std::string& name) override {
    return countdown_.Fails() ? 0 : TKaXIniXmlWriter::BeginSection(name);
  }
  bool EndSection(unsigned long handle) override {
    if (StoppedThere()) return TKaXIniXmlWriter::EndSection(handle);
    return !countdown_.Fails() && TKaXIniXmlWriter::EndSection(handle);
  }
  bool WritePoint(const std::string& name, const xy_d& point) override {
    return !countdown_.Fails() && TKaXIniXmlWriter::WritePoint(name, point);
  }

 protected:
  bool PutValue(const std::string& key, const double& value) override { return Put(key, value); }
  bool PutValue(const std::string& key, const int& value) override { return Put(key, value); }
  bool PutValue(const std::string& key, const unsigned long& value) override { return Put(key, value); }
  bool PutValue(const std::string& key, const bool& value) override { return Put(key, value); }
  bool PutValue(const std::string& key, const std::string& value) override { return Put(key, value); }

 private:
  template <class T>
  bool Put(const std::string& key, const T& value) {
    return !countdown_.Fails() && TKaXIniXmlWriter::PutValue(key, value);
  }
  Countdown countdown_;
};

/// Takes a number of bytes, then no more, as a full disk does.
class FullStream : public TKaStringStream {
 public:
  explicit FullStream(std::size_t capacity) : capacity_(capacity) {}
  std::size_t Write(const void* source, std::size_t size) override {
    return TKaStringStream::Write(source, std::min(size, capacity_ - Text().size()));
  }

 private:
  std::size_t capacity_;
};

/// What `save(writer)` writes, as a document's text; empty when it fails.
template <class Save>
std::string SavedXml(Save save) {
  TKaXIniXmlWriter writer;
  TKaStringStream stream;
  return save(&writer) && writer.Save(&stream) ? stream.Text() : std::string();
}

/// What an object writes, in the current section or under a key; empty when it fails.
template <class Object, class... Key>
std::string XmlOf(const Object& object, Key... key) {
  return SavedXml([&](TKaXIniWriter* writer) { return object.SaveToXML(writer, key...); });
}

/// A reader over a document's text.
inline TKaXIniStreamReader XmlReader(const std::string& xml) {
  return TKaXIniStreamReader(new_a<TKaStringStream>(xml), true, nullptr);
}

/// Reads an object, in the current section or under a key, with what else it takes.
template <class Object, class... Others>
bool ReadXml(const std::string& xml, Object* object, Others... others) {
  TKaXIniStreamReader reader = XmlReader(xml);
  return object->InitializeFromXML(&reader, others...);
}

}  // namespace test
