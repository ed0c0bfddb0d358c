/// A record fitted to a model.
#include <array>
#include <cstddef>

#include "kelvane/rpc/robust_estimation.h"

namespace SatCommonUtils {

bool FitRPCToModel(const TRPC& model, const TRPCFitOptions& options, TRPCData* rpc, TRPCFitReport* report) {
  *report = TRPCFitReport();
  TRPCData data;
  model.GetRPCData(&data);
  if (!data) {
    report->Text = "the model is empty";
    return false;
  }
  std::array<double, RPCModelFitNodes> nodes;
  for (int i = 0; i < RPCModelFitNodes; ++i) {
    const double at = 2.0 * i / (RPCModelFitNodes - 1) - 1.0;
    // Near the sine of Chebyshev's nodes, and of the same bits everywhere.
    nodes[static_cast<std::size_t>(i)] = 0.5 * at * (3.0 - at * at);
  }
  TRPCEstimationDataSet seen;
  for (const double P : nodes) {
    for (const double L : nodes) {
      for (const double H : nodes) {
        TRPCEstimationDataItem item;
        item.Latitude = P * data.LatitudeScale + data.LatitudeOffset;
        item.Longitude = L * data.LongitudeScale + data.LongitudeOffset;
        item.Height = H * data.HeightScale + data.HeightOffset;
        model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample,
                                  nullptr, nullptr);
        seen.Items.push_back(item);
      }
    }
  }
  return FitRPC(seen, options, rpc, report);
}

}  // namespace SatCommonUtils
