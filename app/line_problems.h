/// \file
/// Why lines of points have no answer, told on standard error.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace app {

/// Tells the first ten reasons as they come, and counts the rest.
class LineProblems {
 public:
  static constexpr std::size_t MostTold = 10;

  /// `source` is what the lines come from.
  explicit LineProblems(std::string source) : source_(std::move(source)) {}

  bool TellsMore() const { return told_ < MostTold; }
  /// Line `number`, counted from 1.
  void Tell(std::size_t number, const std::string& why);
  /// Tells how many there were among `points`, unless each was told. `what` they lack or are.
  void TellCount(std::size_t bad, std::size_t points, const char* what) const;

 private:
  std::string source_;
  std::size_t told_ = 0;
};

}  // namespace app
