#include "kelvane/rpc/adjusted_rpc.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

#include "kelvane/module/ini_sections.h"
#include "kelvane/rpc/rpc_adaptation.h"

namespace SatCommonUtils {

namespace {

constexpr char RefinementSection[] = "Refinement";

/// An image coordinate of a record.
struct TImageAxis {
  double (TRPCData::*Numerator)[TRPCData::CoefficientCount];
  double (TRPCData::*Denominator)[TRPCData::CoefficientCount];
  double TRPCData::*Offset;
  double TRPCData::*Scale;
};

constexpr TImageAxis LineAxis = {&TRPCData::LineNum, &TRPCData::LineDenom, &TRPCData::LineOffset,
                                 &TRPCData::LineScale};
constexpr TImageAxis SampleAxis = {&TRPCData::SampleNum, &TRPCData::SampleDenom, &TRPCData::SampleOffset,
                                   &TRPCData::SampleScale};

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

/// `axis` of `rpc` becomes much like by_line * line + by_sample * sample + bias of `raw`: offset and scale
/// embrace what that reaches, in whole pixels, so that no form of file rounds them; the denominator lies
/// between the two of `raw`.
void BlendAxis(const TImageAxis& axis, const TRPCData& raw, double by_line, double by_sample, double bias,
               TRPCData* rpc) {
  const double line_reach = by_line * raw.LineScale;
  const double sample_reach = by_sample * raw.SampleScale;
  const double reach = std::fabs(line_reach) + std::fabs(sample_reach);
  const double centre = by_line * raw.LineOffset + by_sample * raw.SampleOffset + bias;
  const double scale = reach < 1.0 ? reach : std::ceil(reach);
  const double offset = std::nearbyint(centre);
  rpc->*axis.Offset = offset;
  rpc->*axis.Scale = scale;
  const double line_part = std::fabs(line_reach) / reach;
  const double sample_part = std::fabs(sample_reach) / reach;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    const double denominator = line_part * raw.LineDenom[k] / raw.LineDenom[0] +
                               sample_part * raw.SampleDenom[k] / raw.SampleDenom[0];
    (rpc->*axis.Denominator)[k] = denominator;
    (rpc->*axis.Numerator)[k] =
        (line_reach * raw.LineNum[k] / raw.LineDenom[0] +
         sample_reach * raw.SampleNum[k] / raw.SampleDenom[0] + (centre - offset) * denominator) /
        scale;
  }
}

/// The nodes of an axis. None for a range that is empty or not within the cube.
std::vector<double> Nodes(const TAdjustedRPC::TRPCEstimationDataSetParams::TRange& range, int steps,
                          bool even) {
  if (!(range.Min >= -1.0 && range.Min < range.Max && range.Max <= 1.0) || steps < 1 ||
      steps > TAdjustedRPC::MostReApproximationSteps) {
    return {};
  }
  std::vector<double> nodes;
  for (int i = 0; i <= steps; ++i) {
    double at = (2.0 * i - steps) / steps;
    // Near the sine of Chebyshev's nodes, and of the same bits everywhere.
    if (!even) at = 0.5 * at * (3.0 - at * at);
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
  // Each corrected derivative takes both of the raw ones.
  const bool mixed = refinement_ && (dLine != nullptr || dSample != nullptr);
  double raw_line[3];
  double raw_sample[3];
  TRPC::CalculateLineSample(lat, lon, h, line, sample, mixed ? raw_line : dLine,
                            mixed ? raw_sample : dSample);
  if (!refinement_) return;
  refinement_->RawToRefined(*line, *sample, line, sample);
  TRPCRefinementDataAffine by;
  refinement_->GetRefinementData(&by);
  for (std::size_t x = 0; mixed && x < std::size(raw_line); ++x) {
    if (dLine != nullptr) dLine[x] = by.LineDrift * raw_line[x] + by.LineTilt * raw_sample[x];
    if (dSample != nullptr) dSample[x] = by.SampleDrift * raw_line[x] + by.SampleTilt * raw_sample[x];
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
  const double by_line = seen_line - line;
  const double by_sample = seen_sample - sample;
  inverse.Residual = std::sqrt(by_line * by_line + by_sample * by_sample);
  return inverse;
}

bool TAdjustedRPC::InitializeFromXML(TKaXIniReader* reader) {
  const bool plain = TRPC::InitializeFromXML(reader);
  refinement_.reset();
  if (!plain) return false;
  try {
    const unsigned long section = reader->EnterSectionS(RefinementSection);
    if (section == 0) return true;
    TRPCRefinementAffine refinement;
    const bool read = refinement.InitializeFromXML(reader);
    if (!reader->LeaveSection(section)) return false;
    if (read) refinement_ = refinement;
    return true;
  } catch (...) {
    return false;
  }
}

bool TAdjustedRPC::SaveToXML(TKaXIniWriter* writer) const {
  if (!TRPC::SaveToXML(writer)) return false;
  if (!refinement_) return true;
  try {
    return WriteSection(writer, RefinementSection, [&] { return refinement_->SaveToXML(writer); });
  } catch (...) {
    return false;
  }
}

bool TAdjustedRPC::GetRPCRefinementData(TRPCRefinementDataAffine* data) const {
  if (!refinement_) return false;
  refinement_->GetRefinementData(data);
  return true;
}

bool TAdjustedRPC::GetRPCRefinement(TRPCRefinementAffine* refinement) const {
  if (refinement_) *refinement = *refinement_;
  return refinement_.has_value();
}

bool TAdjustedRPC::SeeNodes(const TRPCEstimationDataSetParams& params, const TLayout& layout,
                            const TLinearNormalization& line, const TLinearNormalization& sample,
                            TRPCEstimationDataSet* data) const {
  const TNormalizations& n = *Normalizations();
  const std::vector<double> longitudes = Nodes(params.Longitude, layout.Longitude, layout.Even);
  const std::vector<double> heights = Nodes(params.Height, layout.Height, layout.Even);
  TRPCEstimationDataSet seen;
  seen.Normalized = true;
  for (const double P : Nodes(params.Latitude, layout.Latitude, layout.Even)) {
    for (const double L : longitudes) {
      for (const double H : heights) {
        TRPCEstimationDataItem item = {P, L, H, 0.0, 0.0};
        CalculateLineSample(n.Latitude.Normalized2Initial(P), n.Longitude.Normalized2Initial(L),
                            n.Height.Normalized2Initial(H), &item.Line, &item.Sample, nullptr, nullptr);
        item.Line = line.Initial2Normalized(item.Line);
        item.Sample = sample.Initial2Normalized(item.Sample);
        if (std::isfinite(item.Line) && std::isfinite(item.Sample)) seen.Items.push_back(item);
      }
    }
  }
  if (seen.Items.size() < RPCEstimationLeastItems) return false;
  *data = std::move(seen);
  return true;
}

std::int64_t TAdjustedRPC::NodeCount(const TLayout& layout) {
  return (layout.Latitude + std::int64_t{1}) * (layout.Longitude + 1) * (layout.Height + 1);
}

TAdjustedRPC::TReApproximation TAdjustedRPC::FitTo(TRPCEstimationDataSet data,
                                                   const TRPCEstimationDataSet& others, double limit) const {
  TReApproximation made;
  GetRPCData(&made.Record);
  made.Data = std::move(data);
  made.Fits = EstimateRPC(made.Data, &made.Record);
  if (!made.Fits) return made;
  const TRPCData& record = made.Record;
  const TRPC model(record, nullptr);
  made.Miss = 0.0;
  for (const TRPCEstimationDataItem& item : others.Items) {
    if (made.Miss >= limit) break;
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSampleNormalized(item.Latitude, item.Longitude, item.Height, &line, &sample, nullptr,
                                        nullptr);
    const double by_line = record.LineScale * (line - item.Line);
    const double by_sample = record.SampleScale * (sample - item.Sample);
    const double miss = std::sqrt(by_line * by_line + by_sample * by_sample);
    made.Miss = std::max(made.Miss, std::isnan(miss) ? HUGE_VAL : miss);
  }
  return made;
}

bool TAdjustedRPC::ReApproximate(const TRPCEstimationDataSetParams& params, TReApproximation* best) const {
  constexpr double GoodFit = 1e-3;
  constexpr std::int64_t MostNodes = 100000;
  constexpr int JudgingSteps = 40;
  if (Normalizations() == nullptr) return false;
  const TNormalizations& n = *Normalizations();
  const auto see = [&](const TLayout& layout, TRPCEstimationDataSet* data) {
    return SeeNodes(params, layout, n.Line, n.Sample, data);
  };
  const int steps = params.Steps;
  TLayout layout = {steps, steps, steps, false};
  TRPCEstimationDataSet seen;
  if (!see(layout, &seen)) return false;
  TRPCEstimationDataSet others;
  see({JudgingSteps, JudgingSteps, JudgingSteps, true}, &others);
  *best = FitTo(std::move(seen), others, HUGE_VAL);
  // Up to two steps fewer or more on each axis, neighbours far apart in turn.
  constexpr int Changes = 5;
  constexpr int Layouts = Changes * Changes * Changes;
  constexpr int Stride = 47;
  std::int64_t nodes = NodeCount(layout);
  for (int i = 0; i < Layouts && !(best->Miss <= GoodFit); ++i) {
    const int k = (Layouts / 2 + Stride * i) % Layouts;
    layout = {steps - 2 + k / (Changes * Changes), steps - 2 + k / Changes % Changes, steps - 2 + k % Changes,
              true};
    nodes += NodeCount(layout);
    if (nodes > MostNodes) break;
    TRPCEstimationDataSet changed;
    if (!see(layout, &changed)) continue;
    TReApproximation made = FitTo(std::move(changed), others, best->Miss);
    if (made.Miss < best->Miss) *best = std::move(made);
  }
  return true;
}

bool TAdjustedRPC::CreateReApproximationDataset(TRPCEstimationDataSetParams* params,
                                                TRPCEstimationDataSet* data) const {
  TReApproximation best;
  if (!ReApproximate(*params, &best)) return false;
  *data = std::move(best.Data);
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
  TReApproximation best;
  bool made = ReApproximate(params, &best) || ReApproximate(params, &best);
  if (!made) {
    params.Steps *= 10;
    made = ReApproximate(params, &best);
  }
  if (made) *rpc = best.Record;
  return made && best.Fits;
}

bool TAdjustedRPC::ExportClosely(TRPCData* rpc) const {
  if (ExportExactly(rpc)) return true;
  TRPCData raw;
  GetRPCData(&raw);
  if (!raw) return false;
  TRPCRefinementDataAffine by;
  GetRPCRefinementData(&by);
  TRPCData adapted = raw;
  BlendAxis(LineAxis, raw, by.LineDrift, by.LineTilt, by.LineBias, &adapted);
  BlendAxis(SampleAxis, raw, by.SampleDrift, by.SampleTilt, by.SampleBias, &adapted);
  if (!IsUsableScale(adapted.LineScale) || !IsUsableScale(adapted.SampleScale)) return false;
  const TRPCEstimationDataSetParams params;
  TRPCEstimationDataSet data;
  if (!SeeNodes(params, {params.Steps, params.Steps, params.Steps, false},
                TLinearNormalization(adapted.LineOffset, adapted.LineScale),
                TLinearNormalization(adapted.SampleOffset, adapted.SampleScale), &data) ||
      !AdaptRPC(data, &adapted)) {
    return false;
  }
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
