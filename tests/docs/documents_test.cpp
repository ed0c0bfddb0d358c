#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/records.h"

namespace {

namespace fs = std::filesystem;

const fs::path Tree = KELVANE_SOURCE_DIR;

std::vector<fs::path> FilesIn(const char* folder, const char* suffix) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(Tree / folder))
    if (entry.path().extension() == suffix) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<fs::path> Documents() {
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

/// Whether a text in backticks names a file or folder of the tree: one word, in a folder that the tree has.
bool IsPath(const std::string& text) {
  const std::size_t slash = text.find('/');
  return slash != std::string::npos && text.find_first_of(" *<:$") == std::string::npos && slash > 0 &&
         text.substr(0, slash) != "build" && fs::is_directory(Tree / text.substr(0, slash));
}

TEST(Documents, LinksAndPathsLeadSomewhere) {
  int links = 0;
  int paths = 0;
  for (const fs::path& path : Documents()) {
    for (const std::string& line : Read(path).prose) {
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
      for (const std::string& text : Between(line, "`", '`')) {
        if (!IsPath(text)) continue;
        EXPECT_TRUE(fs::exists(Tree / text)) << path << ": " << text;
        ++paths;
      }
    }
  }
  EXPECT_GT(links, 15);
  EXPECT_GT(paths, 30);
}

}  // namespace
