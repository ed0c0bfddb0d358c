// Projects many ground points at once, over arrays and on as many threads as the host counts.
//
// $ project_points samples/worldview3.RPB
// 0 of 1000 points without an image
// from line 1814.100, sample -348.823
// to   line -202.001, sample 2043.810
#include <cstdio>
#include <vector>

#include "kelvane/module/module.h"
#include "kelvane/rpc/rpc_batch.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 2) return 2;
  Init_Kelvane();

  TRPCData record;
  double err_rand = 0.0;  // zero: not wanted
  if (!record.InitializeFromRPBFile(argv[1], nullptr, &err_rand)) return 1;
  const TRPC model(record, nullptr);

  // A profile of a thousand points from the south-west to the north-east of the model's ground.
  constexpr std::size_t count = 1000;
  std::vector<double> lat(count);
  std::vector<double> lon(count);
  const std::vector<double> h(count, record.HeightOffset);
  for (std::size_t i = 0; i < count; ++i) {
    const double at = -1.0 + 2.0 * static_cast<double>(i) / (count - 1);  // normalised
    lat[i] = record.LatitudeOffset + at * record.LatitudeScale;
    lon[i] = record.LongitudeOffset + at * record.LongitudeScale;
  }

  std::vector<double> line(count);
  std::vector<double> sample(count);
  const std::size_t failed =
      CalculateLineSamples(model, count, lat.data(), lon.data(), h.data(), line.data(), sample.data());
  std::printf("%zu of %zu points without an image\n", failed, count);
  std::printf("from line %.3f, sample %.3f\n", line.front(), sample.front());
  std::printf("to   line %.3f, sample %.3f\n", line.back(), sample.back());

  Deinit_Kelvane();
  return 0;
}
