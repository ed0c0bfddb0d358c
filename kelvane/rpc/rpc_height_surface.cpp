/// Image to ground where the ray meets a height surface.
#include <algorithm>
#include <cmath>
#include <optional>

#include "kelvane/module/host/message.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_pairs.h"

namespace SatCommonUtils {

namespace {

/// A point of the ray, and how far above it the surface lies there.
struct TRayPoint {
  double Latitude;
  double Longitude;
  double Height;
  double Gap;
};

/// Goes along a ray for a point without a gap. `RayAt(h, &lat, &lon)` gives the ray's point at a height.
template <class RayAt>
class TSurfaceSearch {
 public:
  TSurfaceSearch(const RayAt& ray_at, const TRPCHeightSurface& surface)
      : ray_at_(ray_at), surface_(surface) {}

  std::optional<TRayPoint> Run(double offset, double scale) {
    std::optional<TRayPoint> at;
    for (const double place : {0.0, -0.5, 0.5}) {
      if (!at) at = Look(offset + place * scale);
    }
    while (at && !IsMeeting(*at)) {
      Note(*at);
      // At a step of the surface the gap changes its sign without being nothing anywhere.
      if (IsEnclosed() && Width() <= TRPC::HeightTolerance) break;
      const double next = NextHeight(*at);
      before_ = at;
      at = LookTowards(at->Height, next);
    }
    return at;
  }

 private:
  static bool IsMeeting(const TRayPoint& at) { return std::fabs(at.Gap) <= TRPC::HeightTolerance; }

  /// None where there is no ray or no surface, or when enough has been asked.
  std::optional<TRayPoint> Look(double height) {
    TRayPoint at{0.0, 0.0, height, 0.0};
    if (lookups_ == TRPC::MaxSurfaceLookups) return {};
    ++lookups_;
    if (!ray_at_(height, &at.Latitude, &at.Longitude)) return {};
    const std::optional<double> surface = surface_(at.Latitude, at.Longitude);
    if (!surface || !std::isfinite(*surface)) return {};
    at.Gap = *surface - height;
    return at;
  }

  /// Halves a step that ends in a hole, as long as it is one.
  std::optional<TRayPoint> LookTowards(double height, double next) {
    std::optional<TRayPoint> at = Look(next);
    while (!at && lookups_ < TRPC::MaxSurfaceLookups && std::fabs(next - height) > TRPC::HeightTolerance) {
      next = height + 0.5 * (next - height);
      at = Look(next);
    }
    return at;
  }

  void Note(const TRayPoint& at) {
    last_width_ = IsEnclosed() ? Width() : HUGE_VAL;
    (at.Gap > 0.0 ? below_ : above_) = at;
  }
  bool IsEnclosed() const { return below_ && above_; }
  double Width() const { return std::fabs(above_->Height - below_->Height); }

  double NextHeight(const TRayPoint& at) const {
    if (IsEnclosed()) return HeightBetween();
    if (!before_) return at.Height + at.Gap;
    // Where the surface follows the ray, going to its height falls short.
    const double change = (at.Gap - before_->Gap) / (at.Height - before_->Height);
    return at.Height + at.Gap * (change < 0.0 ? std::min(-1.0 / change, LongestStep) : 1.0);
  }

  /// The gap is taken for linear, unless that has just failed to halve the interval: steps from one side to
  /// the other would go on for ever.
  double HeightBetween() const {
    const double width = above_->Height - below_->Height;
    const bool slow = Width() > 0.5 * last_width_;
    return below_->Height + width * (slow ? 0.5 : below_->Gap / (below_->Gap - above_->Gap));
  }

  /// Times the gap.
  static constexpr double LongestStep = 10.0;

  const RayAt& ray_at_;
  const TRPCHeightSurface& surface_;
  int lookups_ = 0;
  std::optional<TRayPoint> before_;
  /// The latest points below the surface and above it.
  std::optional<TRayPoint> below_;
  std::optional<TRayPoint> above_;
  double last_width_ = HUGE_VAL;
};

/// What the iteration of the ray leaves where it does not converge. The misses are in pixels.
void CheckMeets(double line, double sample) {
  if (!(std::fabs(line) <= TRPC::SurfaceCheckBound && std::fabs(sample) <= TRPC::SurfaceCheckBound)) {
    throw TKaMessage("TRPC::CalculateLatLonNormalizedAlt debug check failure");
  }
}

}  // namespace

bool TRPC::CalculateLatLonAlt(const double& line, const double& sample, const TRPCHeightSurface& surface,
                              double* lat, double* lon, double* h) const {
  const TLineSample image = {line, sample};
  const TLinearNormalization& heights = normalizations_->Height;
  const auto ray_at = [&](double height, double* latitude, double* longitude) {
    return CalculateLatLon(image.Line, image.Sample, height, latitude, longitude);
  };
  const auto met = TSurfaceSearch(ray_at, surface).Run(heights.Offset(), heights.Scale());
  if (!met) return false;
  TLineSample seen{};
  CalculateLineSample(met->Latitude, met->Longitude, met->Height, &seen.Line, &seen.Sample, nullptr, nullptr);
  CheckMeets(seen.Line - image.Line, seen.Sample - image.Sample);
  *lat = met->Latitude;
  *lon = met->Longitude;
  *h = met->Height;
  return true;
}

bool TRPC::CalculateLatLonNormalizedAlt(const double& line, const double& sample,
                                        const TRPCHeightSurface& surface, double* lat, double* lon,
                                        double* h) const {
  const TLineSample image = {line, sample};
  const TNormalizations& n = *normalizations_;
  const auto ray_at = [&](double height, double* latitude, double* longitude) {
    double P = 0.0;
    double L = 0.0;
    const double H = n.Height.Initial2Normalized(height);
    const bool solved = CalculateLatLonNormalized(image.Line, image.Sample, H, &P, &L);
    *latitude = n.Latitude.Normalized2Initial(P);
    *longitude = n.Longitude.Normalized2Initial(L);
    return solved;
  };
  const auto met = TSurfaceSearch(ray_at, surface).Run(n.Height.Offset(), n.Height.Scale());
  if (!met) return false;
  const double P = n.Latitude.Initial2Normalized(met->Latitude);
  const double L = n.Longitude.Initial2Normalized(met->Longitude);
  const double H = n.Height.Initial2Normalized(met->Height);
  const TLineSample seen = Project(P, L, H);
  CheckMeets((seen.Line - image.Line) * n.Line.Scale(), (seen.Sample - image.Sample) * n.Sample.Scale());
  *lat = P;
  *lon = L;
  *h = H;
  return true;
}

}  // namespace SatCommonUtils
