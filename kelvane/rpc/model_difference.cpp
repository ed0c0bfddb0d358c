#include "kelvane/rpc/model_difference.h"

#include <algorithm>
#include <cmath>

namespace SatCommonUtils {

namespace {

/// Equal infinities are not apart.
double Apart(double a, double b) { return a == b ? 0.0 : std::fabs(a - b); }

}  // namespace

double CalculateMaxImageDifference(const TRPC& a, const TRPC& b) {
  constexpr int Steps = 10;
  TRPCData data;
  a.GetRPCData(&data);
  double in_image = -1.0;
  double anywhere = -1.0;
  const auto node = [](int i) { return 2.0 * i / Steps - 1.0; };
  for (int i = 0; i <= Steps; ++i) {
    for (int j = 0; j <= Steps; ++j) {
      for (int k = 0; k <= Steps; ++k) {
        const double lat = node(i) * data.LatitudeScale + data.LatitudeOffset;
        const double lon = node(j) * data.LongitudeScale + data.LongitudeOffset;
        const double h = node(k) * data.HeightScale + data.HeightOffset;
        double line_a = 0.0;
        double sample_a = 0.0;
        double line_b = 0.0;
        double sample_b = 0.0;
        a.CalculateLineSample(lat, lon, h, &line_a, &sample_a, nullptr, nullptr);
        b.CalculateLineSample(lat, lon, h, &line_b, &sample_b, nullptr, nullptr);
        const double by_line = Apart(line_a, line_b);
        const double by_sample = Apart(sample_a, sample_b);
        if (std::isnan(by_line + by_sample)) return by_line + by_sample;
        const double difference = std::hypot(by_line, by_sample);
        anywhere = std::max(anywhere, difference);
        if (std::fabs(line_a - data.LineOffset) <= std::fabs(data.LineScale) &&
            std::fabs(sample_a - data.SampleOffset) <= std::fabs(data.SampleScale)) {
          in_image = std::max(in_image, difference);
        }
      }
    }
  }
  return in_image >= 0.0 ? in_image : anywhere;
}

}  // namespace SatCommonUtils
