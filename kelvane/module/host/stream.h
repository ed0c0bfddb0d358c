/// \file
/// The host's streams, files and paths, and its progress handler.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "kelvane/module/export.h"

/// Told how far a long operation of the host has come.
class KELVANE_HOST_API TKaProgressHandler {
 public:
  virtual ~TKaProgressHandler();
  /// `done` runs from 0 to 1. False asks the operation to stop.
  virtual bool OnProgress(double done) = 0;
};

/// A stream of bytes. Reading and writing have positions of their own: reading starts at the beginning,
/// writing appends.
class KELVANE_HOST_API TKaStream {
 public:
  TKaStream() = default;
  TKaStream(const TKaStream&) = delete;
  TKaStream& operator=(const TKaStream&) = delete;
  virtual ~TKaStream();

  /// True when the stream is open and no operation on it has failed.
  virtual bool IsReady() const = 0;
  /// True when no byte is left to read, or none can be read.
  virtual bool AtEnd() = 0;
  /// Reads up to `size` bytes; returns how many. Fewer than asked for means the end or a failure.
  virtual std::size_t Read(void* destination, std::size_t size) = 0;
  /// Writes `size` bytes; returns how many were taken. Fewer means a failure, such as a full disk.
  virtual std::size_t Write(const void* source, std::size_t size) = 0;
  /// Sets the reading position back to the beginning; false when the stream cannot (a pipe).
  virtual bool Rewind() = 0;

  /// Reads one line into `buffer`, ended by a zero byte and without its line end (LF, CR LF, CR CR LF).
  /// Returns the number of bytes stored, 0 for an empty line and at the end of the stream. Of a line that
  /// does not fit, the first `capacity` - 1 bytes are stored and the rest is passed over. A byte-order
  /// mark at the beginning of the stream is passed over. `capacity` must be at least 1.
  virtual std::size_t ReadLine(char* buffer, std::size_t capacity) = 0;
};

/// A file's path, as the operating system takes it.
class KELVANE_HOST_API TKaPath {
 public:
  /// The path as it stands: neither resolved nor checked.
  explicit TKaPath(std::string text) : text_(std::move(text)) {}
  /// As it was given.
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

/// How a file is opened: a set of bits.
enum kaOpenMode : unsigned {
  kaOpenCreate = 1,  ///< make the file when it is not there
  kaOpenForRead = 2,
  kaOpenForWrite = 4,
  kaOpenExisting = 8,                                           ///< fail when the file is not there
  kaOpenTruncate = 16,                                          ///< drop what the file held
  kaOpenRead = kaOpenForRead | kaOpenExisting,                  ///< an existing file, for reading
  kaOpenWrite = kaOpenForWrite | kaOpenCreate | kaOpenTruncate  ///< a new or emptied file, for writing
};

/// What others may do with the file meanwhile: a set of bits, advisory. POSIX files are always shared.
enum kaShareMode : unsigned { kaShareNone = 0, kaShareAll = ~0U };

/// A file. Bytes written are handed to the operating system at once.
class KELVANE_HOST_API TKaFileStream : public TKaStream {
 public:
  TKaFileStream();
  /// Opens the file; throws `TKaMessage` with path and reason when it cannot be opened. A directory
  /// cannot.
  TKaFileStream(const TKaPath& path, kaOpenMode mode, kaShareMode share);
  ~TKaFileStream() override;

  /// Closes what was open and opens the file; false when it cannot be opened, the stream is then closed.
  bool Open(const TKaPath& path, kaOpenMode mode, kaShareMode share);
  /// Closes the file; false when the system reports that written bytes were lost.
  bool Close();

  bool IsReady() const override;
  bool AtEnd() override;
  std::size_t Read(void* destination, std::size_t size) override;
  std::size_t Write(const void* source, std::size_t size) override;
  bool Rewind() override;
  std::size_t ReadLine(char* buffer, std::size_t capacity) override;

 private:
  struct TFile;
  std::unique_ptr<TFile> file_;
};

/// A stream in memory.
class KELVANE_HOST_API TKaStringStream : public TKaStream {
 public:
  TKaStringStream() = default;
  /// Holds the text, with the position at its beginning.
  explicit TKaStringStream(std::string text) : text_(std::move(text)) {}
  ~TKaStringStream() override;

  /// All bytes written so far.
  const std::string& Text() const { return text_; }

  bool IsReady() const override;
  bool AtEnd() override;
  std::size_t Read(void* destination, std::size_t size) override;
  std::size_t Write(const void* source, std::size_t size) override;
  bool Rewind() override;
  std::size_t ReadLine(char* buffer, std::size_t capacity) override;

 private:
  std::string text_;
  std::size_t position_ = 0;
};
