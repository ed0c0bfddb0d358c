/// \file
/// Work that a person may stop, and work that must not be.
#pragma once

#include <csignal>

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

/// Lets signals that end the program wait while it lives, so that none leaves half of a file behind.
class SignalsHeldBack {
 public:
  SignalsHeldBack();
  ~SignalsHeldBack();
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace app
