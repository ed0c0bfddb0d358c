/// \file
/// The program at the other end of two pipes.
#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace test {

/// Runs the program while it lives, and ends it.
class Conversation {
 public:
  explicit Conversation(std::vector<std::string> arguments) {
    int to[2];
    int from[2];
    if (::pipe(to) != 0 || ::pipe(from) != 0) return;
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(to[0], STDIN_FILENO);
      ::dup2(from[1], STDOUT_FILENO);
      for (const int end : {to[0], to[1], from[0], from[1]}) ::close(end);
      // Tests that run in the background are told to ignore it.
      std::signal(SIGINT, SIG_DFL);
      arguments.insert(arguments.begin(), KELVANE_PROGRAM);
      std::vector<char*> argv;
      for (std::string& argument : arguments) argv.push_back(argument.data());
      argv.push_back(nullptr);
      ::execv(KELVANE_PROGRAM, argv.data());
      ::_exit(127);
    }
    ::close(to[0]);
    ::close(from[1]);
    to_ = to[1];
    from_ = from[0];
  }
  ~Conversation() {
    Signal(SIGKILL);
    WaitForEnd();
    ::close(to_);
    ::close(from_);
  }
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  /// Sends the text, and takes what comes until there are `wanted` bytes, or none for a long time.
  std::string Ask(const std::string& text, std::size_t wanted) {
    constexpr int LongTime = 10000;  // milliseconds
    std::thread sender([&] { Tell(text); });
    std::string answers;
    pollfd state = {from_, POLLIN, 0};
    while (answers.size() < wanted && ::poll(&state, 1, LongTime) == 1) {
      char buffer[65536];
      const ssize_t count = ::read(from_, buffer, sizeof buffer);
      if (count <= 0) break;
      answers.append(buffer, static_cast<std::size_t>(count));
    }
    sender.join();
    return answers;
  }

  /// Sends the text, and waits for nothing.
  void Tell(const std::string& text) const {
    for (std::size_t sent = 0; sent < text.size();) {
      const ssize_t count = ::write(to_, text.data() + sent, text.size() - sent);
      if (count <= 0) return;
      sent += static_cast<std::size_t>(count);
    }
  }
  void Signal(int signal) const {
    if (child_ > 0) ::kill(child_, signal);
  }
  /// What `waitpid` tells once the program has ended.
  int WaitForEnd() {
    int state = 0;
    if (child_ > 0) ::waitpid(std::exchange(child_, -1), &state, 0);
    return state;
  }
  /// Nobody reads the answers any more.
  void StopListening() { ::close(std::exchange(from_, -1)); }

 private:
  pid_t child_ = -1;
  int to_ = -1;
  int from_ = -1;
};

}  // namespace test
