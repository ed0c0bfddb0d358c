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

void AppendAnswer(std::string* text, const std::vector<double>& answer, const PointOptions& options,
                  std::string_view rest) {
  for (std::size_t i = 0; i < answer.size(); ++i) {
    if (i > 0) *text += ' ';
    AppendNumber(text, answer[i], options.precision);
  }
  if (!rest.empty()) {
    *text += ' ';
    *text += rest;
  }
  *text += '\n';
}

bool Compute(std::string_view* line, const PointJob& job, const PointOptions& options, double* numbers,
             double* answer, std::string* why) {
  if (!ReadNumbers(line, job, options, numbers, why) || !job.compute(numbers, answer, why)) return false;
  for (std::size_t i = 0; i < job.answers; ++i) {
    if (!std::isfinite(answer[i])) {
      *why = "the model gives no number here";
      return false;
    }
  }
  return true;
}

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
  std::vector<double> numbers(job.columns);
  std::vector<double> answer(job.answers);
  std::string why;
  while (!text.empty()) {
    std::string_view line = TakeLine(&text);
    const std::size_t number = piece.lines++;
    if (!IsPoint(line)) continue;
    ++piece.points;
    if (!Compute(&line, job, options, numbers.data(), answer.data(), &why)) {
      std::fill(answer.begin(), answer.end(), std::nan(""));
      ++piece.failed;
      if (piece.problems.size() < LineProblems::MostTold) piece.problems.push_back({number, why});
    }
    AppendAnswer(&piece.text, answer, options, line);
  }
  return piece;
}

}  // namespace app
