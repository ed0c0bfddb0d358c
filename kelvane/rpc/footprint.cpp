#include "kelvane/rpc/footprint.h"

#include <cmath>
#include <optional>

namespace SatCommonUtils {

namespace {

constexpr double Wgs84SemiMajorAxis = 6378137.0;                  // metres
constexpr double Wgs84EccentricitySquared = 6.69437999014132e-3;  // from 1/f = 298.257223563
constexpr double RadiansPerDegree = 0.017453292519943295;

/// A ground point in normalised coordinates, its height 0, and the image's derivatives there.
struct TSolution {
  double P = 0.0;
  double L = 0.0;
  double LineResidual = 0.0;
  double SampleResidual = 0.0;
  double LineBy[3] = {};
  double SampleBy[3] = {};

  double SquaredResidual() const { return LineResidual * LineResidual + SampleResidual * SampleResidual; }
};

/// Evaluates the model at (P, L, 0) against the wanted image point, all normalised.
TSolution Evaluate(const TRPC& model, double P, double L, double line, double sample) {
  TSolution at;
  at.P = P;
  at.L = L;
  double seen_line = 0.0;
  double seen_sample = 0.0;
  model.CalculateLineSampleNormalized(P, L, 0.0, &seen_line, &seen_sample, at.LineBy, at.SampleBy);
  at.LineResidual = line - seen_line;
  at.SampleResidual = sample - seen_sample;
  return at;
}

/// The ground point that projects to (line, sample), by Newton's iteration from the centre of the ground
/// cube. A step is halved until it brings the image nearer: the polynomials of frame cameras bend so much
/// that a full step can leave the scene.
std::optional<TSolution> FindGround(const TRPC& model, double line, double sample) {
  constexpr int MaxIterations = 50;
  constexpr int MaxHalvings = 30;
  constexpr double Tolerance = 1e-12;  // of the image's half size
  TSolution at = Evaluate(model, 0.0, 0.0, line, sample);
  for (int i = 0; i < MaxIterations; ++i) {
    if (at.SquaredResidual() <= Tolerance * Tolerance) return at;
    const double determinant = at.LineBy[0] * at.SampleBy[1] - at.LineBy[1] * at.SampleBy[0];
    const double dP = (at.LineResidual * at.SampleBy[1] - at.SampleResidual * at.LineBy[1]) / determinant;
    const double dL = (at.SampleResidual * at.LineBy[0] - at.LineResidual * at.SampleBy[0]) / determinant;
    double step = 1.0;
    TSolution next = Evaluate(model, at.P + dP, at.L + dL, line, sample);
    for (int k = 0; k < MaxHalvings && !(next.SquaredResidual() < at.SquaredResidual()); ++k) {
      step /= 2.0;
      next = Evaluate(model, at.P + step * dP, at.L + step * dL, line, sample);
    }
    if (!(next.SquaredResidual() < at.SquaredResidual())) break;
    at = next;
  }
  // Rounding may keep the residual above the tolerance: a billionth of the image is still the point.
  if (at.SquaredResidual() <= 1e-18) return at;
  return std::nullopt;
}

/// The same meridian in (-180, 180].
double WithinHalfTurn(double longitude) {
  constexpr double Turn = 360.0;
  const double within = std::remainder(longitude, Turn);
  return within == -Turn / 2.0 ? -within : within;
}

}  // namespace

bool CalculateFootprint(const TRPC& model, std::array<TGroundPosition, 4>* corners) {
  constexpr double Corners[4][2] = {{-1.0, -1.0}, {-1.0, 1.0}, {1.0, 1.0}, {1.0, -1.0}};
  TRPCData data;
  model.GetRPCData(&data);
  if (!data) return false;
  std::array<TGroundPosition, 4> found;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const std::optional<TSolution> ground = FindGround(model, Corners[i][0], Corners[i][1]);
    if (!ground) return false;
    found[i].Latitude = ground->P * data.LatitudeScale + data.LatitudeOffset;
    found[i].Longitude = WithinHalfTurn(ground->L * data.LongitudeScale + data.LongitudeOffset);
  }
  *corners = found;
  return true;
}

bool CalculateGroundSampleDistance(const TRPC& model, TGroundSampleDistance* distance) {
  TRPCData data;
  model.GetRPCData(&data);
  if (!data) return false;
  const std::optional<TSolution> centre = FindGround(model, 0.0, 0.0);
  if (!centre) return false;
  const double latitude = (centre->P * data.LatitudeScale + data.LatitudeOffset) * RadiansPerDegree;
  const double sine = std::sin(latitude);
  const double w = std::sqrt(1.0 - Wgs84EccentricitySquared * sine * sine);
  const double meridian_radius = Wgs84SemiMajorAxis * (1.0 - Wgs84EccentricitySquared) / (w * w * w);
  const double parallel_radius = Wgs84SemiMajorAxis / w * std::cos(latitude);
  // Metres per unit of P and of L.
  const double north = meridian_radius * RadiansPerDegree * data.LatitudeScale;
  const double east = parallel_radius * RadiansPerDegree * data.LongitudeScale;
  // The columns of the inverse Jacobian are the ground's moves per normalised line and per sample.
  const double determinant =
      centre->LineBy[0] * centre->SampleBy[1] - centre->LineBy[1] * centre->SampleBy[0];
  const double line = std::hypot(north * centre->SampleBy[1], east * centre->SampleBy[0]);
  const double sample = std::hypot(north * centre->LineBy[1], east * centre->LineBy[0]);
  const TGroundSampleDistance found = {std::fabs(line / (determinant * data.LineScale)),
                                       std::fabs(sample / (determinant * data.SampleScale))};
  if (!std::isfinite(found.Line) || !std::isfinite(found.Sample)) return false;
  *distance = found;
  return true;
}

}  // namespace SatCommonUtils
