#include "app/manual/manual.h"

namespace app {

namespace {

std::vector<const CLI::Option*> OptionsOf(const CLI::App& command, bool positional) {
  return command.get_options(
      [=](const CLI::Option* option) { return option->get_positional() == positional; });
}

}  // namespace

std::vector<const CLI::App*> CommandsOf(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App*) { return true; });
}

std::vector<const CLI::Option*> NamedOptions(const CLI::App& command) { return OptionsOf(command, false); }

std::vector<const CLI::Option*> Arguments(const CLI::App& command) { return OptionsOf(command, true); }

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back('-' + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::string ValueName(const CLI::Option& option) {
  return option.get_type_size_max() == 0 ? "" : option.get_type_name();
}

}  // namespace app
