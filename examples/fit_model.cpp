// Fits a model to correspondences: here to points that another model sees, a grid of 11 x 11 x 11.
//
// $ fit_model samples/worldview3.RPB
// trustworthy: points that were held out are seen as well as the others
// each point is seen to a millionth of a pixel: yes
#include <cstdio>

#include "kelvane/module/module.h"
#include "kelvane/rpc/robust_estimation.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 2) return 2;
  Init_Kelvane();

  TRPCData record;
  double err_rand = 0.0;
  if (!record.InitializeFromRPBFile(argv[1], nullptr, &err_rand)) return 1;
  const TRPC model(record, nullptr);

  TRPCEstimationDataSet data;
  for (int i = 0; i < 11 * 11 * 11; ++i) {
    TRPCEstimationDataItem item;
    item.Latitude = record.LatitudeOffset + (i % 11 - 5) / 5.0 * record.LatitudeScale;
    item.Longitude = record.LongitudeOffset + (i / 11 % 11 - 5) / 5.0 * record.LongitudeScale;
    item.Height = record.HeightOffset + (i / 121 - 5) / 5.0 * record.HeightScale;
    model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample, nullptr,
                              nullptr);
    data.Items.push_back(item);
  }

  TRPCFitOptions options;
  options.Weights = TE_RPCFitWeights::Tukey;  // there may be blunders among the points
  TRPCData fitted;
  TRPCFitReport report;
  const bool done = FitRPC(data, options, &fitted, &report);
  std::printf("%s\n", report.Text.c_str());
  if (!done) return 1;
  const TRPCResiduals residuals = CalculateResiduals(TRPC(fitted, nullptr), data.Items);
  const bool close = residuals.MaxLine < 1e-6 && residuals.MaxSample < 1e-6;
  std::printf("each point is seen to a millionth of a pixel: %s\n", close ? "yes" : "no");
  Deinit_Kelvane();
  return 0;
}
