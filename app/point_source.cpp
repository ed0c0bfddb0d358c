#include "app/point_source.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "app/problem.h"
#include "app/text_start.h"
#include "host/quoted_text.h"

namespace app {

PointSource::PointSource(const std::string& path)
    : file_(path == "-" ? FileDescriptor() : OpenForReading(path)),
      descriptor_(path == "-" ? STDIN_FILENO : file_.Number()),
      name_(NameOf(path)) {}

std::string PointSource::NameOf(const std::string& path) { return path == "-" ? "stdin" : KaPrintable(path); }

void PointSource::KeepFrom(const std::string& path, const std::string& output) {
  if (output.empty()) return;
  if (!(path == "-" ? IsOneFile(STDIN_FILENO, output) : IsOneFile(path, output))) return;
  throw Problem(output + ": the points are read from this file; it is not replaced");
}

std::size_t PointSource::Size() const {
  struct stat status {};
  const bool known = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
  return known ? static_cast<std::size_t>(status.st_size) : 0;
}

bool PointSource::IsMoreWaiting() const {
  pollfd state = {descriptor_, POLLIN, 0};
  return ::poll(&state, 1, 0) == 1;
}

void PointSource::DropGiven() {
  held_ -= given_;
  if (held_ > 0) std::memmove(text_.get(), text_.get() + given_, held_);
  given_ = 0;
}

void PointSource::Grow() {
  constexpr std::size_t First = 65536;
  capacity_ = std::min(std::max(2 * capacity_, First), LongestLine);
  std::unique_ptr<char[]> larger(new char[capacity_]);
  if (held_ > 0) std::memcpy(larger.get(), text_.get(), held_);
  text_ = std::move(larger);
}

void PointSource::ReadUntil(std::size_t goal, const std::function<void()>& before_waiting) {
  const std::size_t before = held_;
  while (open_ && held_ < goal) {
    if (!IsMoreWaiting()) {
      if (held_ != before) break;
      if (before_waiting) before_waiting();
    }
    if (held_ == capacity_) Grow();
    const std::size_t room = std::min(capacity_, goal) - held_;
    const std::size_t count = ReadSome(descriptor_, text_.get() + held_, room, name_);
    open_ = count > 0;
    held_ += count;
  }
}

std::optional<std::string_view> PointSource::NextLines(std::size_t wanted,
                                                       const std::function<void()>& before_waiting) {
  DropGiven();
  while (open_ && given_ == 0) {
    if (held_ == LongestLine) throw Problem(name_ + ": a line of 16 MiB or more");
    const std::size_t before = held_;
    const std::size_t goal = held_ < wanted ? wanted : held_ + wanted;
    ReadUntil(std::min(goal, LongestLine), before_waiting);
    // What was held before is the beginning of a line.
    const std::size_t end = std::string_view(text_.get() + before, held_ - before).rfind('\n');
    if (end != std::string_view::npos) given_ = before + end + 1;
  }
  if (!open_) given_ = held_;
  if (given_ == 0) return std::nullopt;
  const std::string_view lines(text_.get(), given_);
  return std::exchange(at_start_, false) ? WithoutByteOrderMark(lines) : lines;
}

}  // namespace app
