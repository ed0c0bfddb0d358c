#include "kelvane/rpc/footprint.h"

#include <cmath>

#include "kelvane/geometry/longitude.h"
#include "kelvane/numeric/rounded.h"

namespace SatCommonUtils {

namespace {

constexpr double Wgs84SemiMajorAxis = 6378137.0;                  // metres
constexpr double Wgs84EccentricitySquared = 6.69437999014132e-3;  // from 1/f = 298.257223563
constexpr double RadiansPerDegree = 0.017453292519943295;

}  // namespace

bool CalculateFootprint(const TRPC& model, std::array<TGroundPosition, 4>* corners) {
  constexpr double Corners[4][2] = {{-1.0, -1.0}, {-1.0, 1.0}, {1.0, 1.0}, {1.0, -1.0}};
  TRPCData data;
  model.GetRPCData(&data);
  if (!data) return false;
  std::array<TGroundPosition, 4> found;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const double line = Corners[i][0] * data.LineScale + data.LineOffset;
    const double sample = Corners[i][1] * data.SampleScale + data.SampleOffset;
    const TRPCInverse inverse =
        model.SolveLatLon(line, sample, data.HeightOffset, &found[i].Latitude, &found[i].Longitude);
    if (!inverse.IsAnswer()) return false;
    found[i].Longitude = WithinHalfTurn(found[i].Longitude);
  }
  *corners = found;
  return true;
}

bool CalculateGroundSampleDistance(const TRPC& model, TGroundSampleDistance* distance) {
  TRPCData data;
  model.GetRPCData(&data);
  if (!data) return false;
  double lat = 0.0;
  double lon = 0.0;
  const TRPCInverse inverse =
      model.SolveLatLon(data.LineOffset, data.SampleOffset, data.HeightOffset, &lat, &lon);
  if (!inverse.IsAnswer()) return false;
  double line = 0.0;
  double sample = 0.0;
  double line_by[3];
  double sample_by[3];
  model.CalculateLineSample(lat, lon, data.HeightOffset, &line, &sample, line_by, sample_by);
  const double sine = rounded::sin(lat * RadiansPerDegree);
  const double w = std::sqrt(1.0 - Wgs84EccentricitySquared * sine * sine);
  const double meridian_radius = Wgs84SemiMajorAxis * (1.0 - Wgs84EccentricitySquared) / (w * w * w);
  const double parallel_radius = Wgs84SemiMajorAxis / w * rounded::cos(lat * RadiansPerDegree);
  // Metres per degree.
  const double north = meridian_radius * RadiansPerDegree;
  const double east = parallel_radius * RadiansPerDegree;
  // The columns of the inverse Jacobian are the ground's moves, in degrees, per line and per sample.
  const double determinant = line_by[0] * sample_by[1] - line_by[1] * sample_by[0];
  const TGroundSampleDistance found = {
      std::fabs(std::hypot(north * sample_by[1], east * sample_by[0]) / determinant),
      std::fabs(std::hypot(north * line_by[1], east * line_by[0]) / determinant)};
  if (!std::isfinite(found.Line) || !std::isfinite(found.Sample)) return false;
  *distance = found;
  return true;
}

}  // namespace SatCommonUtils
