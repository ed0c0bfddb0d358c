#include "kelvane/rpc/model_difference.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SatCommonUtils {

namespace {

/// Equal infinities are not apart.
double Apart(double a, double b) { return a == b ? 0.0 : std::fabs(a - b); }

bool IsWithinImage(const TRPCData& data, double line, double sample) {
  return std::fabs(line - data.LineOffset) <= std::fabs(data.LineScale) &&
         std::fabs(sample - data.SampleOffset) <= std::fabs(data.SampleScale);
}

/// Calls `visit(lat, lon, h)` at the nodes of a grid over the ground cube, until it says false.
template <class Visit>
void ForEachNode(const TRPCData& data, int steps, Visit visit) {
  const auto node = [steps](int i, double scale, double offset) {
    return (2.0 * i / steps - 1.0) * scale + offset;
  };
  for (int i = 0; i <= steps; ++i) {
    const double lat = node(i, data.LatitudeScale, data.LatitudeOffset);
    for (int j = 0; j <= steps; ++j) {
      const double lon = node(j, data.LongitudeScale, data.LongitudeOffset);
      for (int k = 0; k <= steps; ++k) {
        if (!visit(lat, lon, node(k, data.HeightScale, data.HeightOffset))) return;
      }
    }
  }
}

/// By the model's own polynomials, before any refinement.
bool IsSeenInImage(const TRPC& model, const TRPCData& data, double lat, double lon, double h) {
  double line = 0.0;
  double sample = 0.0;
  model.CalculateLineSampleNormalized(
      (lat - data.LatitudeOffset) / data.LatitudeScale, (lon - data.LongitudeOffset) / data.LongitudeScale,
      (h - data.HeightOffset) / data.HeightScale, &line, &sample, nullptr, nullptr);
  return std::fabs(line) <= 1.0 && std::fabs(sample) <= 1.0;
}

bool IsAnywhere(const TRPC&, const TRPCData&, double, double, double) { return true; }

/// The largest distance at the nodes that count; -1 when there are none, NaN when there is one.
template <class Counts>
double MaxDifference(const TRPC& a, const TRPC& b, int steps, const Counts& counts) {
  TRPCData data;
  a.GetRPCData(&data);
  double largest = -1.0;
  ForEachNode(data, steps, [&](double lat, double lon, double h) {
    double line_a = 0.0;
    double sample_a = 0.0;
    double line_b = 0.0;
    double sample_b = 0.0;
    a.CalculateLineSample(lat, lon, h, &line_a, &sample_a, nullptr, nullptr);
    b.CalculateLineSample(lat, lon, h, &line_b, &sample_b, nullptr, nullptr);
    const double by_line = Apart(line_a, line_b);
    const double by_sample = Apart(sample_a, sample_b);
    if (std::isnan(by_line + by_sample)) {
      largest = by_line + by_sample;
      return false;
    }
    const double difference = std::hypot(by_line, by_sample);
    if (difference > largest && counts(a, data, lat, lon, h)) largest = difference;
    return true;
  });
  return largest;
}

}  // namespace

double CalculateMaxImageDifference(const TRPC& a, const TRPC& b) {
  constexpr int Steps = 10;
  const double in_image = MaxDifference(a, b, Steps, IsSeenInImage);
  return in_image < 0.0 ? MaxDifference(a, b, Steps, IsAnywhere) : in_image;
}

double CalculateMaxCubeDifference(const TRPC& a, const TRPC& b) {
  constexpr int Steps = 40;
  return MaxDifference(a, b, Steps, IsAnywhere);
}

double CalculateMaxInverseDifference(const TRPC& rpc, const TRPC& inverse) {
  constexpr int Steps = 80;
  TRPCData data;
  rpc.GetRPCData(&data);
  double largest = std::numeric_limits<double>::quiet_NaN();
  ForEachNode(data, Steps, [&](double lat, double lon, double h) {
    double line = 0.0;
    double sample = 0.0;
    rpc.CalculateLineSample(lat, lon, h, &line, &sample, nullptr, nullptr);
    if (!IsWithinImage(data, line, sample)) return true;
    double found_lat = 0.0;
    double found_lon = 0.0;
    inverse.CalculateLineSample(line, sample, h, &found_lat, &found_lon, nullptr, nullptr);
    const double difference = std::fmax(std::fabs(found_lat - lat), std::fabs(found_lon - lon));
    if (std::isnan(found_lat + found_lon)) {
      largest = difference;
      return false;
    }
    largest = std::fmax(largest, difference);
    return true;
  });
  return largest;
}

}  // namespace SatCommonUtils
