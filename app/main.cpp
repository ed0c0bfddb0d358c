/// The program `kelvane`: a small host application over the library.
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

#include "app/commands/commands.h"
#include "app/problem.h"
#include "kelvane/module/module.h"

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
  std::fprintf(stderr, "kelvane: %s\n", text.c_str());
  return app::Unusable;
}

/// Runs the command, and makes sure that what it printed arrived.
int Run(const app::Action& action) {
  const Module module;
  const int status = action();
  if (std::fflush(stdout) != 0) throw app::SystemProblem("standard output");
  return status;
}

int Main(int argc, char** argv) {
  CLI::App program("Rational polynomial camera models of satellite images, from the shell.", "kelvane");
  program.set_version_flag("--version", "kelvane " KELVANE_VERSION);
  program.require_subcommand(1);
  program.failure_message([](const CLI::App*, const CLI::Error& error) {
    return "kelvane: " + std::string(error.what()) + " (kelvane --help tells more)\n";
  });
  app::Action action;
  app::AddInfoCommand(&program, &action);
  app::AddProjectCommand(&program, &action);
  app::AddConvertCommand(&program, &action);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? app::AllComputed : app::Unusable;
  }
  return Run(action);
}

}  // namespace

int main(int argc, char** argv) try {
  // A file that grows past its limit is a failed write with a reason, not a sudden end.
  std::signal(SIGXFSZ, SIG_IGN);
  return Main(argc, argv);
} catch (const std::bad_alloc&) {
  return Fail("out of memory");
} catch (const std::exception& failure) {
  return Fail(failure.what());
} catch (...) {
  return Fail("failed for an unknown reason");
}
