/// \file
/// What is told of a fitted model.
#pragma once

#include <string>
#include <vector>

#include "app/correspondences.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "kelvane/rpc/robust_estimation.h"

namespace app {

/// What was fitted, by which method, and how it went.
struct FittedModel {
  ModelFile file;
  bool classic = false;
  SatCommonUtils::TRPCEstimationReport estimation;  ///< of the classic fit
  SatCommonUtils::TRPCFitReport report;             ///< of the other
};

/// Prints the report on standard output, as JSON or in words. The points are those that were fitted;
/// longitudes in the model's turn.
void PrintFitAsJson(const FittedModel& fitted, const Correspondences& points, const WrittenModel& written);
void PrintFit(const FittedModel& fitted, const Correspondences& points, const WrittenModel& written,
              const std::string& out);

/// Says on standard error which points were down-weighted, and how far from the model they were seen.
void TellDownWeighted(const FittedModel& fitted, const Correspondences& points, const std::string& source);

/// Says on standard error what a person should look at.
void TellDoubts(const FittedModel& fitted, const std::string& out);

}  // namespace app
