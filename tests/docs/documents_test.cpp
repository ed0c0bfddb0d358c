#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/text.h"
#include "tests/support/files.h"
#include "tests/support/records.h"

namespace {

namespace fs = std::filesystem;

const fs::path Tree = KELVANE_SOURCE_DIR;
/// The installed documents, in place of the tree's; the headers lie in a folder of their own.
const char* const Installed = std::getenv("KELVANE_INSTALLED_DOCUMENTS");
const char* const InstalledHeaders = std::getenv("KELVANE_INSTALLED_HEADERS");

std::vector<fs::path> FilesIn(const fs::path& folder, const char* suffix) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(Tree / folder))
    if (entry.path().extension() == suffix) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<fs::path> Documents() {
  if (Installed != nullptr) return FilesIn(Installed, ".md");
  std::vector<fs::path> files = FilesIn("docs", ".md");
  for (const char* name : {"README.md", "CONTRIBUTING.md", "CHANGELOG.md", "samples/README.md"})
    files.push_back(Tree / name);
  return files;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
    lines.push_back(text.substr(begin, end - begin));
  return lines;
}

bool StartsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

/// The words of a line that stand between blanks.
std::vector<std::string> Words(const std::string& line) {
  std::istringstream text(line);
  return {std::istream_iterator<std::string>(text), {}};
}

struct Document {
  std::vector<std::string> prose;
  std::vector<std::pair<std::string, std::vector<std::string>>> fences;  ///< language and lines
};

Document Read(const fs::path& path) {
  Document document;
  bool inside = false;
  for (const std::string& line : Lines(test::FileText(path))) {
    if (StartsWith(line, "```")) {
      inside = !inside;
      if (inside) document.fences.push_back({line.substr(3), {}});
    } else if (inside) {
      document.fences.back().second.push_back(line);
    } else {
      document.prose.push_back(line);
    }
  }
  EXPECT_FALSE(inside) << path << ": a fence is not closed";
  return document;
}

/// A folder with the samples, in which commands run one after another as a person types them.
class Shell {
 public:
  Shell() { fs::copy(Tree / "samples", folder_.Path("samples")); }

  /// Runs the lines that begin with "$ " and compares what they print with the lines below them.
  int Run(const fs::path& where, const std::vector<std::string>& lines) const {
    int commands = 0;
    for (std::size_t i = 0; i < lines.size();) {
      const std::string command = lines[i++].substr(2);
      std::string written;
      while (i < lines.size() && !StartsWith(lines[i], "$ ")) written += lines[i++] + "\n";
      EXPECT_EQ(OutputOf(command), written) << where << ": " << command;
      ++commands;
    }
    return commands;
  }

 private:
  std::string OutputOf(const std::string& command) const {
    const std::string script =
        folder_.Write("command", "cd '" + folder_.Path("") + "' || exit\nPATH='" +
                                     fs::path(KELVANE_PROGRAM).parent_path().string() +
                                     "':'" KELVANE_EXAMPLES "':$PATH\n" + command + "\n");
    FILE* const pipe = ::popen(("sh '" + script + "' 2>&1").c_str(), "r");
    std::string text;
    char block[4096];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, pipe)) > 0;)
      text.append(block, count);
    EXPECT_EQ(::pclose(pipe), 0) << command;
    return text;
  }

  test::ScratchFolder folder_;
};

TEST(Documents, CommandsPrintWhatIsWritten) {
  for (const fs::path& path : Documents()) {
    const Shell shell;
    int commands = 0;
    for (const auto& [language, lines] : Read(path).fences)
      if (language == "text" && !lines.empty() && StartsWith(lines[0], "$ "))
        commands += shell.Run(path, lines);
    const std::set<std::string> taught = {"README.md", "docs/guide.md", "docs/scaling.md", "docs/formats.md"};
    if (taught.count(fs::relative(path, Tree)) > 0) {
      EXPECT_GE(commands, 4) << path;
    }
  }
}

/// Of the commands that stand at the top, each exists with its options, and none is missing.
TEST(Documents, SynopsisIsThatOfTheProgram) {
  const Shell shell;
  std::string commands;
  for (const auto& [language, lines] : Read(Tree / "README.md").fences) {
    for (const std::string& line : lines) {
      const std::vector<std::string> words = Words(line.substr(0, line.find(" #")));
      if (language != "sh" || words.size() < 2 || words[0] != "kelvane") continue;
      if (!test::Contains(commands, words[1] + "\n")) commands += words[1] + "\n";
      for (const std::string& word : words) {
        const std::size_t dash = word.find_first_not_of('[');
        if (word[dash] != '-') continue;
        const std::string option = word.substr(dash, word.find(']') - dash);
        shell.Run("README.md", {"$ kelvane " + words[1] + " --help | grep -qw -e " + option});
      }
    }
  }
  std::vector<std::string> told = Lines(commands);
  told.insert(told.begin(), "$ kelvane --help | sed '1,/^Subcommands:/d' | awk 'NF { print $1 }'");
  shell.Run("README.md", told);
}

/// Each example of the manual page is a command and what it prints.
TEST(Documents, ManualsExamplesPrintWhatTheySay) {
  const fs::path manual = Tree / "docs/man/kelvane.man";
  const Shell shell;
  shell.Run(manual,
            {"$ cd samples && mv worldview3.RPB ../scene.RPB && mv worldview3_control.txt ../control.txt",
             "$ touch scene.tif && echo 848.3 806.7 > pixels.txt"});
  bool inside = false;
  std::vector<std::string> lines;
  for (std::string line : Lines(test::FileText(manual))) {
    if (StartsWith(line, ".E")) {
      inside = line == ".EX";
    } else if (inside) {
      for (const auto& [escape, plain] : {std::pair("\\(aq", "'"), std::pair("\\-", "-")})
        for (std::size_t at = 0; (at = line.find(escape, at)) != std::string::npos;)
          line.replace(at, std::string(escape).size(), plain);
      lines.push_back(line);
    }
  }
  EXPECT_EQ(shell.Run(manual, lines), 4);
}

/// A configuration that stands in a document can be read; that behind a PVL text is what becomes of it.
TEST(Documents, ConfigurationsAreWhatTheHostReads) {
  int configurations = 0;
  for (const fs::path& path : Documents()) {
    std::string expected;
    for (const auto& [language, lines] : Read(path).fences) {
      std::string text;
      for (const std::string& line : lines) text += line + "\n";
      const auto stream = new_a<TKaStringStream>(text);
      if (language == "pvl") {
        const auto out = new_a<TKaStringStream>();
        SatCommonUtils::PVLtoXML(stream, out);
        expected = out->Text() + "\n";
      } else if (language == "xml") {
        if (!expected.empty()) {
          EXPECT_EQ(text, expected) << path;
        }
        expected.clear();
        EXPECT_NO_THROW(TKaXIniStreamReader(stream, true, nullptr)) << path << ": " << text;
        ++configurations;
      }
    }
    EXPECT_EQ(expected, "") << path << ": nothing says what becomes of the last PVL text";
  }
  EXPECT_EQ(configurations, 2);
}

/// The first comment of an example has a command and what it prints; but for the one that the README shows.
TEST(Documents, ExamplesPrintWhatTheySay) {
  for (const fs::path& path : FilesIn("examples", ".cpp")) {
    std::vector<std::string> lines;
    for (const std::string& line : Lines(test::FileText(path))) {
      if (!StartsWith(line, "//")) break;
      if (!lines.empty() || StartsWith(line, "// $ "))
        lines.push_back(line.substr(std::min<std::size_t>(3, line.size())));
    }
    EXPECT_EQ(Shell().Run(path, lines), path.stem() == "project_point" ? 0 : 1) << path;
    EXPECT_LT(Lines(test::FileText(path)).size(), 60U) << path;
  }
}

std::string WithoutIndentation(const std::string& text) {
  std::string result = "\n";
  for (const std::string& line : Lines(text))
    result += line.substr(std::min(line.find_first_not_of(' '), line.size())) + "\n";
  return result;
}

TEST(Documents, CodeIsThatOfTheExamples) {
  std::string examples;
  for (const fs::path& path : FilesIn("examples", ".cpp"))
    examples += WithoutIndentation(test::FileText(path));
  for (const fs::path& path : Documents()) {
    for (const auto& [language, lines] : Read(path).fences) {
      std::string code;
      for (const std::string& line : lines) code += line + "\n";
      if (language == "cpp") {
        EXPECT_TRUE(test::Contains(examples, WithoutIndentation(code))) << path;
      }
    }
  }
}

/// Headings as the places that links lead to.
std::set<std::string> Anchors(const fs::path& path) {
  std::set<std::string> anchors;
  for (const std::string& line : Read(path).prose) {
    if (!StartsWith(line, "#")) continue;
    std::string anchor;
    for (const char c : line.substr(line.find(' ') + 1)) {
      if (c == ' ')
        anchor += '-';
      else if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_')
        anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    anchors.insert(anchor);
  }
  return anchors;
}

/// What stands between `begin` and `end` in a line, wherever it does.
std::vector<std::string> Between(const std::string& line, const std::string& begin, char end) {
  std::vector<std::string> found;
  for (std::size_t at = 0; (at = line.find(begin, at)) != std::string::npos;) {
    at += begin.size();
    const std::size_t stop = line.find(end, at);
    if (stop == std::string::npos) break;
    found.push_back(line.substr(at, stop - at));
    at = stop + 1;
  }
  return found;
}

/// Where paths begin: in the tree, or among what is installed.
fs::path Root(const std::string& first) {
  if (Installed == nullptr) return Tree;
  return fs::is_directory(Installed / fs::path(first)) ? Installed : InstalledHeaders;
}

/// Whether a word names a file or folder: in a folder that there is.
bool IsPath(const std::string& text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos || slash == 0 || text.find_first_of(" *<:$") != std::string::npos)
    return false;
  const std::string first = text.substr(0, slash);
  return first != "build" && fs::is_directory(Root(first) / first);
}

TEST(Documents, LinksAndPathsLeadSomewhere) {
  int links = 0;
  int paths = 0;
  const auto check = [&](const fs::path& document, const std::string& word) {
    if (!IsPath(word)) return;
    EXPECT_TRUE(fs::exists(Root(word.substr(0, word.find('/'))) / word)) << document << ": " << word;
    ++paths;
  };
  for (const fs::path& path : Documents()) {
    const Document document = Read(path);
    for (const std::string& line : document.prose) {
      for (const std::string& link : Between(line, "](", ')')) {
        if (StartsWith(link, "http")) continue;
        const std::size_t mark = std::min(link.find('#'), link.size());
        const fs::path target = mark == 0 ? path : path.parent_path() / link.substr(0, mark);
        EXPECT_TRUE(fs::exists(target)) << path << ": " << link;
        if (mark < link.size()) {
          EXPECT_EQ(Anchors(target).count(link.substr(mark + 1)), 1U) << path << ": " << link;
        }
        ++links;
      }
      for (const std::string& text : Between(line, "`", '`')) check(path, text);
    }
    for (const auto& [language, lines] : document.fences)
      for (const std::string& line : lines)
        if (language == "sh" && Installed == nullptr)
          for (const std::string& word : Words(line)) check(path, word);
  }
  EXPECT_GT(links, Installed == nullptr ? 15 : 5);
  EXPECT_GT(paths, Installed == nullptr ? 30 : 10);
}

}  // namespace
