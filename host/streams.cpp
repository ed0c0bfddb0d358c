#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "kelvane/module/host/message.h"
#include "kelvane/module/host/stream.h"

namespace {

// A source has Peek(n): the unread bytes at hand, at least n of them unless the stream ends before;
// Skip(n): passes over as many of them; and AtStart(): whether nothing has been passed over yet.

template <class TSource>
std::size_t CopyBytes(TSource& source, void* destination, std::size_t size) {
  auto* const bytes = static_cast<char*>(destination);
  std::size_t copied = 0;
  while (copied < size) {
    const std::string_view piece = source.Peek(1).substr(0, size - copied);
    if (piece.empty()) break;
    std::memcpy(bytes + copied, piece.data(), piece.size());
    source.Skip(piece.size());
    copied += piece.size();
  }
  return copied;
}

template <class TSource>
void PassByteOrderMark(TSource& source) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  // Byte by byte: whoever types into a terminal must not have to wait for a third one.
  for (std::size_t length = 1; length <= mark.size(); ++length) {
    if (source.Peek(length).substr(0, length) != mark.substr(0, length)) return;
  }
  source.Skip(mark.size());
}

template <class TSource>
std::size_t ReadLineFrom(TSource& source, char* buffer, std::size_t capacity) {
  if (source.AtStart()) PassByteOrderMark(source);
  const std::size_t room = capacity - 1;
  std::size_t length = 0;
  std::size_t trailing_returns = 0;
  for (bool ended = false; !ended;) {
    const std::string_view bytes = source.Peek(1);
    if (bytes.empty()) {
      trailing_returns = 0;  // Without a line feed they belong to the line.
      break;
    }
    const std::size_t line_feed = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, line_feed);
    ended = line_feed != std::string_view::npos;
    if (length < room) std::memcpy(buffer + length, piece.data(), std::min(piece.size(), room - length));
    const std::size_t last = piece.find_last_not_of('\r');
    trailing_returns =
        last == std::string_view::npos ? trailing_returns + piece.size() : piece.size() - last - 1;
    length += piece.size();
    source.Skip(piece.size() + (ended ? 1 : 0));
  }
  const std::size_t stored = std::min(length - std::min<std::size_t>(trailing_returns, 2), room);
  buffer[stored] = '\0';
  return stored;
}

/// Repeats a system call that a signal interrupts.
template <class TCall>
auto Uninterrupted(TCall call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// The flags of `open`, or -1 for a set of bits that makes no sense.
int OpenFlags(unsigned mode) {
  const bool reads = (mode & kaOpenForRead) != 0;
  const bool writes = (mode & kaOpenForWrite) != 0;
  const bool truncates = (mode & kaOpenTruncate) != 0;
  if ((!reads && !writes) || (truncates && !writes)) return -1;
  int flags = O_CLOEXEC;
  flags |= reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
  if (writes) flags |= O_APPEND;
  if (truncates) flags |= O_TRUNC;
  if ((mode & kaOpenCreate) != 0 && (mode & kaOpenExisting) == 0) flags |= O_CREAT;
  return flags;
}

/// A source over a text in memory.
class TTextSource {
 public:
  TTextSource(const std::string& text, std::size_t* position) : text_(text), position_(position) {}
  std::string_view Peek(std::size_t) const { return std::string_view(text_).substr(*position_); }
  void Skip(std::size_t size) { *position_ += size; }
  bool AtStart() const { return *position_ == 0; }

 private:
  const std::string& text_;
  std::size_t* position_;
};

}  // namespace

TKaProgressHandler::~TKaProgressHandler() = default;
TKaStream::~TKaStream() = default;

/// An open descriptor with the bytes read ahead from it; itself a source.
struct TKaFileStream::TFile {
 public:
  TFile(int descriptor, bool readable)
      : descriptor_(descriptor), readable_(readable), seekable_(lseek(descriptor, 0, SEEK_CUR) >= 0) {}
  TFile(const TFile&) = delete;
  TFile& operator=(const TFile&) = delete;
  ~TFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  /// The open file, or null with the reason in `*error`.
  static std::unique_ptr<TFile> Open(const std::string& path, unsigned mode, int* error) {
    const int flags = OpenFlags(mode);
    *error = EINVAL;
    if (flags < 0 || path.find('\0') != std::string::npos) return nullptr;
    const int descriptor = Uninterrupted([&] { return open(path.c_str(), flags, 0666); });
    *error = errno;
    if (descriptor < 0) return nullptr;
    auto file = std::make_unique<TFile>(descriptor, (mode & kaOpenForRead) != 0);
    struct stat status = {};
    *error = fstat(descriptor, &status) != 0 ? errno : S_ISDIR(status.st_mode) ? EISDIR : 0;
    if (*error != 0) return nullptr;
    return file;
  }

  bool Close() {
    // After an interrupted close the descriptor is gone all the same, and nothing is known to be lost.
    const bool closed = close(std::exchange(descriptor_, -1)) == 0 || errno == EINTR;
    return closed && !write_failed_;
  }

  bool IsReady() const { return !read_failed_ && !write_failed_; }
  bool Readable() const { return readable_; }
  bool AtStart() const { return passed_over_ == 0; }

  std::string_view Peek(std::size_t at_least) {
    while (end_ - begin_ < at_least && Fill()) {
    }
    return {buffer_.data() + begin_, end_ - begin_};
  }

  void Skip(std::size_t size) {
    begin_ += size;
    passed_over_ += size;
  }

  std::size_t Write(const char* bytes, std::size_t size) {
    std::size_t written = 0;
    while (written < size && !write_failed_) {
      const ssize_t taken =
          Uninterrupted([&] { return write(descriptor_, bytes + written, size - written); });
      write_failed_ = taken <= 0;
      if (taken > 0) written += static_cast<std::size_t>(taken);
    }
    return written;
  }

  bool Rewind() {
    if (!seekable_) return AtStart();
    begin_ = end_ = passed_over_ = 0;
    offset_ = 0;
    return readable_;
  }

 private:
  /// Reads more bytes behind those at hand; false at the end of the file and on failure.
  bool Fill() {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= std::exchange(begin_, 0);
    char* const target = buffer_.data() + end_;
    const std::size_t room = buffer_.size() - end_;
    // Not by the descriptor's own position: that is moved by writing.
    const ssize_t taken = Uninterrupted([&] {
      return seekable_ ? pread(descriptor_, target, room, offset_) : read(descriptor_, target, room);
    });
    if (taken < 0) read_failed_ = true;
    if (taken <= 0) return false;
    end_ += static_cast<std::size_t>(taken);
    offset_ += taken;
    return true;
  }

  int descriptor_;
  bool readable_;
  bool seekable_;
  bool read_failed_ = false;
  bool write_failed_ = false;
  off_t offset_ = 0;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t passed_over_ = 0;
  std::array<char, 65536> buffer_;
};

TKaFileStream::TKaFileStream() = default;

TKaFileStream::TKaFileStream(const TKaPath& path, kaOpenMode mode, kaShareMode) {
  int error = 0;
  file_ = TFile::Open(path.Text(), mode, &error);
  if (!file_) {
    throw TKaMessage("cannot open " + path.Text() + ": " + std::generic_category().message(error));
  }
}

TKaFileStream::~TKaFileStream() = default;

bool TKaFileStream::Open(const TKaPath& path, kaOpenMode mode, kaShareMode) {
  int error = 0;
  file_.reset();
  file_ = TFile::Open(path.Text(), mode, &error);
  return file_ != nullptr;
}

bool TKaFileStream::Close() {
  const std::unique_ptr<TFile> file = std::move(file_);
  return file == nullptr || file->Close();
}

bool TKaFileStream::IsReady() const { return file_ != nullptr && file_->IsReady(); }

bool TKaFileStream::AtEnd() { return file_ == nullptr || !file_->Readable() || file_->Peek(1).empty(); }

std::size_t TKaFileStream::Read(void* destination, std::size_t size) {
  return file_ == nullptr ? 0 : CopyBytes(*file_, destination, size);
}

std::size_t TKaFileStream::Write(const void* source, std::size_t size) {
  return file_ == nullptr ? 0 : file_->Write(static_cast<const char*>(source), size);
}

bool TKaFileStream::Rewind() { return file_ != nullptr && file_->Rewind(); }

std::size_t TKaFileStream::ReadLine(char* buffer, std::size_t capacity) {
  buffer[0] = '\0';
  return file_ == nullptr ? 0 : ReadLineFrom(*file_, buffer, capacity);
}

TKaStringStream::~TKaStringStream() = default;

bool TKaStringStream::IsReady() const { return true; }

bool TKaStringStream::AtEnd() { return position_ == text_.size(); }

std::size_t TKaStringStream::Read(void* destination, std::size_t size) {
  TTextSource source(text_, &position_);
  return CopyBytes(source, destination, size);
}

std::size_t TKaStringStream::Write(const void* source, std::size_t size) {
  text_.append(static_cast<const char*>(source), size);
  return size;
}

bool TKaStringStream::Rewind() {
  position_ = 0;
  return true;
}

std::size_t TKaStringStream::ReadLine(char* buffer, std::size_t capacity) {
  TTextSource source(text_, &position_);
  return ReadLineFrom(source, buffer, capacity);
}
