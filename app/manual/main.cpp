/// Writes the manual of the program `kelvane`: kelvane-manual COMMON_TEXT FOLDER
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "app/command_line.h"
#include "app/manual/manual.h"

namespace {

std::string ReadText(const std::string& path) {
  std::ostringstream text;
  if (!(text << std::ifstream(path).rdbuf())) throw std::runtime_error(path + ": cannot be read");
  return text.str();
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  if (!file) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) throw std::runtime_error("usage: kelvane-manual COMMON_TEXT FOLDER");
  const std::string folder = argv[2];
  app::Action unused;
  const auto program = app::MakeCommandLine(&unused);
  WriteText(folder + "/man1/kelvane.1", app::ProgramPage(*program, ReadText(argv[1])));
  for (const CLI::App* command : app::CommandsOf(*program)) {
    WriteText(folder + "/man1/kelvane-" + command->get_name() + ".1", app::CommandPage(*program, *command));
  }
  WriteText(folder + "/kelvane.bash", app::BashCompletion(*program));
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "kelvane-manual: %s\n", failure.what());
  return 1;
}
