#include "app/interrupt.h"

#include <csignal>
#include <cstddef>
#include <iterator>

namespace app {

namespace {

constexpr int Watched[] = {SIGINT, SIGTERM};

volatile std::sig_atomic_t interrupted = 0;

void Note(int signal) {
  interrupted = 1;
  std::signal(signal, SIG_DFL);
}

}  // namespace

InterruptWatch::InterruptWatch() {
  interrupted = 0;
  for (std::size_t i = 0; i < std::size(Watched); ++i) {
    before_[i] = std::signal(Watched[i], Note);
    // Who started the program wants it left alone.
    if (before_[i] == SIG_IGN) std::signal(Watched[i], SIG_IGN);
  }
}

InterruptWatch::~InterruptWatch() {
  for (std::size_t i = 0; i < std::size(Watched); ++i) std::signal(Watched[i], before_[i]);
}

bool InterruptWatch::IsInterrupted() { return interrupted != 0; }

SignalsHeldBack::SignalsHeldBack() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

SignalsHeldBack::~SignalsHeldBack() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace app
