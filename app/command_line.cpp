#include "app/command_line.h"

#include <string>

#include "host/quoted_text.h"
#include "host/runtime.h"
#include "kelvane/module/host/runtime.h"
#include "kelvane/module/version.h"
#include "kelvane/numeric/simd_target.h"

namespace app {

namespace {

/// What a report of a fault should tell: the program may have met another library than it was built with.
std::string Version() {
  std::string others;
  for (const std::string& target : SatCommonUtils::SimdTargets()) {
    if (target != SatCommonUtils::SimdTarget()) others += (others.empty() ? " (also: " : " ") + target;
  }
  if (!others.empty()) others += ')';
  return std::string("kelvane " KELVANE_VERSION "\nlibrary       ") + SatCommonUtils::KelvaneVersion() +
         "\nhost          " + KaHostName() + "\ninstructions  " + SatCommonUtils::SimdTarget() + others +
         "\nthreads       " + std::to_string(KaGetThreadsCount());
}

}  // namespace

std::unique_ptr<CLI::App> MakeCommandLine(Action* chosen) {
  auto program = std::make_unique<CLI::App>(
      "Rational polynomial camera models of satellite images, from the shell.", "kelvane");
  program->set_version_flag("--version", Version,
                            "Print the versions and what the program runs on, and exit");
  program->require_subcommand(1);
  program->failure_message([](const CLI::App* failed, const CLI::Error& error) {
    const auto commands = failed->get_subcommands();
    const std::string command = commands.empty() ? "" : commands.front()->get_name() + ' ';
    return "kelvane: " + KaPrintable(error.what()) + " (kelvane " + command + "--help tells more)\n";
  });
  AddInfoCommand(program.get(), chosen);
  AddProjectCommand(program.get(), chosen);
  AddLocateCommand(program.get(), chosen);
  AddIntersectCommand(program.get(), chosen);
  AddFitCommand(program.get(), chosen);
  AddInvertCommand(program.get(), chosen);
  AddRefineCommand(program.get(), chosen);
  AddExportCommand(program.get(), chosen);
  AddConvertCommand(program.get(), chosen);
  return program;
}

}  // namespace app
