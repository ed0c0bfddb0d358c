// Reads an RPB file, checks it, and projects a ground point into the image.
#include <cstdio>

#include "kelvane/module/module.h"
#include "kelvane/rpc/rpc.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 2) return 2;
  Init_Kelvane();

  TRPCData record;
  double err_bias = 0.0;
  double err_rand = 1.0;  // not zero: we want the file's value
  if (!record.InitializeFromRPBFile(argv[1], &err_bias, &err_rand)) {
    std::fprintf(stderr, "%s is no complete RPB file\n", argv[1]);
    return 1;
  }
  const TRPC model(record, nullptr);  // throws TKaMessage when a scale is zero

  const double lat = 41.8815;  // degrees
  const double lon = 12.583;
  const double h = 70.0;  // metres above the ellipsoid
  double line = 0.0;
  double sample = 0.0;
  double by_line[3];  // derivatives by latitude, longitude, height
  double by_sample[3];
  model.CalculateLineSample(lat, lon, h, &line, &sample, by_line, by_sample);
  std::printf("line %.3f, sample %.3f\n", line, sample);
  std::printf("a metre up moves it by %.4f lines, %.4f samples\n", by_line[2], by_sample[2]);

  Deinit_Kelvane();
  return 0;
}
