#include "app/correspondences.h"

#include <utility>

#include "app/point_rows.h"

namespace app {

Correspondences ReadCorrespondences(const PointOptions& options) {
  PointRows rows = ReadPointRows(5, options);
  const bool xy = options.xy;
  const double shift = options.PixelShift();
  Correspondences read;
  read.bad = rows.bad;
  read.items.reserve(rows.Count());
  for (std::size_t i = 0; i < rows.Count(); ++i) {
    const double* const row = rows[i];
    SatCommonUtils::TRPCEstimationDataItem item;
    item.Latitude = row[xy ? 1 : 0];
    item.Longitude = row[xy ? 0 : 1];
    item.Height = row[2];
    item.Line = row[xy ? 4 : 3] - shift;
    item.Sample = row[xy ? 3 : 4] - shift;
    read.items.push_back(item);
  }
  read.lines = std::move(rows.lines);
  return read;
}

}  // namespace app
