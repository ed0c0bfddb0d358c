#include "app/point_rows.h"

#include <string>

#include "app/line_problems.h"
#include "app/point_lines.h"
#include "app/point_source.h"

namespace app {

PointRows ReadPointRows(std::size_t columns, const PointOptions& options) {
  constexpr std::size_t Block = std::size_t{1} << 18;
  PointJob job;
  job.columns = columns;
  PointRows rows;
  rows.columns = columns;
  PointSource source(options.path);
  LineProblems problems(source.Name());
  std::size_t number = 0;
  std::string why;
  std::vector<double> numbers(columns);
  while (auto text = source.NextLines(Block)) {
    while (!text->empty()) {
      ++number;
      std::string_view line = TakeLine(&*text);
      if (!IsPoint(line)) continue;
      if (ReadNumbers(&line, job, options, numbers.data(), &why)) {
        rows.numbers.insert(rows.numbers.end(), numbers.begin(), numbers.end());
        rows.lines.push_back(number);
      } else {
        ++rows.bad;
        problems.Tell(number, why);
      }
    }
  }
  problems.TellCount(rows.bad, rows.bad + rows.Count(), "are left out");
  return rows;
}

}  // namespace app
