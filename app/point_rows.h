/// \file
/// Points that are needed all at once.
#pragma once

#include <cstddef>
#include <vector>

#include "app/point_stream.h"

namespace app {

/// The first numbers of each line, row after row.
struct PointRows {
  std::size_t columns = 0;
  std::vector<double> numbers;
  std::vector<std::size_t> lines;  ///< where each row stands, counted from 1
  std::size_t bad = 0;             ///< lines that were left out; standard error says why

  std::size_t Count() const { return numbers.size() / columns; }
  const double* operator[](std::size_t row) const { return numbers.data() + row * columns; }
};

/// Reads all points of `columns` finite numbers. Throws `Problem` when they cannot be read.
PointRows ReadPointRows(std::size_t columns, const PointOptions& options);

}  // namespace app
