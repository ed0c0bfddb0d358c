/// \file
/// The program's manual, written from its command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace app {

std::vector<const CLI::App*> CommandsOf(const CLI::App& program);

/// Options with a name, or without one: the arguments.
std::vector<const CLI::Option*> NamedOptions(const CLI::App& command);
std::vector<const CLI::Option*> Arguments(const CLI::App& command);

/// All names of an option, dashes included.
std::vector<std::string> NamesOf(const CLI::Option& option);

/// What stands for an option's value in texts, such as "FILE" or "center|corner"; empty when it takes none.
std::string ValueName(const CLI::Option& option);

/// The page of the program, as man(7) source. `common` is its middle: what holds for all commands.
std::string ProgramPage(const CLI::App& program, const std::string& common);

/// The page of one command.
std::string CommandPage(const CLI::App& program, const CLI::App& command);

/// The completion of command lines in bash.
std::string BashCompletion(const CLI::App& program);

}  // namespace app
