/// \file
/// Where points come from: complete lines of a file or of standard input.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/files.h"

namespace app {

class PointSource {
 public:
  /// No line may be as long; also the most that is held at once.
  static constexpr std::size_t LongestLine = std::size_t{16} << 20;

  /// "-" is standard input. Throws `Problem` when the file cannot be read.
  explicit PointSource(const std::string& path);

  /// What messages call the points of a path.
  static std::string NameOf(const std::string& path);
  /// Throws `Problem` when writing to `output`, unless that is empty, would replace the points.
  static void KeepFrom(const std::string& path, const std::string& output);
  /// What they call these.
  const std::string& Name() const { return name_; }
  /// Whether what is written to standard output is added to the points.
  bool IsStandardOutput() const { return IsOneFile(descriptor_, STDOUT_FILENO); }
  /// How many bytes a regular file holds, else 0.
  std::size_t Size() const;

  /// The next lines, about `wanted` bytes of them when so many are there, else as many as there are:
  /// points that somebody types, or that another program asks about, are answered as they come. The last
  /// line may have no end; nothing behind it. Valid until the next call. Throws `Problem` when a line is
  /// as long as `LongestLine`, whatever is wanted, or when reading fails.
  /// `before_waiting`, unless empty, is called before a read that would wait for somebody: whoever sent a
  /// part of a line may want the answers to those before first.
  std::optional<std::string_view> NextLines(std::size_t wanted,
                                            const std::function<void()>& before_waiting = {});

 private:
  /// Whether reading on would not wait: there is more, or the end.
  bool IsMoreWaiting() const;
  void DropGiven();
  void Grow();
  /// Reads until `goal` bytes are held or nothing more is waiting, at least one byte unless at the end.
  void ReadUntil(std::size_t goal, const std::function<void()>& before_waiting);

  FileDescriptor file_;
  int descriptor_;
  std::string name_;
  // No string: what a read will fill must not be zeroed before each.
  std::unique_ptr<char[]> text_;
  std::size_t capacity_ = 0;
  std::size_t held_ = 0;
  std::size_t given_ = 0;
  bool open_ = true;
  bool at_start_ = true;
};

}  // namespace app
