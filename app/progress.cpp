#include "app/progress.h"

#include <unistd.h>

#include <cstdio>

namespace app {

Progress::Progress(std::size_t total, bool wanted)
    : total_(total), wanted_(wanted && isatty(STDERR_FILENO) == 1) {}

bool Progress::IsOutputShown() { return isatty(STDOUT_FILENO) == 1; }

Progress::~Progress() { Wipe(); }

void Progress::Update(std::size_t done, std::size_t points) {
  constexpr std::chrono::milliseconds Interval(250);
  if (!wanted_) return;
  const Clock::time_point now = Clock::now();
  if (now - last_ < Interval) return;
  last_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::fputc('\r', stderr);
  if (total_ > 0) {
    std::fprintf(stderr, "%3.0f %%  ", 100.0 * static_cast<double>(done) / static_cast<double>(total_));
  }
  if (points > 0) {
    std::fprintf(stderr, "%zu points, %.0f a second   ", points, static_cast<double>(points) / seconds);
  }
  drawn_ = true;
}

void Progress::Wipe() {
  if (drawn_) std::fprintf(stderr, "\r%60s\r", "");
  drawn_ = false;
}

}  // namespace app
