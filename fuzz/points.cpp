/// The program's points: every line is answered, in its place, whatever the pieces it comes in.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/number_format.h"
#include "app/point_lines.h"
#include "app/point_source.h"
#include "app/text_start.h"
#include "fuzz/fuzzing.h"
#include "host/number_text.h"

namespace {

/// A job that gives back what it is asked.
app::PointJob Echo(std::size_t columns) {
  app::PointJob job;
  job.columns = columns;
  job.answers = columns;
  job.compute = [](app::PointBlock* block) {
    fuzz::Require(block->count <= app::PointBlock::MostPoints, "a block has a size");
    block->answers = block->numbers;
    for (std::size_t i = 0; i < block->count; ++i) {
      if (block->numbers[0][i] == 13.0) block->why[i] = "unlucky";
    }
  };
  return job;
}

std::string_view TakeWord(std::string_view* line) {
  const std::size_t end = std::min(line->find(' '), line->size());
  const std::string_view word = line->substr(0, end);
  line->remove_prefix(std::min(end + 1, line->size()));
  return word;
}

/// The answer has as many numbers as were asked for, those of the line where it has them, then its rest.
void CheckAnswer(std::string_view line, std::string_view answer, const app::PointJob& job,
                 const app::PointOptions& options) {
  std::vector<double> numbers(job.columns);
  std::string why;
  const bool read = app::ReadNumbers(&line, job, options, numbers.data(), &why);
  fuzz::Require(read == why.empty(), "a line that is not read has a reason");
  const bool answered =
      read && numbers[0] != 13.0 &&
      std::all_of(numbers.begin(), numbers.end(), [](double n) { return std::isfinite(n); });
  for (const double number : numbers) {
    const std::string_view word = TakeWord(&answer);
    if (!answered) {
      fuzz::Require(word == "nan", "no answer is nan in every column");
      continue;
    }
    double back = 0.0;
    fuzz::Require(KaParseNumber(word, &back), "an answer is a number");
    if (options.precision == 0) fuzz::Require(fuzz::SameNumber(back, number), "an answer has all digits");
  }
  fuzz::RequireSameText(answer, line, "the rest of a line follows its answer");
}

void CheckAnswers(std::string_view text, const app::PieceAnswer& whole, const app::PointJob& job,
                  const app::PointOptions& options) {
  std::string_view answers = whole.text;
  std::size_t lines = 0;
  std::size_t points = 0;
  for (; !text.empty(); ++lines) {
    const std::string_view line = app::TakeLine(&text);
    if (!app::IsPoint(line)) continue;
    ++points;
    const std::size_t end = answers.find('\n');
    fuzz::Require(end != std::string_view::npos, "each point has a line");
    CheckAnswer(line, answers.substr(0, end), job, options);
    answers.remove_prefix(end + 1);
  }
  fuzz::Require(answers.empty() && points == whole.points && lines == whole.lines, "lines are counted");
  const std::size_t told = std::min<std::size_t>(whole.failed, app::LineProblems::MostTold);
  fuzz::Require(whole.problems.size() == told, "as many reasons as there may be");
}

/// Through a file, in pieces of about `wanted` bytes: complete lines that make up the text.
std::string AnswersInPieces(std::string_view text, std::size_t wanted, const app::PointJob& job,
                            const app::PointOptions& options) {
  const int file = ::memfd_create("points", 0);
  fuzz::Require(file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
                "a file in memory");
  std::string together;
  std::string answers;
  app::PointSource source("/proc/self/fd/" + std::to_string(file));
  fuzz::Require(source.Size() == text.size(), "the size of a file is known");
  while (const auto lines = source.NextLines(wanted)) {
    fuzz::Require(!lines->empty() || together.empty(), "there is something in a piece");
    together += *lines;
    answers += app::AnswerPiece(*lines, job, options).text;
    const bool complete = together.empty() || together.back() == '\n';
    fuzz::Require(complete || together.size() == app::WithoutByteOrderMark(text).size(),
                  "a piece ends with a line");
  }
  fuzz::RequireSameText(together, app::WithoutByteOrderMark(text), "pieces make up the text");
  ::close(file);
  return answers;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  app::PointOptions options;
  app::PointJob job = Echo(input.Choice(6) + 1);
  const unsigned choices = input.Byte() ^ unsigned { '0' };
  job.height_last = (choices & 1U) != 0;
  job.may_be_nan = (choices & 2U) != 0;
  if ((choices & 4U) != 0) options.height = 7.25;
  options.precision = static_cast<int>(choices >> 3U);
  // Each piece has memory of its own, so that a thousand of them would take seconds.
  const std::size_t wanted = input.Byte() + 1U + size / 64;

  const std::string_view text = app::WithoutByteOrderMark(input.Rest());
  const app::PieceAnswer whole = app::AnswerPiece(text, job, options);
  CheckAnswers(text, whole, job, options);
  fuzz::RequireSameText(AnswersInPieces(input.Rest(), wanted, job, options), whole.text,
                        "pieces are answered as the whole is");
  return 0;
}
