#include "app/line_problems.h"

#include <cstdio>

namespace app {

void LineProblems::Tell(std::size_t number, const std::string& why) {
  if (!TellsMore()) return;
  ++told_;
  std::fprintf(stderr, "%s:%zu: %s\n", source_.c_str(), number, why.c_str());
}

void LineProblems::TellCount(std::size_t bad, std::size_t points, const char* what) const {
  if (bad <= MostTold) return;
  std::fprintf(stderr, "%s: %zu points of %zu %s; the first %zu are listed\n", source_.c_str(), bad, points,
               what, MostTold);
}

}  // namespace app
