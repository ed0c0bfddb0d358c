/// \file
/// Files and texts that tests make.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace test {

/// A folder of its own, removed at the end.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = testing::TempDir() + "kelvane.XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream file(Path(name), std::ios::binary);
    file << text;
    EXPECT_TRUE(file.flush()) << Path(name);
    return Path(name);
  }

 private:
  std::string path_;
};

/// The text with the first `from` in it replaced; there must be one.
inline std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

inline testing::AssertionResult Contains(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << '"' << text << "\" lacks \"" << part << '"';
}

}  // namespace test
