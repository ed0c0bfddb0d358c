#include "kelvane/rpc/adjusted_rpc.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

#include "kelvane/module/host/ini.h"
#include "kelvane/rpc/rpc_adaptation.h"

namespace SatCommonUtils {

namespace {

constexpr char RefinementSection[] = "Refinement";

/// An image coordinate of a record.
struct TImageAxis {
  double (TRPCData::*Numerator)[TRPCData::CoefficientCount];
  double TRPCData::*Offset;
  double TRPCData::*Scale;
};

constexpr TImageAxis LineAxis = {&TRPCData::LineNum, &TRPCData::LineOffset, &TRPCData::LineScale};
constexpr TImageAxis SampleAxis = {&TRPCData::SampleNum, &TRPCData::SampleOffset, &TRPCData::SampleScale};

bool IsUsableScale(double scale) { return scale != 0.0 && std::isfinite(scale); }

/// `axis` becomes factor * `axis` + bias; false when that is no scale.
bool StretchAxis(const TImageAxis& axis, double factor, double bias, TRPCData* rpc) {
  rpc->*axis.Offset = factor * rpc->*axis.Offset + bias;
  rpc->*axis.Scale = std::fabs(factor) * rpc->*axis.Scale;
  if (std::signbit(factor)) {
    for (double& coefficient : rpc->*axis.Numerator) coefficient = -coefficient;
  }
  return std::isfinite(rpc->*axis.Offset) && IsUsableScale(rpc->*axis.Scale);
}

/// `axis` of `rpc` becomes by_line * line + by_sample * sample + bias of `raw`, over the denominator that
/// both have; false when that is no axis.
bool MixAxis(const TImageAxis& axis, const TRPCData& raw, double by_line, double by_sample, double bias,
             TRPCData* rpc) {
  const double line_reach = by_line * raw.LineScale;
  const double sample_reach = by_sample * raw.SampleScale;
  const double scale = std::fabs(line_reach) + std::fabs(sample_reach);
  rpc->*axis.Offset = by_line * raw.LineOffset + by_sample * raw.SampleOffset + bias;
  rpc->*axis.Scale = scale;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    (rpc->*axis.Numerator)[k] = (line_reach * raw.LineNum[k] + sample_reach * raw.SampleNum[k]) / scale;
  }
  return std::isfinite(rpc->*axis.Offset) && IsUsableScale(scale);
}

/// The nodes of an axis, closer towards its ends. The cubic is near the sine of Chebyshev's nodes, and of the
/// same bits everywhere. None for a range that is empty or not within the cube.
std::vector<double> Nodes(const TAdjustedRPC::TRPCEstimationDataSetParams::TRange& range, int steps) {
  if (!(range.Min >= -1.0 && range.Min < range.Max && range.Max <= 1.0) || steps < 1) return {};
  std::vector<double> nodes;
  for (int i = 0; i <= steps; ++i) {
    const double even = (2.0 * i - steps) / steps;
    const double at = 0.5 * even * (3.0 - even * even);
    nodes.push_back(
        std::clamp(0.5 * (range.Min + range.Max) + 0.5 * (range.Max - range.Min) * at, range.Min, range.Max));
  }
  return nodes;
}

}  // namespace

TAdjustedRPC::TAdjustedRPC(const TRPCData* rpc, const TRPCRefinementDataAffine* refinement)
    : TAdjustedRPC(*rpc, nullptr, refinement) {}

TAdjustedRPC::TAdjustedRPC(const TRPCData& rpc, const TPolygon* margin,
                           const TRPCRefinementDataAffine* refinement)
    : TRPC(rpc, margin) {
  if (refinement != nullptr) refinement_.emplace(*refinement);
}

TAdjustedRPC::TAdjustedRPC(TKaXIniReader* src) {
  if (!TAdjustedRPC::InitializeFromXML(src)) {
    throw std::runtime_error("TAdjustedRPC::TAdjustedRPC(TKaXIniReader *src)");
  }
}

TAdjustedRPC::~TAdjustedRPC() = default;

var_a<TRPC*> TAdjustedRPC::CreateVCopy() const try {
  if (Normalizations() == nullptr) return nullptr;
  TRPCData data;
  GetRPCData(&data);
  TPolygon margin;
  GetMargin(&margin);
  TRPCRefinementDataAffine refinement;
  const bool refined = GetRPCRefinementData(&refinement);
  var_a<TAdjustedRPC*> copy = new_a<TAdjustedRPC>(data, &margin, refined ? &refinement : nullptr);
  int width = 0;
  int height = 0;
  if (GetRasterDims(&width, &height)) copy->SetRasterDims(width, height);
  return copy;
} catch (...) {
  return nullptr;
}

void TAdjustedRPC::CalculateLineSample(const double& lat, const double& lon, const double& h, double* line,
                                       double* sample, double* dLine, double* dSample) const {
  if (!refinement_ || (dLine == nullptr && dSample == nullptr)) {
    TRPC::CalculateLineSample(lat, lon, h, line, sample, dLine, dSample);
    if (refinement_) refinement_->RawToRefined(*line, *sample, line, sample);
    return;
  }
  double raw_by_line[3];
  double raw_by_sample[3];
  TRPC::CalculateLineSample(lat, lon, h, line, sample, raw_by_line, raw_by_sample);
  refinement_->RawToRefined(*line, *sample, line, sample);
  TRPCRefinementDataAffine by;
  refinement_->GetRefinementData(&by);
  for (std::size_t x = 0; x < std::size(raw_by_line); ++x) {
    if (dLine != nullptr) dLine[x] = by.LineDrift * raw_by_line[x] + by.LineTilt * raw_by_sample[x];
    if (dSample != nullptr) dSample[x] = by.SampleDrift * raw_by_line[x] + by.SampleTilt * raw_by_sample[x];
  }
}

bool TAdjustedRPC::CalculateLatLon(const double& line, const double& sample, const double& h, double* lat,
                                   double* lon) const {
  if (!refinement_) return TRPC::CalculateLatLon(line, sample, h, lat, lon);
  const bool prepared = EnsureApproximation();
  const TNormalizations& n = *Normalizations();
  const double H = n.Height.Initial2Normalized(h);
  double raw_line = 0.0;
  double raw_sample = 0.0;
  refinement_->RefinedToRaw(line, sample, &raw_line, &raw_sample);
  double P = 0.0;
  double L = 0.0;
  const bool solved =
      prepared && CalculateLatLonNormalized(n.Line.Initial2Normalized(raw_line),
                                            n.Sample.Initial2Normalized(raw_sample), H, &P, &L);
  *lat = n.Latitude.Normalized2Initial(solved ? P : 0.0);
  *lon = n.Longitude.Normalized2Initial(solved ? L : 0.0);
  return solved;
}

TRPCInverse TAdjustedRPC::SolveLatLon(double line, double sample, double h, double* lat, double* lon) const {
  if (!refinement_) return TRPC::SolveLatLon(line, sample, h, lat, lon);
  double raw_line = 0.0;
  double raw_sample = 0.0;
  refinement_->RefinedToRaw(line, sample, &raw_line, &raw_sample);
  TRPCInverse inverse = TRPC::SolveLatLon(raw_line, raw_sample, h, lat, lon);
  double seen_line = 0.0;
  double seen_sample = 0.0;
  CalculateLineSample(*lat, *lon, h, &seen_line, &seen_sample, nullptr, nullptr);
  inverse.Residual = std::hypot(seen_line - line, seen_sample - sample);
  return inverse;
}

bool TAdjustedRPC::InitializeFromXML(TKaXIniReader* reader) {
  refinement_.reset();
  if (!TRPC::InitializeFromXML(reader)) return false;
  try {
    const unsigned long section = reader->EnterSectionS(RefinementSection);
    if (section == 0) return true;
    TRPCRefinementAffine refinement;
    if (refinement.InitializeFromXML(reader)) refinement_ = refinement;
    return reader->LeaveSection(section);
  } catch (...) {
    return false;
  }
}

bool TAdjustedRPC::SaveToXML(TKaXIniWriter* writer) const {
  if (!TRPC::SaveToXML(writer)) return false;
  if (!refinement_) return true;
  try {
    const unsigned long section = writer->BeginSection(RefinementSection);
    return section != 0 && refinement_->SaveToXML(writer) && writer->EndSection(section);
  } catch (...) {
    return false;
  }
}

bool TAdjustedRPC::GetRPCRefinementData(TRPCRefinementDataAffine* data) const {
  if (!refinement_) return false;
  refinement_->GetRefinementData(data);
  return true;
}

bool TAdjustedRPC::SeeNodes(const TRPCEstimationDataSetParams& params, int steps,
                            TRPCEstimationDataSet* data) const {
  if (Normalizations() == nullptr) return false;
  const TNormalizations& n = *Normalizations();
  const std::vector<double> longitudes = Nodes(params.Longitude, steps);
  const std::vector<double> heights = Nodes(params.Height, steps);
  TRPCEstimationDataSet seen;
  seen.Normalized = true;
  for (const double P : Nodes(params.Latitude, steps)) {
    for (const double L : longitudes) {
      for (const double H : heights) {
        TRPCEstimationDataItem item = {P, L, H, 0.0, 0.0};
        CalculateLineSample(n.Latitude.Normalized2Initial(P), n.Longitude.Normalized2Initial(L),
                            n.Height.Normalized2Initial(H), &item.Line, &item.Sample, nullptr, nullptr);
        item.Line = n.Line.Initial2Normalized(item.Line);
        item.Sample = n.Sample.Initial2Normalized(item.Sample);
        if (std::isfinite(item.Line) && std::isfinite(item.Sample)) seen.Items.push_back(item);
      }
    }
  }
  if (seen.Items.size() < RPCEstimationLeastItems) return false;
  *data = std::move(seen);
  return true;
}

double TAdjustedRPC::MissOfFit(const TRPCEstimationDataSet& fitted,
                               const TRPCEstimationDataSet& others) const {
  TRPCData record;
  GetRPCData(&record);
  if (!EstimateRPC(fitted, &record)) return HUGE_VAL;
  const TRPC model(record, nullptr);
  double largest = 0.0;
  for (const TRPCEstimationDataItem& item : others.Items) {
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSampleNormalized(item.Latitude, item.Longitude, item.Height, &line, &sample, nullptr,
                                        nullptr);
    const double by_line = record.LineScale * (line - item.Line);
    const double by_sample = record.SampleScale * (sample - item.Sample);
    const double miss = std::sqrt(by_line * by_line + by_sample * by_sample);
    largest = std::max(largest, std::isnan(miss) ? HUGE_VAL : miss);
  }
  return largest;
}

bool TAdjustedRPC::CreateReApproximationDataset(TRPCEstimationDataSetParams* params,
                                                TRPCEstimationDataSet* data) const {
  constexpr double GoodFit = 1e-3;
  constexpr int Changes[] = {-1, 1, -2, 2};
  TRPCEstimationDataSet best;
  if (!SeeNodes(*params, params->Steps, &best)) return false;
  // Between the nodes of all.
  TRPCEstimationDataSet others;
  SeeNodes(*params, params->Steps + 3, &others);
  double least_miss = MissOfFit(best, others);
  for (std::size_t i = 0; i < std::size(Changes) && !(least_miss <= GoodFit); ++i) {
    TRPCEstimationDataSet changed;
    if (!SeeNodes(*params, params->Steps + Changes[i], &changed)) continue;
    const double miss = MissOfFit(changed, others);
    if (!(miss < least_miss)) continue;
    least_miss = miss;
    best = std::move(changed);
  }
  *data = std::move(best);
  return true;
}

bool TAdjustedRPC::Export(TRPCData* rpc) const {
  if (Normalizations() == nullptr) return false;
  TRPCRefinementDataAffine refinement;
  GetRPCRefinementData(&refinement);
  if (refinement.IsBias()) {
    GetRPCData(rpc);
    if (refinement.IsUnity()) return true;
    rpc->LineOffset += refinement.LineBias;
    rpc->SampleOffset += refinement.SampleBias;
    return true;
  }
  TRPCEstimationDataSetParams params;
  TRPCEstimationDataSet data;
  bool made = CreateReApproximationDataset(&params, &data) || CreateReApproximationDataset(&params, &data);
  if (!made) {
    params.Steps *= 10;
    made = CreateReApproximationDataset(&params, &data);
  }
  if (!made) return false;
  GetRPCData(rpc);
  return EstimateRPC(data, rpc);
}

bool TAdjustedRPC::ExportClosely(TRPCData* rpc) const {
  if (ExportExactly(rpc)) return true;
  const TRPCEstimationDataSetParams params;
  TRPCEstimationDataSet data;
  TRPCData adapted;
  GetRPCData(&adapted);
  if (!SeeNodes(params, params.Steps, &data) || !AdaptRPC(data, &adapted)) return false;
  *rpc = adapted;
  return true;
}

bool TAdjustedRPC::ExportExactly(TRPCData* rpc) const {
  TRPCData raw;
  GetRPCData(&raw);
  if (!raw) return false;
  TRPCRefinementDataAffine by;
  GetRPCRefinementData(&by);
  TRPCData refined = raw;
  bool exact = false;
  if (by.LineTilt == 0.0 && by.SampleDrift == 0.0) {
    exact = StretchAxis(LineAxis, by.LineDrift, by.LineBias, &refined) &&
            StretchAxis(SampleAxis, by.SampleTilt, by.SampleBias, &refined);
  } else if (std::equal(std::begin(raw.LineDenom), std::end(raw.LineDenom), raw.SampleDenom)) {
    exact = MixAxis(LineAxis, raw, by.LineDrift, by.LineTilt, by.LineBias, &refined) &&
            MixAxis(SampleAxis, raw, by.SampleDrift, by.SampleTilt, by.SampleBias, &refined);
  }
  if (exact) *rpc = refined;
  return exact;
}

}  // namespace SatCommonUtils
