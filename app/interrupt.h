/// \file
/// Long work that a person may stop.
#pragma once

namespace app {

/// While it lives, an interrupt (Ctrl-C) or a request to end is noted instead of ending the program, so that
/// the work can stop where it leaves nothing half done. A second one ends it.
class InterruptWatch {
 public:
  InterruptWatch();
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  /// Whether one has come.
  static bool IsInterrupted();

 private:
  using Handler = void (*)(int);
  Handler before_[2];
};

}  // namespace app
