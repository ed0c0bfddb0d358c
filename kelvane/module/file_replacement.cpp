#include "kelvane/module/file_replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "kelvane/module/host/message.h"

namespace SatCommonUtils {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const std::string& path, int error) {
  throw TKaMessage(path + ": " + std::generic_category().message(error));
}

/// Where the bytes go: a symbolic link stays one.
std::string Target(const std::string& path, TE_FilePlace place) {
  std::error_code failure;
  const fs::file_status here = fs::symlink_status(path, failure);
  // Such as a name that is too long: found out now, not when other files have taken their places.
  if (here.type() == fs::file_type::none) Refuse(path, failure.value());
  if (!fs::exists(here)) return path;
  if (place == TE_FilePlace::Free) Refuse(path, EEXIST);
  const fs::file_status status = fs::status(path, failure);
  if (status.type() == fs::file_type::not_found) throw TKaMessage(path + ": is a symbolic link to no file");
  if (fs::is_directory(status)) Refuse(path, EISDIR);
  if (fs::exists(status) && !fs::is_regular_file(status)) throw TKaMessage(path + ": is no regular file");
  const fs::path target = fs::canonical(path, failure);
  if (failure) Refuse(path, failure.value());
  return target.string();
}

std::string UnforeseenName() {
  constexpr char Digits[] = "0123456789abcdefghijklmnopqrstuv";
  std::random_device random;
  std::string name = ".kelvane-";
  for (int i = 0; i < 16; ++i) name += Digits[random() % 32];
  return name;
}

/// An open file that is closed at the end.
class TDescriptor {
 public:
  explicit TDescriptor(int number) : number_(number) {}
  ~TDescriptor() {
    if (number_ >= 0) ::close(number_);
  }
  TDescriptor(const TDescriptor&) = delete;
  TDescriptor& operator=(const TDescriptor&) = delete;

  int Number() const { return number_; }
  bool Close() { return ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

/// Makes a new file in the folder of the target; -1 with `errno` when it cannot be.
int OpenBeside(const std::string& target, mode_t rights, std::string* beside) {
  int number = -1;
  do {
    *beside = target.substr(0, target.rfind('/') + 1) + UnforeseenName();
    number = ::open(beside->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights);
  } while (number < 0 && (errno == EEXIST || errno == EINTR));
  return number;
}

bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Where the file system cannot rename without replacing, a second name does the same.
bool RenameToFree(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  return errno == EINVAL && ::link(from, to) == 0 && ::unlink(from) == 0;
}

}  // namespace

TFileReplacement::TFileReplacement(const std::string& path, std::string_view bytes, TE_FilePlace place)
    : path_(path), target_(Target(path, place)), place_(place) {
  struct stat before {};
  const bool replaces = ::stat(target_.c_str(), &before) == 0;
  // What is not for everybody must not be so meanwhile.
  TDescriptor file(OpenBeside(target_, replaces ? 0600 : 0666, &beside_));
  if (file.Number() < 0) Refuse(path_, errno);
  const bool written = WriteAll(file.Number(), bytes) &&
                       (!replaces || ::fchmod(file.Number(), before.st_mode & 07777) == 0) &&
                       ::fsync(file.Number()) == 0 && file.Close();
  if (written) return;
  const int error = errno;
  ::unlink(beside_.c_str());
  Refuse(path_, error);
}

TFileReplacement::TFileReplacement(TFileReplacement&& other) noexcept
    : path_(std::move(other.path_)),
      target_(std::move(other.target_)),
      beside_(std::exchange(other.beside_, {})),
      place_(other.place_) {}

TFileReplacement::~TFileReplacement() {
  if (!beside_.empty()) ::unlink(beside_.c_str());
}

void TFileReplacement::TakePlace() {
  const bool taken = place_ == TE_FilePlace::Free ? RenameToFree(beside_.c_str(), target_.c_str())
                                                  : ::rename(beside_.c_str(), target_.c_str()) == 0;
  if (!taken) Refuse(path_, errno);
  beside_.clear();
}

}  // namespace SatCommonUtils
