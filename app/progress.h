/// \file
/// A line on the terminal that tells how far a long run has come.
#pragma once

#include <chrono>
#include <cstddef>

namespace app {

/// Draws on standard error, and only when that is a terminal; the line is wiped at the end.
class Progress {
 public:
  /// `total` bytes, or steps of another kind, are expected; 0 when nobody knows.
  /// Among answers that go to the same terminal the line is not wanted.
  Progress(std::size_t total, bool wanted);
  /// Whether standard output goes to a terminal.
  static bool IsOutputShown();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Tells that so much of the total, and so many points, are done; 0 points are not told. Cheap: draws a few
  /// times a second at most.
  void Update(std::size_t done, std::size_t points);
  /// Wipes the line, so that a message can stand there.
  void Wipe();

 private:
  using Clock = std::chrono::steady_clock;

  std::size_t total_;
  bool wanted_;
  bool drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_ = start_;
};

}  // namespace app
