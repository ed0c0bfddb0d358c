#include "app/point_stream.h"

#include <unistd.h>

#include <future>
#include <string_view>
#include <system_error>
#include <vector>

#include "app/files.h"
#include "app/point_lines.h"
#include "app/point_source.h"
#include "app/progress.h"

namespace app {

namespace {

/// Large enough that starting threads does not show, small enough to stay in the cache.
constexpr std::size_t PieceSize = 1U << 18;

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
      : job_(job),
        options_(options),
        source_(options.path),
        progress_(source_.Size(), !options.quiet && !Progress::IsOutputShown()) {}

  std::size_t Run() {
    const std::size_t block = PieceSize * static_cast<std::size_t>(options_.threads);
    while (const auto lines = source_.NextLines(block)) Answer(*lines);
    progress_.Wipe();
    problems_.TellCount(failed_, points_, "have no answer");
    return failed_;
  }

 private:
  void Answer(std::string_view text) {
    const std::vector<std::string_view> pieces =
        CutIntoPieces(text, text.size() < PieceSize ? 1 : static_cast<std::size_t>(options_.threads));
    std::vector<std::future<PieceAnswer>> others;
    for (std::size_t i = 1; i < pieces.size(); ++i) others.push_back(Start(pieces[i]));
    if (!pieces.empty()) Write(AnswerPiece(pieces[0], job_, options_));
    for (std::future<PieceAnswer>& other : others) Write(other.get());
    bytes_ += text.size();
    progress_.Update(bytes_, points_);
  }

  /// Answers a piece in a thread of its own; when the system gives none, later in the calling one.
  std::future<PieceAnswer> Start(std::string_view piece) const {
    const auto answer = [this, piece] { return AnswerPiece(piece, job_, options_); };
    try {
      return std::async(std::launch::async, answer);
    } catch (const std::system_error&) {
      return std::async(std::launch::deferred, answer);
    }
  }

  void Write(const PieceAnswer& piece) {
    WriteAll(STDOUT_FILENO, piece.text, "standard output");
    for (const LineProblem& problem : piece.problems) {
      if (!problems_.TellsMore()) break;
      progress_.Wipe();
      problems_.Tell(lines_ + problem.line + 1, problem.why);
    }
    lines_ += piece.lines;
    points_ += piece.points;
    failed_ += piece.failed;
  }

  const PointJob& job_;
  const PointOptions& options_;
  PointSource source_;
  Progress progress_;
  LineProblems problems_{source_.Name()};
  std::size_t lines_ = 0;
  std::size_t points_ = 0;
  std::size_t failed_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace

std::size_t AnswerPoints(const PointJob& job, const PointOptions& options) {
  return PointAnswerer(job, options).Run();
}

}  // namespace app
