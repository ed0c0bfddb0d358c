#include "app/point_stream.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <future>
#include <string_view>
#include <vector>

#include "app/files.h"
#include "app/point_lines.h"
#include "app/problem.h"
#include "app/progress.h"

namespace app {

namespace {

/// Large enough that starting threads does not show, small enough to stay in the cache.
constexpr std::size_t PieceSize = 1U << 18;
constexpr std::size_t LongestLine = 16U << 20;

/// Where the points come from.
class PointSource {
 public:
  explicit PointSource(const std::string& path)
      : file_(path == "-" ? FileDescriptor() : OpenForReading(path)),
        descriptor_(path == "-" ? STDIN_FILENO : file_.Number()),
        name_(path == "-" ? "stdin" : path) {}

  const std::string& Name() const { return name_; }

  /// How many bytes a regular file holds, else 0.
  std::size_t Size() const {
    struct stat status {};
    const bool known = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    return known ? static_cast<std::size_t>(status.st_size) : 0;
  }

  /// Appends what is there, up to `most` bytes, waiting for the first only: points that somebody types or
  /// another program asks about are answered as they come. False at the end.
  bool Append(std::string* text, std::size_t most) {
    const std::size_t old_size = text->size();
    std::size_t size = old_size;
    text->resize(old_size + most);
    bool open = true;
    while (open && size < text->size() && (size == old_size || IsMoreWaiting())) {
      const std::size_t count = ReadSome(descriptor_, text->data() + size, text->size() - size, name_);
      open = count > 0;
      size += count;
    }
    text->resize(size);
    return open;
  }

 private:
  bool IsMoreWaiting() const {
    pollfd state = {descriptor_, POLLIN, 0};
    return ::poll(&state, 1, 0) == 1;
  }

  FileDescriptor file_;
  int descriptor_;
  std::string name_;
};

/// Cuts text, which ends at the end of a line, into pieces of about the same size that do so too.
std::vector<std::string_view> CutIntoPieces(std::string_view text, std::size_t count) {
  std::vector<std::string_view> pieces;
  const std::size_t size = text.size() / count + 1;
  while (text.size() > size) {
    const std::size_t end = text.find('\n', size);
    if (end == std::string_view::npos) break;
    pieces.push_back(text.substr(0, end + 1));
    text.remove_prefix(end + 1);
  }
  if (!text.empty()) pieces.push_back(text);
  return pieces;
}

class PointAnswerer {
 public:
  PointAnswerer(const PointJob& job, const PointOptions& options)
      : job_(job), options_(options), source_(options.path), progress_(source_.Size(), options.quiet) {}

  std::size_t Run() {
    const std::size_t block = PieceSize * static_cast<std::size_t>(options_.threads);
    std::string text;
    bool open = true;
    while (open) {
      open = source_.Append(&text, block);
      // The last line may have no end.
      const std::size_t complete = open ? text.rfind('\n') + 1 : text.size();
      if (complete == 0 && text.size() > LongestLine) {
        throw Problem(source_.Name() + ":" + std::to_string(lines_ + 1) + ": the line is longer than 16 MiB");
      }
      Answer(std::string_view(text).substr(0, complete));
      text.erase(0, complete);
    }
    progress_.Wipe();
    if (failed_ > PieceAnswer::MaxReported) {
      std::fprintf(stderr, "%s: %zu points of %zu have no answer; the first %zu are listed\n",
                   source_.Name().c_str(), failed_, points_, PieceAnswer::MaxReported);
    }
    return failed_;
  }

 private:
  void Answer(std::string_view text) {
    const std::vector<std::string_view> pieces =
        CutIntoPieces(text, text.size() < PieceSize ? 1 : static_cast<std::size_t>(options_.threads));
    std::vector<std::future<PieceAnswer>> others;
    for (std::size_t i = 1; i < pieces.size(); ++i) {
      others.push_back(std::async(std::launch::async,
                                  [this, piece = pieces[i]] { return AnswerPiece(piece, job_, options_); }));
    }
    if (!pieces.empty()) Write(AnswerPiece(pieces[0], job_, options_));
    for (std::future<PieceAnswer>& other : others) Write(other.get());
    bytes_ += text.size();
    progress_.Update(bytes_, points_);
  }

  void Write(const PieceAnswer& piece) {
    WriteAll(STDOUT_FILENO, piece.text, "standard output");
    for (const LineProblem& problem : piece.problems) {
      if (reported_ == PieceAnswer::MaxReported) break;
      ++reported_;
      progress_.Wipe();
      std::fprintf(stderr, "%s:%zu: %s\n", source_.Name().c_str(), lines_ + problem.line + 1,
                   problem.why.c_str());
    }
    lines_ += piece.lines;
    points_ += piece.points;
    failed_ += piece.failed;
  }

  const PointJob& job_;
  const PointOptions& options_;
  PointSource source_;
  Progress progress_;
  std::size_t lines_ = 0;
  std::size_t points_ = 0;
  std::size_t failed_ = 0;
  std::size_t reported_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace

std::size_t AnswerPoints(const PointJob& job, const PointOptions& options) {
  return PointAnswerer(job, options).Run();
}

}  // namespace app
