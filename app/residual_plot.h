/// \file
/// A picture of residuals: vectors over the image, and how often which occur. Drawn by gnuplot.
#pragma once

#include <string>
#include <vector>

namespace app {

/// Measured less computed image coordinates of a point, pixels.
struct ResidualVector {
  double line;
  double sample;
  double by_line;
  double by_sample;
};

/// Where a picture goes: "" for none, else a file that ends in ".png" or ".svg", in any letters.
/// Throws `Problem` when it does not, or when there is no gnuplot: before the work is done that it would
/// show.
void CheckPlotPath(const std::string& path);

/// Draws; at most `MostVectors` of them, spread evenly, with lengths enlarged alike. The file is written
/// whole or not at all. Throws `Problem` when gnuplot fails or the file cannot be written.
void PlotResiduals(const std::string& path, const std::string& title,
                   const std::vector<ResidualVector>& residuals);
constexpr std::size_t MostVectors = 2000;

}  // namespace app
