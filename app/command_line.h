/// \file
/// The program's command line as a whole.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>

#include "app/commands/commands.h"

namespace app {

/// Every command and option. The command that is given leaves what to run in `*chosen`, which must live as
/// long as the result.
std::unique_ptr<CLI::App> MakeCommandLine(Action* chosen);

}  // namespace app
