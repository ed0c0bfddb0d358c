/// \file
/// One piece of the point text: its lines parsed, computed and answered.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "app/line_problems.h"
#include "app/point_stream.h"

namespace app {

/// Takes the next line off the text, without its end and the blanks around it.
std::string_view TakeLine(std::string_view* text);

/// Whether a line holds a point: it is neither empty nor a comment.
bool IsPoint(std::string_view line);

/// Reads the line's numbers, as the job wants them; what stands behind them stays in `*line`. False, with
/// `*why`, when they are not all there and finite.
bool ReadNumbers(std::string_view* line, const PointJob& job, const PointOptions& options, double* numbers,
                 std::string* why);

/// Why a line has no answer.
struct LineProblem {
  std::size_t line = 0;  ///< counted from 0 at the beginning of the piece
  std::string why;
};

/// What a piece of text came to.
struct PieceAnswer {
  std::string text;       ///< the output lines
  std::size_t lines = 0;  ///< lines read, comments and empty ones included
  std::size_t points = 0;
  std::size_t failed = 0;             ///< points without an answer
  std::vector<LineProblem> problems;  ///< of the first `LineProblems::MostTold` of them
};

/// Answers the lines of `text`, which ends at the end of a line.
PieceAnswer AnswerPiece(std::string_view text, const PointJob& job, const PointOptions& options);

}  // namespace app
