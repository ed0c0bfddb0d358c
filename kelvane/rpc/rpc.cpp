#include "kelvane/rpc/rpc.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "kelvane/module/ini_sections.h"
#include "kelvane/rpc/rpc_pairs.h"

namespace SatCommonUtils {

namespace {

constexpr char MarginSection[] = "Margin";
constexpr char WidthKey[] = "RasterWidth";
constexpr char HeightKey[] = "RasterHeight";
constexpr char ApproximationSection[] = "Approximation";

/// In the order in which the approximation's numbers are held.
constexpr const char* ApproximationKeys[] = {
    "LineNumLatCoef",     "LineNumLonCoef",     "LineNumHCoef",     "LineNumFreeTerm",
    "LineDenomLatCoef",   "LineDenomLonCoef",   "LineDenomHCoef",   "LineDenomFreeTerm",
    "SampleNumLatCoef",   "SampleNumLonCoef",   "SampleNumHCoef",   "SampleNumFreeTerm",
    "SampleDenomLatCoef", "SampleDenomLonCoef", "SampleDenomHCoef", "SampleDenomFreeTerm",
};

}  // namespace

TRPC::TRPC() = default;

TRPC::TRPC(const TRPCData* data, const TPolygon* margin) : TRPC(*data, margin) {}

TRPC::TRPC(const TRPCData& data, const TPolygon* margin) : TRPC() {
  SetRPCData(data);
  if (margin != nullptr && *margin) margin_ = *margin;
}

TRPC::TRPC(TKaXIniReader* src) : TRPC() {
  if (!InitializeFromXML(src)) throw std::runtime_error("TRPC::TRPC(TKaXIniReader *src)");
}

TRPC::~TRPC() = default;

var_a<TRPC*> TRPC::CreateVCopy() const try {
  if (!normalizations_) return nullptr;
  TRPCData data;
  GetRPCData(&data);
  var_a<TRPC*> copy = new_a<TRPC>(data, &margin_);
  copy->raster_width_ = raster_width_;
  copy->raster_height_ = raster_height_;
  return copy;
} catch (...) {
  return nullptr;
}

TPairRatio TRPC::Ratio() const { return {numerators_, denominators_}; }

void TRPC::CalculateLineSampleNormalized(const double& P, const double& L, const double& H, double* line,
                                         double* sample, double* dLine, double* dSample) const {
  const bool plain = dLine == nullptr && dSample == nullptr;
  const TLineSample image = plain ? Project(P, L, H) : ProjectWithDerivatives(P, L, H, dLine, dSample);
  *line = image.Line;
  *sample = image.Sample;
}

TLineSample TRPC::Project(double P, double L, double H) const {
  const TPairRatio ratio = Ratio();
  const TRPCTerms<TPair> terms = TPairRatio::Terms(P, L, H);
  return Parts(TPairRatioAt(ratio, terms).Value());
}

// Apart from the projection: kept together, the registers that the derivatives need would slow it down.
[[gnu::noinline]] TLineSample TRPC::ProjectWithDerivatives(double P, double L, double H, double* dLine,
                                                           double* dSample) const {
  const TPairRatio ratio = Ratio();
  const TRPCTerms<TPair> terms = TPairRatio::Terms(P, L, H);
  const TPairRatioAt at(ratio, terms);
  const TPair by_ground[] = {at.ByLatitude(), at.ByLongitude(), at.ByHeight()};
  for (std::size_t x = 0; x < std::size(by_ground); ++x) {
    const TLineSample derivative = Parts(by_ground[x]);
    if (dLine != nullptr) dLine[x] = derivative.Line;
    if (dSample != nullptr) dSample[x] = derivative.Sample;
  }
  return Parts(at.Value());
}

void TRPC::CalculateLineSample(const double& lat, const double& lon, const double& h, double* line,
                               double* sample, double* dLine, double* dSample) const {
  const TNormalizations& n = *normalizations_;
  const double P = n.Latitude.Initial2Normalized(lat);
  const double L = n.Longitude.Initial2Normalized(lon);
  const double H = n.Height.Initial2Normalized(h);
  const bool plain = dLine == nullptr && dSample == nullptr;
  const TLineSample image = plain ? Project(P, L, H) : ProjectWithDerivatives(P, L, H, dLine, dSample);
  if (dLine != nullptr) ToPixels(dLine, n.Line.Scale());
  if (dSample != nullptr) ToPixels(dSample, n.Sample.Scale());
  *line = n.Line.Normalized2Initial(image.Line);
  *sample = n.Sample.Normalized2Initial(image.Sample);
}

void TRPC::ToPixels(double* derivatives, double scale) const {
  derivatives[0] *= scale / normalizations_->Latitude.Scale();
  derivatives[1] *= scale / normalizations_->Longitude.Scale();
  derivatives[2] *= scale / normalizations_->Height.Scale();
}

void TRPC::SetRPCData(const TRPCData& data) {
  Reset();
  normalizations_ = TNormalizations{
      TLinearNormalization(data.LineOffset, data.LineScale),
      TLinearNormalization(data.SampleOffset, data.SampleScale),
      TLinearNormalization(data.LatitudeOffset, data.LatitudeScale),
      TLinearNormalization(data.LongitudeOffset, data.LongitudeScale),
      TLinearNormalization(data.HeightOffset, data.HeightScale),
  };
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    numerators_[k][0] = data.LineNum[k];
    numerators_[k][1] = data.SampleNum[k];
    denominators_[k][0] = data.LineDenom[k];
    denominators_[k][1] = data.SampleDenom[k];
  }
}

void TRPC::GetRPCData(TRPCData* out) const {
  if (!normalizations_) {
    out->Invalidate();
    return;
  }
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    out->LineNum[k] = numerators_[k][0];
    out->SampleNum[k] = numerators_[k][1];
    out->LineDenom[k] = denominators_[k][0];
    out->SampleDenom[k] = denominators_[k][1];
  }
  const TNormalizations& n = *normalizations_;
  out->LineOffset = n.Line.Offset();
  out->LineScale = n.Line.Scale();
  out->SampleOffset = n.Sample.Offset();
  out->SampleScale = n.Sample.Scale();
  out->LatitudeOffset = n.Latitude.Offset();
  out->LatitudeScale = n.Latitude.Scale();
  out->LongitudeOffset = n.Longitude.Offset();
  out->LongitudeScale = n.Longitude.Scale();
  out->HeightOffset = n.Height.Offset();
  out->HeightScale = n.Height.Scale();
}

bool TRPC::SetRasterDims(int width, int height) {
  if (width < 1 || height < 1) return false;
  raster_width_ = width;
  raster_height_ = height;
  return true;
}

bool TRPC::GetRasterDims(int* width, int* height) const {
  if (raster_width_ < 1) return false;
  if (width == nullptr || height == nullptr || raster_height_ < 1) return raster_height_ > 0;
  *width = raster_width_;
  *height = raster_height_;
  return true;
}

bool TRPC::GetMargin(TPolygon* out) const {
  if (!margin_) return false;
  *out = margin_;
  return true;
}

void TRPC::Reset() {
  normalizations_.reset();
  margin_.Clear();
  raster_width_ = 0;
  raster_height_ = 0;
  approximation_valid_ = false;
}

void TRPC::ReadMargin(TKaXIniReader* reader) {
  const unsigned long section = reader->EnterSectionS(MarginSection);
  // A margin that cannot be read leaves the reader inside its section: the keys behind it are then looked
  // up there, and found absent.
  const bool read = section != 0 && margin_.InitializeFromXML(reader) && reader->LeaveSection(section);
  if (!read) margin_.Clear();
}

bool TRPC::ReadApproximation(TKaXIniReader* reader) {
  const unsigned long section = reader->EnterSectionS(ApproximationSection);
  if (section == 0) return true;
  try {
    std::transform(std::begin(ApproximationKeys), std::end(ApproximationKeys), approximation_.begin(),
                   [&](const char* key) { return reader->ReadE<double>(reader->FindFE(key, 0)); });
    approximation_valid_ = true;
  } catch (...) {
    // Without all its numbers there is no approximation; it is built anew when it is needed.
    approximation_valid_ = false;
  }
  return reader->LeaveSection(section);
}

bool TRPC::InitializeFromXML(TKaXIniReader* reader) {
  TRPCData data;
  if (!data.InitializeFromXML(reader)) return false;
  SetRPCData(data);
  try {
    ReadMargin(reader);
    raster_width_ = reader->Read<int>(reader->FindF(WidthKey, 0), 0);
    raster_height_ = reader->Read<int>(reader->FindF(HeightKey, 0), 0);
    return ReadApproximation(reader);
  } catch (...) {
    return false;
  }
}

bool TRPC::SaveMargin(TKaXIniWriter* writer) const {
  return WriteSection(writer, MarginSection, [&] { return margin_.SaveToXML(writer); });
}

bool TRPC::SaveApproximation(TKaXIniWriter* writer) const {
  const unsigned long section = writer->BeginSection(ApproximationSection);
  if (section == 0) return false;
  bool written = true;
  for (std::size_t i = 0; written && i < ApproximationSize; ++i) {
    written = writer->WriteS<double>(ApproximationKeys[i], approximation_[i]);
  }
  return writer->EndSection(section) && written;
}

bool TRPC::SaveToXML(TKaXIniWriter* writer) const try {
  if (!normalizations_) return false;
  TRPCData data;
  GetRPCData(&data);
  if (!data.SaveToXML(writer)) return false;
  bool saved = !margin_ || SaveMargin(writer);
  if (raster_width_ >= 1 && raster_height_ >= 1) {
    // The outcome of the raster size stands for that of the margin too: a margin that could not be
    // written does not fail a model that has a size.
    saved = writer->WriteS<int>(WidthKey, raster_width_) && writer->WriteS<int>(HeightKey, raster_height_);
  }
  if (!saved || !approximation_valid_) return saved;
  return SaveApproximation(writer);
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
