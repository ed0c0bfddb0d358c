// Estimates the inverse of a model as a model: line, sample and height in, latitude and longitude out.
//
// $ invert_model samples/worldview3.RPB
// latitude 41.879100, longitude 12.579801
// its image is off by 0.0000 pixels
#include <cmath>
#include <cstdio>

#include "kelvane/module/module.h"
#include "kelvane/rpc/rpc.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 2) return 2;
  Init_Kelvane();

  TRPCData record;
  double err_rand = 0.0;
  if (!record.InitializeFromRPBFile(argv[1], nullptr, &err_rand)) return 1;
  const TRPC model(record, nullptr);
  if (!model.CreateInvertedRPC(10)) return 1;  // a grid of 10 steps an axis
  const var_a<TRPC*> inverted = model.GetInvertedRPC();

  const double line = 806.2;
  const double sample = 847.8;
  const double height = 95.0;
  double lat = 0.0;
  double lon = 0.0;
  inverted->CalculateLineSample(line, sample, height, &lat, &lon, nullptr, nullptr);
  std::printf("latitude %.6f, longitude %.6f\n", lat, lon);

  double back_line = 0.0;
  double back_sample = 0.0;
  model.CalculateLineSample(lat, lon, height, &back_line, &back_sample, nullptr, nullptr);
  std::printf("its image is off by %.4f pixels\n", std::hypot(back_line - line, back_sample - sample));
  Deinit_Kelvane();
  return 0;
}
