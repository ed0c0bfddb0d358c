#include "app/point_lines.h"

#include <algorithm>
#include <cmath>

#include "app/number_format.h"
#include "host/number_text.h"
#include "host/quoted_text.h"

namespace app {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsSeparator(char c) { return IsBlank(c) || c == ','; }

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && (IsBlank(text.back()) || text.back() == '\r')) text.remove_suffix(1);
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  return text;
}

/// Takes the next column off the line. Columns are divided by blanks, or by one comma with blanks around
/// it, so that two commas hold an empty column.
std::string_view TakeColumn(std::string_view* line) {
  std::size_t end = 0;
  while (end < line->size() && !IsSeparator((*line)[end])) ++end;
  const std::string_view column = line->substr(0, end);
  while (end < line->size() && IsBlank((*line)[end])) ++end;
  if (end < line->size() && (*line)[end] == ',') ++end;
  while (end < line->size() && IsBlank((*line)[end])) ++end;
  line->remove_prefix(end);
  return column;
}

/// A line that holds a point.
struct PointLine {
  std::size_t number;     ///< in the piece
  std::string_view rest;  ///< behind the numbers
  std::size_t place;      ///< in the block
  std::string why;        ///< why it is in none; else empty
};

/// Answers a piece block by block, always in the same memory.
class BlockAnswerer {
 public:
  /// For a piece of so many lines: one that somebody typed, or a few of hundreds of numbers each, must not
  /// cost the memory of a whole block.
  BlockAnswerer(const PointJob& job, const PointOptions& options, std::size_t lines, PieceAnswer* piece)
      : job_(job),
        options_(options),
        piece_(*piece),
        room_(std::min(lines, PointBlock::MostPoints)),
        numbers_(job.columns) {
    block_.numbers.assign(job.columns, std::vector<double>(room_));
    block_.answers.assign(job.answers, std::vector<double>(room_));
    block_.why.resize(room_);
    lines_.reserve(room_);
  }

  /// Takes lines off the text, as many as make a block.
  void Answer(std::string_view* text) {
    Read(text);
    job_.compute(&block_);
    for (const PointLine& line : lines_) Write(line);
  }

 private:
  void Read(std::string_view* text) {
    lines_.clear();
    block_.count = 0;
    while (!text->empty() && lines_.size() < room_) {
      std::string_view line = TakeLine(text);
      const std::size_t number = piece_.lines++;
      if (!IsPoint(line)) continue;
      PointLine& point = lines_.emplace_back();
      point.number = number;
      if (ReadNumbers(&line, job_, options_, numbers_.data(), &point.why)) point.place = Place();
      point.rest = line;
    }
  }

  /// Puts the numbers into the block.
  std::size_t Place() {
    const std::size_t place = block_.count++;
    for (std::size_t c = 0; c < numbers_.size(); ++c) block_.numbers[c][place] = numbers_[c];
    block_.why[place].clear();
    return place;
  }

  const std::string& WhyNot(const PointLine& line) const {
    static const std::string no_number = "the model gives no number here";
    if (!line.why.empty()) return line.why;
    const std::string& why = block_.why[line.place];
    const bool finite =
        !why.empty() || std::all_of(block_.answers.begin(), block_.answers.end(),
                                    [&](const auto& a) { return std::isfinite(a[line.place]); });
    return finite ? why : no_number;
  }

  void Write(const PointLine& line) {
    const std::string& why = WhyNot(line);
    ++piece_.points;
    piece_.failed += why.empty() ? 0U : 1U;
    if (!why.empty() && piece_.problems.size() < LineProblems::MostTold) {
      piece_.problems.push_back({line.number, why});
    }
    std::string& text = piece_.text;
    for (std::size_t i = 0; i < job_.answers; ++i) {
      if (i > 0) text += ' ';
      AppendNumber(&text, why.empty() ? block_.answers[i][line.place] : std::nan(""), options_.precision);
    }
    if (!line.rest.empty()) {
      text += ' ';
      text += line.rest;
    }
    text += '\n';
  }

  const PointJob& job_;
  const PointOptions& options_;
  PieceAnswer& piece_;
  std::size_t room_;
  std::vector<double> numbers_;
  PointBlock block_;
  std::vector<PointLine> lines_;
};

}  // namespace

std::string_view TakeLine(std::string_view* text) {
  const std::size_t end = std::min(text->find('\n'), text->size());
  const std::string_view line = WithoutBlanks(text->substr(0, end));
  text->remove_prefix(std::min(end + 1, text->size()));
  return line;
}

bool IsPoint(std::string_view line) { return !line.empty() && line.front() != '#'; }

bool ReadNumbers(std::string_view* line, const PointJob& job, const PointOptions& options, double* numbers,
                 std::string* why) {
  bool good = true;
  for (std::size_t i = 0; i < job.columns; ++i) {
    const bool may_be_absent = job.height_last && i + 1 == job.columns && options.height.has_value();
    std::string_view rest = *line;
    const std::string_view column = TakeColumn(&rest);
    if (KaParseNumber(column, &numbers[i])) {
      *line = rest;
      const bool usable = std::isfinite(numbers[i]) || (job.may_be_nan && std::isnan(numbers[i]));
      if (good && !usable) {
        *why = KaQuoted(column) + " is no finite number";
        good = false;
      }
      continue;
    }
    double ignored = 0.0;
    if (may_be_absent && KaScanNumber(column, &ignored) == 0) {
      numbers[i] = *options.height;
      if (column.empty()) *line = rest;
      continue;
    }
    if (good && line->empty()) {
      *why = "the line has " + std::to_string(i) + " of the " + std::to_string(job.columns) + " numbers";
      if (job.height_last && i + 1 == job.columns) *why += "; a height for all points: --height";
    } else if (good) {
      *why = KaQuoted(column) + " is no number";
    }
    good = false;
    *line = rest;
  }
  return good;
}

PieceAnswer AnswerPiece(std::string_view text, const PointJob& job, const PointOptions& options) {
  PieceAnswer piece;
  piece.text.reserve(text.size() + text.size() / 4);
  // The last one may have no end.
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  BlockAnswerer answerer(job, options, lines, &piece);
  while (!text.empty()) answerer.Answer(&text);
  return piece;
}

}  // namespace app
