/// A record fitted to a model.
#include <cmath>
#include <vector>

#include "kelvane/rpc/robust_estimation.h"

namespace SatCommonUtils {

bool FitRPCToModel(const TRPC& model, const TRPCFitOptions& options, TRPCData* rpc, TRPCFitReport* report) {
  constexpr double Pi = 3.14159265358979323846;
  *report = TRPCFitReport();
  TRPCData data;
  model.GetRPCData(&data);
  if (!data) {
    report->Text = "the model is empty";
    return false;
  }
  std::vector<double> nodes;
  for (int i = 0; i < RPCModelFitNodes; ++i) nodes.push_back(-std::cos(Pi * i / (RPCModelFitNodes - 1)));
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
