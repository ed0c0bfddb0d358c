// Finds where the ray of an image point meets a height surface: here a plane that rises to the north.
//
// $ ray_with_surface samples/worldview3.RPB
// latitude 41.879110, longitude 12.579807, height 90.550
// the surface there: 90.550
#include <cstdio>
#include <optional>

#include "kelvane/module/host/message.h"
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

  // Degrees in, metres above the ellipsoid out; an empty answer is a hole.
  const TRPCHeightSurface surface = [](double lat, double lon) -> std::optional<double> {
    if (lon > 12.6) return std::nullopt;
    return 95.0 + 5000.0 * (lat - 41.88);
  };
  double lat = 0.0;
  double lon = 0.0;
  double h = 0.0;
  try {
    if (!model.CalculateLatLonAlt(806.2, 847.8, surface, &lat, &lon, &h)) {
      std::fprintf(stderr, "the ray does not meet the surface\n");
      return 1;
    }
  } catch (const TKaMessage& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return 1;
  }
  std::printf("latitude %.6f, longitude %.6f, height %.3f\n", lat, lon, h);
  std::printf("the surface there: %.3f\n", *surface(lat, lon));
  Deinit_Kelvane();
  return 0;
}
