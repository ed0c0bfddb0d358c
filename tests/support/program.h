/// \file
/// Runs the program `kelvane` as a person would, and keeps what it printed.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/records.h"

namespace test {

/// The model that most commands are tried on.
inline const std::string WorldView = SamplePath("worldview3.RPB");

/// Points for the program: numbers as it reads them, whatever the locale of the tests, and with all digits.
class PointText : public std::ostringstream {
 public:
  PointText() {
    imbue(std::locale::classic());
    precision(17);
  }
};

/// What the program printed, number by number.
class PrintedNumbers : public std::istringstream {
 public:
  explicit PrintedNumbers(const std::string& text) : std::istringstream(text) {
    imbue(std::locale::classic());
  }
};

struct Outcome {
  int status = -1;  ///< exit status; -1 when the program was ended by a signal
  std::string out;
  std::string err;
};

struct RunOptions {
  std::string input;                    ///< what stands on standard input
  rlim_t largest_file = RLIM_INFINITY;  ///< bytes that the program may write to one file
  std::string out_path;                 ///< where standard output goes, when not to be kept
  bool adds = false;                    ///< at its end, what stands there stays
  std::vector<int> closed;              ///< standard streams that are not there
};

inline Outcome RunKelvane(const std::vector<std::string>& arguments, const RunOptions& options = {}) {
  const ScratchFolder folder;
  const std::string in = folder.Write("in", options.input);
  const std::string out = options.out_path.empty() ? folder.Path("out") : options.out_path;
  const pid_t child = ::fork();
  if (child == 0) {
    std::vector<std::string> all = {KELVANE_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : all) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const rlimit limit = {options.largest_file, options.largest_file};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const bool redirected = std::freopen(in.c_str(), "rb", stdin) != nullptr &&
                            std::freopen(out.c_str(), options.adds ? "ab" : "wb", stdout) != nullptr &&
                            std::freopen(folder.Path("err").c_str(), "wb", stderr) != nullptr;
    for (const int descriptor : options.closed) ::close(descriptor);
    if (redirected) ::execv(KELVANE_PROGRAM, argv.data());
    ::_exit(127);
  }
  int state = 0;
  ::waitpid(child, &state, 0);
  Outcome outcome;
  if (WIFEXITED(state)) outcome.status = WEXITSTATUS(state);
  if (options.out_path.empty()) outcome.out = FileText(out);
  outcome.err = FileText(folder.Path("err"));
  return outcome;
}

inline Outcome RunKelvane(const std::vector<std::string>& arguments, const std::string& input) {
  RunOptions options;
  options.input = input;
  return RunKelvane(arguments, options);
}

}  // namespace test
