#include "app/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace app {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void Note(int signal) {
  interrupted = 1;
  std::signal(signal, SIG_DFL);
}

}  // namespace

InterruptWatch::InterruptWatch() {
  interrupted = 0;
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, Note);
}

InterruptWatch::~InterruptWatch() {
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, SIG_DFL);
}

bool InterruptWatch::IsInterrupted() { return interrupted != 0; }

}  // namespace app
