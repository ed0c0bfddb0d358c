#include "app/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "app/problem.h"

namespace app {

namespace {

/// A file in the folder of the target, removed unless it takes the target's place. Failures name the
/// target as the caller knows it.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& target, const std::string& name)
      : path_((std::filesystem::path(target).parent_path() / ".kelvane-XXXXXX").string()) {
    descriptor_ = FileDescriptor(::mkostemp(path_.data(), O_CLOEXEC));
    if (descriptor_.Number() < 0) throw SystemProblem(name);
  }
  ~TemporaryFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  FileDescriptor& Descriptor() { return descriptor_; }
  void RenameTo(const std::string& target, const std::string& name) {
    if (::rename(path_.c_str(), target.c_str()) != 0) throw SystemProblem(name);
    path_.clear();
  }

 private:
  std::string path_;
  FileDescriptor descriptor_;
};

/// Lets an interrupt wait while it lives, so that none leaves a temporary file behind.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~SignalsHeldBack() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_{};
};

/// The rights that the new file gets: those of the one it replaces, else those of any new file.
mode_t RightsFor(const std::string& path) {
  struct stat existing {};
  if (::stat(path.c_str(), &existing) == 0) return existing.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

/// Where the bytes really go: a symbolic link is followed, so that it stays one.
std::string RealTarget(const std::string& path) {
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path, failure);
  if (!std::filesystem::exists(status)) {
    if (std::filesystem::is_symlink(std::filesystem::symlink_status(path, failure))) {
      throw Problem(path + ": is a symbolic link to no file");
    }
    return path;
  }
  if (std::filesystem::is_directory(status)) throw Problem(path + ": Is a directory");
  if (!std::filesystem::is_regular_file(status)) throw Problem(path + ": is no regular file");
  const std::filesystem::path target = std::filesystem::canonical(path, failure);
  return failure ? path : target.string();
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

void ReplaceFile(const std::string& path, std::string_view bytes) {
  const std::string target = RealTarget(path);
  const SignalsHeldBack held_back;
  TemporaryFile file(target, path);
  WriteAll(file.Descriptor().Number(), bytes, path);
  if (::fchmod(file.Descriptor().Number(), RightsFor(target)) != 0 ||
      ::fsync(file.Descriptor().Number()) != 0 || !file.Descriptor().Close()) {
    throw SystemProblem(path);
  }
  file.RenameTo(target, path);
}

}  // namespace app
