#include "app/program.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include "app/command_line.h"
#include "app/problem.h"
#include "host/quoted_text.h"
#include "kelvane/module/module.h"
#include "kelvane/numeric/simd_target.h"

namespace app {

namespace {

/// Starts the library for as long as it lives.
class Module {
 public:
  Module() { Init_Kelvane(); }
  ~Module() { Deinit_Kelvane(); }
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
};

int Fail(const std::string& text) {
  std::fprintf(stderr, "kelvane: %s\n", KaPrintable(text).c_str());
  return Unusable;
}

/// Standard streams that are closed must not be given to the next files that are opened: a message would land
/// in a model. They stay unusable, so that what is written there is seen to be lost.
void HoldStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest free number is given out first.
    if (::fcntl(descriptor, F_GETFD) < 0)
      ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

/// Runs the command, and makes sure that what it printed arrived.
int Run(const Action& action) {
  const Module module;
  const int status = action();
  if (std::fflush(stdout) != 0) throw SystemProblem("standard output");
  return status;
}

/// Whoever forces instructions wants to know when he does not get them.
void RefuseUnknownInstructions() {
  const char* const asked = std::getenv(SatCommonUtils::SimdTargetVariable);
  if (asked == nullptr || *asked == '\0') return;
  std::string known;
  for (const std::string& target : SatCommonUtils::SimdTargets()) {
    if (target == asked) return;
    known += ' ' + target;
  }
  throw Problem(std::string(SatCommonUtils::SimdTargetVariable) + "=" + asked +
                ": this machine has no such instructions; it has:" + known);
}

/// Left to itself, the parser says of an unknown command only that one is required.
void RefuseUnknownCommand(const CLI::App& program, int argc, char** argv) {
  if (argc < 2 || argv[1][0] == '-') return;
  std::string known;
  for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; })) {
    if (command->get_name() == argv[1]) return;
    known += ' ' + command->get_name();
  }
  throw CLI::ParseError(KaQuoted(argv[1]) + " is no command; there are:" + known,
                        CLI::ExitCodes::ExtrasError);
}

int RunCommand(int argc, char** argv) {
  Action action;
  const std::unique_ptr<CLI::App> program = MakeCommandLine(&action);
  try {
    RefuseUnknownCommand(*program, argc, argv);
    program->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (program->exit(error) != 0) return Unusable;
    if (!std::cout.flush()) throw SystemProblem("standard output");
    return AllComputed;
  }
  RefuseUnknownInstructions();
  return Run(action);
}

}  // namespace

int RunProgram(int argc, char** argv) try {
  // A file that grows past its limit is a failed write with a reason, not a sudden end.
  std::signal(SIGXFSZ, SIG_IGN);
  HoldStandardStreams();
  return RunCommand(argc, argv);
} catch (const std::bad_alloc&) {
  return Fail("out of memory");
} catch (const std::exception& failure) {
  return Fail(failure.what());
} catch (...) {
  return Fail("failed for an unknown reason");
}

}  // namespace app
