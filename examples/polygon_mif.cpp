// Writes the outline of an image on the ground as a MIF file, reads it back and asks for a place in it.
//
// $ polygon_mif samples/worldview3.RPB outline.mif
// 1 ring of 4 vertices
// the roof lies inside, 0.0111 degrees from the edge
#include <array>
#include <cstdio>
#include <string>

#include "kelvane/geometry/polygon.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/footprint.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 3) return 2;
  Init_Kelvane();

  TRPCData record;
  double err_rand = 0.0;
  if (!record.InitializeFromRPBFile(argv[1], nullptr, &err_rand)) return 1;
  std::array<TGroundPosition, 4> corners;
  if (!CalculateFootprint(TRPC(record, nullptr), &corners)) return 1;

  TPolygon outline;  // x is the longitude, y the latitude
  for (const TGroundPosition& corner : corners) outline.AddVertex({corner.Longitude, corner.Latitude});
  std::string problem;
  if (!outline.SaveToMIF(argv[2], "Earth Projection 1, 104", &problem)) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 1;
  }

  TPolygon read;
  std::size_t rings = 0;
  if (!read.InitializeFromMIF(argv[2], &rings, &problem)) return 1;
  const xy_d place = {12.583, 41.8815};
  std::printf("%zu ring of %zu vertices\n", rings, read.VertexCount());
  std::printf("the roof lies %s, %.4f degrees from the edge\n", read.Contains(place) ? "inside" : "outside",
              read.SignedDistance(place));
  Deinit_Kelvane();
  return 0;
}
