#include "app/point_stream.h"

#include <unistd.h>

#include <deque>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "app/files.h"
#include "app/point_lines.h"
#include "app/point_source.h"
#include "app/problem.h"
#include "app/progress.h"

namespace app {

namespace {

/// Large enough that starting threads does not show, small enough to stay in the cache.
constexpr std::size_t PieceSize = 1U << 18;

struct PieceUnderWay {
  std::size_t size;  ///< of the text, in bytes
  std::future<PieceAnswer> answer;
};

/// Pieces are answered by threads of their own while the calling one reads what comes and writes, in order,
/// what has been answered.
class PointAnswerer {
 public:
  PointAnswerer(const PointJob& job, const PointOptions& options)
      : job_(job),
        options_(options),
        source_(options.path),
        progress_(source_.Size(), !options.quiet && !Progress::IsOutputShown()) {
    if (source_.IsStandardOutput()) {
      throw Problem(source_.Name() + ": standard output is the same file: answers would be read as points");
    }
  }

  std::size_t Run() {
    while (const auto lines = NextLines()) Take(*lines);
    WriteDownTo(0);
    progress_.Wipe();
    problems_.TellCount(failed_, points_, "have no answer");
    return failed_;
  }

 private:
  /// Whoever has sent all that he has, for now, may wait for the answers; and those that are computed are not
  /// lost when reading on fails.
  std::optional<std::string_view> NextLines() try {
    return source_.NextLines(PieceSize, [this] { WriteDownTo(0); });
  } catch (...) {
    WriteDownTo(0);
    throw;
  }

  void Take(std::string_view text) {
    const bool alone = options_.threads == 1 || (under_way_.empty() && text.size() < PieceSize / 2);
    if (alone) {
      Write(AnswerPiece(text, job_, options_), text.size());
      return;
    }
    WriteDownTo(static_cast<std::size_t>(options_.threads) - 1);
    under_way_.push_back({text.size(), Start(std::string(text))});
  }

  /// Answers a piece in a thread of its own; when the system gives none, later in the calling one.
  std::future<PieceAnswer> Start(std::string piece) const {
    const auto answer = [this, piece = std::move(piece)] { return AnswerPiece(piece, job_, options_); };
    try {
      return std::async(std::launch::async, answer);
    } catch (const std::system_error&) {
      return std::async(std::launch::deferred, answer);
    }
  }

  void WriteDownTo(std::size_t count) {
    while (under_way_.size() > count) {
      PieceUnderWay first = std::move(under_way_.front());
      under_way_.pop_front();
      try {
        Write(first.answer.get(), first.size);
      } catch (...) {
        // Nothing may be written behind what is missing.
        under_way_.clear();
        throw;
      }
    }
  }

  /// `size` is how long the piece was.
  void Write(const PieceAnswer& piece, std::size_t size) {
    WriteAll(STDOUT_FILENO, piece.text, "standard output");
    for (const LineProblem& problem : piece.problems) {
      if (!problems_.TellsMore()) break;
      progress_.Wipe();
      problems_.Tell(lines_ + problem.line + 1, problem.why);
    }
    lines_ += piece.lines;
    points_ += piece.points;
    failed_ += piece.failed;
    bytes_ += size;
    progress_.Update(bytes_, points_);
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
  /// Goes first: the threads use the rest.
  std::deque<PieceUnderWay> under_way_;
};

}  // namespace

std::size_t AnswerPoints(const PointJob& job, const PointOptions& options) {
  return PointAnswerer(job, options).Run();
}

}  // namespace app
