/// The inverse of a model as a model.
#include <vector>

#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

namespace {

bool IsWithinImage(double coordinate) { return coordinate >= -1.0 && coordinate <= 1.0; }

/// -1 and what is reached from there by adding steps, up to 1.
std::vector<double> NodesOfAxis(double step) {
  std::vector<double> nodes;
  double node = -1.0;
  while (node <= 1.0) {
    nodes.push_back(node);
    node += step;
  }
  return nodes;
}

/// The nodes of the ground cube that are seen within the image, with image and ground exchanged.
TRPCEstimationDataSet SeenNodes(const TRPC& rpc, double step) {
  TRPCEstimationDataSet data;
  data.Normalized = true;
  const std::vector<double> nodes = NodesOfAxis(step);
  for (const double P : nodes) {
    for (const double L : nodes) {
      for (const double H : nodes) {
        double line = 0.0;
        double sample = 0.0;
        rpc.CalculateLineSampleNormalized(P, L, H, &line, &sample, nullptr, nullptr);
        if (IsWithinImage(line) && IsWithinImage(sample)) data.Items.push_back({line, sample, H, P, L});
      }
    }
  }
  return data;
}

/// The offsets and scales of the inverse.
void ExchangeNormalizations(const TRPC& rpc, TRPCData* inverted) {
  TRPCData forward;
  rpc.GetRPCData(&forward);
  inverted->LineOffset = forward.LatitudeOffset;
  inverted->LineScale = forward.LatitudeScale;
  inverted->SampleOffset = forward.LongitudeOffset;
  inverted->SampleScale = forward.LongitudeScale;
  inverted->LatitudeOffset = forward.LineOffset;
  inverted->LatitudeScale = forward.LineScale;
  inverted->LongitudeOffset = forward.SampleOffset;
  inverted->LongitudeScale = forward.SampleScale;
  inverted->HeightOffset = forward.HeightOffset;
  inverted->HeightScale = forward.HeightScale;
}

}  // namespace

bool EstimateInvertedRPC(const TRPC& rpc, TRPCData* inverted, int gridSteps,
                         const TRPCEstimationControl& control, TRPCEstimationReport* report) {
  *report = TRPCEstimationReport();
  ExchangeNormalizations(rpc, inverted);
  // Backwards there is no end to the grid.
  if (gridSteps < 1) return false;
  return EstimateRPC(SeenNodes(rpc, 2.0 / gridSteps), inverted, control, report);
}

bool FitInvertedRPC(const TRPC& rpc, int gridSteps, const TRPCFitOptions& options, TRPCData* inverted,
                    TRPCFitReport* report) {
  *report = TRPCFitReport();
  if (gridSteps < 1) {
    report->Text = "a grid has 1 step at least";
    return false;
  }
  TRPCData fitted;
  if (!FitRPC(SeenNodes(rpc, 2.0 / gridSteps), options, &fitted, report)) return false;
  ExchangeNormalizations(rpc, &fitted);
  *inverted = fitted;
  return true;
}

bool EstimateInvertedRPC(const TRPC& rpc, TRPCData* inverted, int gridSteps, TKaProgressHandler*) {
  TRPCEstimationReport report;
  return EstimateInvertedRPC(rpc, inverted, gridSteps, TRPCEstimationControl(), &report);
}

bool TRPC::CreateInvertedRPC(int gridSteps) const {
  inverted_ = nullptr;
  TRPCData record;
  if (!EstimateInvertedRPC(*this, &record, gridSteps, nullptr)) return false;
  inverted_ = new_a<TRPC>(record, nullptr);
  return true;
}

var_a<TRPC*> TRPC::GetInvertedRPC() const { return inverted_; }

}  // namespace SatCommonUtils
