/// \file
/// Files as the operating system gives them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace app {

/// Owns a file descriptor.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~FileDescriptor();

  int Number() const { return number_; }
  /// Closes the descriptor; false when the system reports that written bytes were lost.
  bool Close();

 private:
  int number_;
};

/// Opens a file for reading; throws `Problem` when it cannot be, a directory included.
FileDescriptor OpenForReading(const std::string& path);

/// Reads up to `size` bytes, waiting for the first; 0 at the end. Throws `Problem`, naming `name`.
std::size_t ReadSome(int descriptor, char* buffer, std::size_t size, const std::string& name);

/// Writes all of `bytes`; throws `Problem`, naming `name`.
void WriteAll(int descriptor, std::string_view bytes, const std::string& name);

/// The next bytes of a file, as many as there are, up to `most`. Throws `Problem`, naming `name`.
std::string ReadUpTo(const FileDescriptor& file, std::size_t most, const std::string& name);

/// Whether both, descriptors or paths, lead to one regular file, by whatever links.
bool IsOneFile(int a, int b);
bool IsOneFile(int a, const std::string& b);
bool IsOneFile(const std::string& a, const std::string& b);

/// Puts a file with these bytes in place of whatever stands at `path`, or leaves that untouched and throws
/// `Problem`: written beside the target, brought to the disk, then renamed.
void ReplaceFile(const std::string& path, std::string_view bytes);

}  // namespace app
