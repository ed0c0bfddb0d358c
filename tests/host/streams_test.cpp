#include <sys/stat.h>

#include "host_testing.h"

namespace {

const std::string Mark = "\xEF\xBB\xBF";
constexpr auto OpenBoth = static_cast<kaOpenMode>(kaOpenForRead | kaOpenForWrite | kaOpenExisting);

std::vector<std::string> Lines(TKaStream& stream, std::size_t capacity) {
  std::vector<std::string> lines;
  std::vector<char> buffer(capacity, 'x');
  while (!stream.AtEnd()) {
    const std::size_t length = stream.ReadLine(buffer.data(), capacity);
    EXPECT_EQ(buffer[length], '\0');
    lines.emplace_back(buffer.data(), length);
  }
  return lines;
}

void ExpectLines(const std::string& text, std::size_t capacity, const std::vector<std::string>& lines) {
  TKaStringStream memory(text);
  EXPECT_EQ(Lines(memory, capacity), lines);
  const test::ScratchFolder folder;
  TKaFileStream file(TKaPath(folder.Write("file", text)), kaOpenRead, kaShareAll);
  EXPECT_EQ(Lines(file, capacity), lines);
  EXPECT_TRUE(file.IsReady());
}

TEST(Streams, LinesEndInEveryWay) {
  ExpectLines("a\nb\r\nc\r\r\nd", 10, {"a", "b", "c", "d"});
  ExpectLines("\n\r\n\r\r\n\r\r\r\n", 10, {"", "", "", "\r"});
  ExpectLines("a\rb\n\rc\r\r", 10, {"a\rb", "\rc\r\r"});
  ExpectLines(Mark + "a\n" + Mark + "\n", 10, {"a", Mark});
  ExpectLines("\xEF\xBB", 10, {"\xEF\xBB"});
  ExpectLines(std::string("a\0b\n", 4), 10, {std::string("a\0b", 3)});
  ExpectLines("", 10, {});
}

TEST(Streams, LongLinesAreCutAndLinesAcrossTheBufferAreNot) {
  ExpectLines("abc\r\nabcd\r\nab\rd\nabc\r\r\n", 4, {"abc", "abc", "ab\r", "abc"});
  ExpectLines("abc\nd\n", 1, {"", ""});
  for (std::size_t size = 65530; size <= 65540; ++size) {
    const std::string line(size, 'l');
    ExpectLines(line + "\r\r\n" + line + "\r\n" + line, 100000, {line, line, line});
  }
  ExpectLines(std::string(3000000, 'x') + "\ny", 3, {"xx", "y"});
}

TEST(Streams, ReadingAndWritingHaveTheirOwnPositions) {
  const test::ScratchFolder folder;
  TKaFileStream file(TKaPath(folder.Write("file", "0123")), OpenBoth, kaShareNone);
  TKaStringStream memory("0123");
  for (TKaStream* stream : {static_cast<TKaStream*>(&file), static_cast<TKaStream*>(&memory)}) {
    char bytes[16] = {};
    EXPECT_EQ(stream->Read(bytes, 2), 2U);
    EXPECT_EQ(stream->Write("45", 2), 2U);
    EXPECT_EQ(stream->Read(bytes + 2, 10), 4U);
    EXPECT_STREQ(bytes, "012345");
    EXPECT_TRUE(stream->AtEnd());
    EXPECT_EQ(stream->Write("6", 1), 1U);
    EXPECT_FALSE(stream->AtEnd());
    EXPECT_TRUE(stream->Rewind());
    EXPECT_EQ(stream->Read(bytes, 16), 7U);
  }
  EXPECT_TRUE(file.Close());
  EXPECT_FALSE(file.IsReady());
  EXPECT_TRUE(file.AtEnd());
}

TEST(Streams, OpenModesDecideWhatHappensToTheFile) {
  const test::ScratchFolder folder;
  const TKaPath missing(folder.Path("missing"));
  const TKaPath present(folder.Write("file", "old"));
  TKaFileStream file;
  EXPECT_FALSE(file.Open(missing, kaOpenRead, kaShareAll));
  EXPECT_FALSE(file.Open(missing, OpenBoth, kaShareAll));
  EXPECT_FALSE(file.Open(present, kaOpenCreate, kaShareAll)) << "neither for reading nor for writing";
  EXPECT_FALSE(file.Open(present, static_cast<kaOpenMode>(kaOpenRead | kaOpenTruncate), kaShareAll));
  ASSERT_TRUE(file.Open(missing, kaOpenWrite, kaShareAll));
  EXPECT_TRUE(std::filesystem::exists(missing.Text()));
  ASSERT_TRUE(file.Open(present, OpenBoth, kaShareAll));
  EXPECT_EQ(file.Write("+new", 4), 4U);
  EXPECT_EQ(Lines(file, 20), std::vector<std::string>{"old+new"});
  ASSERT_TRUE(file.Open(present, kaOpenRead, kaShareAll));
  EXPECT_EQ(file.Write("x", 1), 0U);
  EXPECT_FALSE(file.IsReady());
  ASSERT_TRUE(file.Open(present, kaOpenWrite, kaShareAll));
  EXPECT_TRUE(file.AtEnd()) << "nothing can be read";
  EXPECT_EQ(std::filesystem::file_size(present.Text()), 0U);
}

TEST(Streams, FailuresAreReported) {
  const auto open = [](const std::string& path) {
    return MessageOf([&] { TKaFileStream(TKaPath(path), kaOpenRead, kaShareAll); });
  };
  EXPECT_TRUE(Contains(open("/no/such/file"), "/no/such/file: "));
  EXPECT_TRUE(Contains(open("/tmp"), "/tmp: "));
  EXPECT_NE(open(std::string("/dev/null\0/x", 12)), "");
  TKaFileStream full(TKaPath("/dev/full"), kaOpenWrite, kaShareAll);
  EXPECT_EQ(full.Write("text", 4), 0U);
  EXPECT_FALSE(full.IsReady());
  EXPECT_FALSE(full.Close());
}

TEST(Streams, PipesAreReadInPiecesAndCannotGoBack) {
  const test::ScratchFolder folder;
  const std::string name = folder.Path("pipe");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  std::thread writer([&] {
    TKaFileStream pipe(TKaPath(name), static_cast<kaOpenMode>(kaOpenForWrite), kaShareAll);
    for (const char c : Mark + "ab\r\ncd") pipe.Write(&c, 1);
  });
  TKaFileStream pipe(TKaPath(name), kaOpenRead, kaShareAll);
  EXPECT_TRUE(pipe.Rewind()) << "nothing read yet";
  EXPECT_EQ(Lines(pipe, 10), (std::vector<std::string>{"ab", "cd"}));
  EXPECT_FALSE(pipe.Rewind());
  writer.join();
}

}  // namespace
