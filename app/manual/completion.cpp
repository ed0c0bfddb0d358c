#include <algorithm>

#include "app/manual/manual.h"

namespace app {

namespace {

constexpr char Beginning[] = R"(# Completes command lines of kelvane in bash.
_kelvane() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command=${COMP_WORDS[1]} options= values=
  # "--option=value" comes as three words.
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
)";

constexpr char End[] = R"(  if [[ -n $values || $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${values:-$options}" -- "$word")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
} &&
  complete -F _kelvane kelvane
)";

/// A branch of a "case": what it sets, in words without quotes.
std::string Branch(const std::string& pattern, const std::string& action) {
  return "    " + pattern + ") " + action + " ;;\n";
}

std::string Options(const CLI::App& command) {
  std::string names;
  for (const CLI::Option* option : NamedOptions(command)) {
    for (const std::string& name : NamesOf(*option)) names += (names.empty() ? "" : " ") + name;
  }
  return names;
}

/// Of an option that takes a value: the values to choose from, files, or nothing that could be known.
std::string ValueBranch(const CLI::App& command, const CLI::Option& option) {
  std::string value = ValueName(option);
  if (value.empty()) return "";
  std::string pattern;
  for (const std::string& name : NamesOf(option)) {
    pattern += (pattern.empty() ? "'" : " | '") + command.get_name() + ' ' + name + '\'';
  }
  if (value == "FILE") return Branch(pattern, "[[ $word != -* ]] || return");
  if (value.find('|') == std::string::npos) return Branch(pattern, "return");
  std::replace(value.begin(), value.end(), '|', ' ');
  return Branch(pattern, "values='" + value + '\'');
}

}  // namespace

std::string BashCompletion(const CLI::App& program) {
  std::string commands;
  std::string options;
  std::string values;
  for (const CLI::App* command : CommandsOf(program)) {
    commands += command->get_name() + ' ';
    options += Branch(command->get_name(), "options='" + Options(*command) + '\'');
    for (const CLI::Option* option : NamedOptions(*command)) values += ValueBranch(*command, *option);
  }
  return std::string(Beginning) + "  if ((COMP_CWORD == 1)); then\n    values='" + commands +
         Options(program) + "'\n    command=\n  fi\n  case $command in\n" + options +
         "  esac\n  case \"$command $before\" in\n" + values + "  esac\n" + End;
}

}  // namespace app
