// Brings an image point back to the ground at a known height, and asks how well that went.
//
// $ locate_point samples/worldview3.RPB
// latitude 41.8791000, longitude 12.5798007
// 2 iterations, less than a millionth of a pixel off: yes
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
  model.EnsureApproximation();  // from here on the model may be shared by threads

  const double height = 95.0;  // metres above the ellipsoid
  double lat = 0.0;
  double lon = 0.0;
  const TRPCInverse end = model.SolveLatLon(806.2, 847.8, height, &lat, &lon);
  if (!end.IsAnswer()) {
    std::fprintf(stderr, "no ground point: its image would be %g pixels off\n", end.Residual);
    return 1;
  }
  std::printf("latitude %.7f, longitude %.7f\n", lat, lon);
  std::printf("%d iterations, less than a millionth of a pixel off: %s\n", end.Iterations,
              end.Residual < TRPCInverse::SolvedRoundTripBound ? "yes" : "no");

  Deinit_Kelvane();
  return 0;
}
