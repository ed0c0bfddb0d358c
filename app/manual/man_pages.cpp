#include <algorithm>
#include <string_view>

#include "app/manual/manual.h"

namespace app {

namespace {

/// Text as man(7) shows it unchanged: no hyphenated dashes, no line that is taken for a request.
std::string Roff(std::string_view text) {
  std::string source;
  for (const char c : text) {
    if (c == '\\') {
      source += "\\e";
    } else if (c == '-') {
      source += "\\-";
    } else {
      source += c;
    }
  }
  return (source.rfind('.', 0) == 0 || source.rfind('\'', 0) == 0 ? "\\&" : "") + source;
}

std::string Bold(std::string_view text) { return "\\fB" + Roff(text) + "\\fR"; }
std::string Italic(std::string_view text) { return "\\fI" + Roff(text) + "\\fR"; }

/// Without a date: the same sources give the same page.
std::string Heading(std::string name, const std::string& what) {
  const std::string page = Roff(name);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return ".TH " + Roff(name) + " 1 \"\" \"Kelvane " KELVANE_VERSION "\" \"User Commands\"\n.SH NAME\n" +
         page + " \\- " + Roff(what) + '\n';
}

/// A value's own words stand as they are given; a word in capitals stands for another.
std::string Value(const CLI::Option& option) {
  const std::string name = ValueName(option);
  if (name.empty()) return "";
  return ' ' + (name.find('|') == std::string::npos ? Italic(name) : Bold(name));
}

std::string Argument(const CLI::Option& argument) {
  const std::string repeated = argument.get_items_expected_max() > 1 ? " ..." : "";
  const std::string shown = Italic(argument.get_name(true)) + repeated;
  return argument.get_required() ? shown : '[' + shown + ']';
}

std::string Synopsis(const std::string& name, const CLI::App& command) {
  std::string line = Bold(name) + " [" + Italic("options") + ']';
  for (const CLI::Option* option : NamedOptions(command)) {
    if (option->get_required()) line += ' ' + Bold(NamesOf(*option).front()) + Value(*option);
  }
  for (const CLI::Option* argument : Arguments(command)) line += ' ' + Argument(*argument);
  return ".SH SYNOPSIS\n" + line + '\n';
}

std::string Described(const std::string& tag, const CLI::Option& option) {
  std::string text = ".TP\n" + tag + '\n' + Roff(option.get_description()) + ".\n";
  for (const CLI::Option* other : option.get_excludes()) {
    const bool named = !other->get_positional();
    const std::string name = named ? NamesOf(*other).back() : other->get_name(true);
    text += "Not together with " + (named ? Bold(name) : Italic(name)) + ".\n";
  }
  return text;
}

std::string OptionItems(const CLI::App& command) {
  std::string text = ".SH OPTIONS\n";
  for (const CLI::Option* option : NamedOptions(command)) {
    std::string tag;
    for (const std::string& name : NamesOf(*option)) tag += (tag.empty() ? "" : ", ") + Bold(name);
    text += Described(tag + Value(*option), *option);
  }
  return text;
}

}  // namespace

std::string ProgramPage(const CLI::App& program, const std::string& common) {
  std::string what = program.get_description();
  if (what.back() == '.') what.pop_back();
  std::string page = Heading("kelvane", what) + ".SH SYNOPSIS\n" + Bold("kelvane") + ' ' + Italic("command") +
                     " [" + Italic("options") + "] [" + Italic("arguments") + "]\n.SH COMMANDS\n";
  std::string see_also;
  for (const CLI::App* command : CommandsOf(program)) {
    const std::string name = "kelvane-" + command->get_name();
    page += ".TP\n" + Bold(name) + "(1)\n" + Roff(command->get_description()) + ".\n";
    see_also += (see_also.empty() ? "" : ",\n") + Bold(name) + "(1)";
  }
  return page + OptionItems(program) + common + ".SH SEE ALSO\n" + see_also + '\n';
}

std::string CommandPage(const CLI::App& program, const CLI::App& command) {
  const std::string name = program.get_name() + ' ' + command.get_name();
  std::string page = Heading("kelvane-" + command.get_name(), command.get_description()) +
                     Synopsis(name, command) + ".SH DESCRIPTION\n" + Roff(command.get_description()) + ".\n";
  for (const CLI::Option* argument : Arguments(command)) {
    page += Described(Italic(argument->get_name(true)), *argument);
  }
  return page + OptionItems(command) + ".SH SEE ALSO\n" + Bold(program.get_name()) +
         "(1), which tells what all commands have in common\n";
}

}  // namespace app
