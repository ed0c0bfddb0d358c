// Finds the ground point, with its height, that is seen at a place in each of two images.
//
// $ intersect_pair samples/pleiades_1.xml samples/pleiades_2.xml
// latitude 29.977000, longitude 31.134001, height 60.01
// the rays miss each other by 0.177 pixels
#include <cstdio>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/convergence.h"
#include "kelvane/rpc/ground_solution.h"

int main(int argc, char** argv) try {
  using namespace SatCommonUtils;
  if (argc != 3) return 2;
  Init_Kelvane();

  TRPC models[2];
  for (int i = 0; i < 2; ++i) {
    const TKaPath path(argv[i + 1]);
    TKaXIniStreamReader reader(new_a<TKaFileStream>(path, kaOpenRead, kaShareAll), true, nullptr);
    if (!models[i].InitializeFromXML(&reader)) return 1;
  }

  // Where both see a point of the pyramids' plateau: what a person would measure in the images.
  TRPCCoordsDataItem seen[2];
  for (int i = 0; i < 2; ++i) {
    seen[i].Model = &models[i];
    models[i].CalculateLineSample(29.977, 31.134, 60.0, &seen[i].Line, &seen[i].Sample, nullptr, nullptr);
  }
  seen[1].Sample += 0.5;  // an error of measurement

  double lat = 0.0;
  double lon = 0.0;
  double h = 0.0;
  const TGroundSolution end = SolveLatLonH(seen, 2, &lat, &lon, &h);
  if (!end.Converged || end.Independence < 1e-6) return 1;
  std::printf("latitude %.6f, longitude %.6f, height %.2f\n", lat, lon, h);
  std::printf("the rays miss each other by %.3f pixels\n", end.Residual);
  Deinit_Kelvane();
  return 0;
} catch (const TKaMessage& problem) {
  std::fprintf(stderr, "%s\n", problem.what());
  return 1;
}
