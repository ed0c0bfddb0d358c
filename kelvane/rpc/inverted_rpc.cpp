/// The inverse of a model as a model.
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

namespace {

bool IsWithinImage(double coordinate) { return coordinate >= -1.0 && coordinate <= 1.0; }

/// The nodes of the ground cube that are seen within the image, with image and ground exchanged.
TRPCEstimationDataSet SeenNodes(const TRPC& rpc, double step) {
  TRPCEstimationDataSet data;
  data.Normalized = true;
  for (double P = -1.0; P <= 1.0; P += step) {
    for (double L = -1.0; L <= 1.0; L += step) {
      for (double H = -1.0; H <= 1.0; H += step) {
        double line = 0.0;
        double sample = 0.0;
        rpc.CalculateLineSampleNormalized(P, L, H, &line, &sample, nullptr, nullptr);
        if (IsWithinImage(line) && IsWithinImage(sample)) data.Items.push_back({line, sample, H, P, L});
      }
    }
  }
  return data;
}

}  // namespace

bool EstimateInvertedRPC(const TRPC& rpc, TRPCData* inverted, int gridSteps, TKaProgressHandler*) {
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
  // Backwards there is no end to the grid.
  if (gridSteps < 1) return false;
  return EstimateRPC(SeenNodes(rpc, 2.0 / gridSteps), inverted);
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
