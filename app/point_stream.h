/// \file
/// Points in and out: text lines from a file or standard input, each answered by one line on standard
/// output, in the order of the input.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace app {

struct PointOptions {
  std::string path = "-";        ///< where points come from; "-" is standard input
  bool xy = false;               ///< x before y on both sides
  std::optional<double> height;  ///< metres, for points that come without one
  bool corner_origin = false;    ///< image coordinates count from the corner of the first pixel
  int precision = 0;             ///< significant digits; 0 for as many as the number needs
  int threads = 1;
  bool quiet = false;

  /// What is added to the model's image coordinates on the way out.
  double PixelShift() const { return corner_origin ? 0.5 : 0.0; }
};

/// Points that are computed together, column by column.
struct PointBlock {
  /// Enough for the library's batches, few enough for the nearest caches.
  static constexpr std::size_t MostPoints = 1024;

  std::size_t count = 0;
  std::vector<std::vector<double>> numbers;  ///< of each column, those of the points
  std::vector<std::vector<double>> answers;  ///< likewise
  std::vector<std::string> why;              ///< of each point, why it has no answer; empty where it has one
};

/// What is done to points.
struct PointJob {
  /// How many numbers a line begins with, and what the last of them is when it may come from `--height`.
  std::size_t columns = 0;
  bool height_last = false;
  /// Whether a column may hold "nan", for what is not there.
  bool may_be_nan = false;
  /// How many numbers an answer has.
  std::size_t answers = 0;
  /// Computes the answers to a block's numbers, all of them finite, or NaN where that may be; where it
  /// cannot, says why. It may change the numbers. Called from several threads at once.
  std::function<void(PointBlock* block)> compute;
};

/// Answers every point. Standard error gets the reason for each of the first ten points that have no
/// answer, and the number of all of them. Returns that number; throws `Problem` when the points cannot be
/// read or the answers cannot be written.
std::size_t AnswerPoints(const PointJob& job, const PointOptions& options);

}  // namespace app
