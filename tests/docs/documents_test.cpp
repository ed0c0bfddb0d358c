#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>
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
class Session {
 public:
  Session() { fs::copy(Tree / "samples", folder_.Path("samples")); }

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
    const Session session;
    int commands = 0;
    for (const auto& [language, lines] : Read(path).fences)
      if (language == "text" && !lines.empty() && StartsWith(lines[0], "$ "))
        commands += session.Run(path, lines);
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
    EXPECT_EQ(Session().Run(path, lines), path.stem() == "project_point" ? 0 : 1) << path;
    EXPECT_LT(Lines(test::FileText(path)).size(), 60U) << path;
  }
}

std::string WithoutIndentation(const std::string& text) {
  return std::regex_replace(text, std::regex("\n +"), "\n");
}

TEST(Documents, CodeIsThatOfTheExamples) {
  std::string examples;
  for (const fs::path& path : FilesIn("examples", ".cpp"))
    examples += "\n" + WithoutIndentation(test::FileText(path));
  for (const fs::path& path : Documents()) {
    for (const auto& [language, lines] : Read(path).fences) {
      std::string code = "\n";
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

TEST(Documents, LinksAndPathsLeadSomewhere) {
  const std::regex link(R"(\[[^\]]*\]\(([^)#]*)#?([^)]*)\))");
  const std::regex named(
      "`((app|bench|cmake|docs|examples|host|kelvane|samples|scripts|tests)/[A-Za-z0-9_./-]*)`");
  int links = 0;
  for (const fs::path& path : Documents()) {
    for (const std::string& line : Read(path).prose) {
      for (std::sregex_iterator found(line.begin(), line.end(), link), end; found != end; ++found) {
        if (StartsWith((*found)[1], "http")) continue;
        const fs::path target = found->length(1) == 0 ? path : path.parent_path() / (*found)[1].str();
        EXPECT_TRUE(fs::exists(target)) << path << ": " << found->str();
        if (found->length(2) > 0) {
          EXPECT_EQ(Anchors(target).count((*found)[2]), 1U) << path << ": " << found->str();
        }
        ++links;
      }
      for (std::sregex_iterator found(line.begin(), line.end(), named), end; found != end; ++found)
        EXPECT_TRUE(fs::exists(Tree / (*found)[1].str())) << path << ": " << found->str();
    }
  }
  EXPECT_GT(links, 5);
}

}  // namespace
