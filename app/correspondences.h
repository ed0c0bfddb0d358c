/// \file
/// Ground points and where they are seen.
#pragma once

#include <cstddef>
#include <vector>

#include "app/point_stream.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace app {

struct Correspondences {
  std::vector<SatCommonUtils::TRPCEstimationDataItem> items;  ///< longitudes as they were given
  std::vector<std::size_t> lines;                             ///< where each item stands, counted from 1
  std::size_t bad = 0;  ///< lines that were left out; standard error says why
};

/// Reads all points "lat lon h line sample", or as the options say. Throws `Problem` when they cannot be
/// read.
Correspondences ReadCorrespondences(const PointOptions& options);

}  // namespace app
