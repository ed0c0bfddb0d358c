#include "app/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "app/interrupt.h"
#include "app/problem.h"
#include "kelvane/module/file_replacement.h"
#include "kelvane/module/host/message.h"

namespace app {

namespace {

bool IsOneFile(const struct stat& a, const struct stat& b) {
  return S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

Problem SystemProblem(const std::string& name) { return Problem(name + ": " + std::strerror(errno)); }

FileDescriptor::~FileDescriptor() {
  if (number_ >= 0) ::close(number_);
}

bool FileDescriptor::Close() { return ::close(std::exchange(number_, -1)) == 0; }

FileDescriptor OpenForReading(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Number() < 0) throw SystemProblem(path);
  struct stat status {};
  if (::fstat(file.Number(), &status) != 0) throw SystemProblem(path);
  if (S_ISDIR(status.st_mode)) throw Problem(path + ": " + std::strerror(EISDIR));
  return file;
}

std::size_t ReadSome(int descriptor, char* buffer, std::size_t size, const std::string& name) {
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) throw SystemProblem(name);
  }
}

void WriteAll(int descriptor, std::string_view bytes, const std::string& name) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      throw SystemProblem(name);
    }
  }
}

std::string ReadUpTo(const FileDescriptor& file, std::size_t most, const std::string& name) {
  constexpr std::size_t Block = 65536;
  std::string bytes;
  while (bytes.size() < most) {
    const std::size_t old_size = bytes.size();
    bytes.resize(std::min(old_size + Block, most));
    const std::size_t count = ReadSome(file.Number(), bytes.data() + old_size, bytes.size() - old_size, name);
    bytes.resize(old_size + count);
    if (count == 0) break;
  }
  return bytes;
}

bool IsOneFile(int a, int b) {
  struct stat status_a {};
  struct stat status_b {};
  return ::fstat(a, &status_a) == 0 && ::fstat(b, &status_b) == 0 && IsOneFile(status_a, status_b);
}

bool IsOneFile(int a, const std::string& b) {
  struct stat status_a {};
  struct stat status_b {};
  return ::fstat(a, &status_a) == 0 && ::stat(b.c_str(), &status_b) == 0 && IsOneFile(status_a, status_b);
}

bool IsOneFile(const std::string& a, const std::string& b) {
  struct stat status_a {};
  struct stat status_b {};
  return ::stat(a.c_str(), &status_a) == 0 && ::stat(b.c_str(), &status_b) == 0 &&
         IsOneFile(status_a, status_b);
}

void ReplaceFile(const std::string& path, std::string_view bytes) try {
  const SignalsHeldBack held_back;
  SatCommonUtils::TFileReplacement file(path, bytes, SatCommonUtils::TE_FilePlace::Any);
  file.TakePlace();
} catch (const TKaMessage& failure) {
  throw Problem(failure.what());
}

}  // namespace app
