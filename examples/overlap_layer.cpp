// Writes the outlines of two images on the ground and what they have in common as a layer, and reads it back.
//
// $ overlap_layer samples/pleiades_1.xml samples/pleiades_2.xml overlap.mif
// 99.9 % of the first image in common
// samples/pleiades_1.xml: 4 vertices
// samples/pleiades_2.xml: 4 vertices
// in common: 6 vertices
#include <array>
#include <cmath>
#include <cstdio>
#include <string>

#include "kelvane/geometry/polygon_mif.h"
#include "kelvane/geometry/quadrilateral_intersection.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/footprint.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 4) return 2;
  Init_Kelvane();

  TMIFLayer layer;
  layer.CoordSys = MIFGeographicWgs84;
  layer.Columns = {{"Name", "Char(80)"}};
  for (int i = 1; i <= 2; ++i) {
    TKaXIniStreamReader file(new_a<TKaFileStream>(TKaPath(argv[i]), kaOpenRead, kaShareAll), true, nullptr);
    std::array<TGroundPosition, 4> corners;
    if (!CalculateFootprint(TRPC(&file), &corners)) return 1;
    TPolygon outline;  // x is the longitude, y the latitude
    for (const TGroundPosition& corner : corners) outline.AddVertex({corner.Longitude, corner.Latitude});
    layer.Regions.push_back({{outline}, {argv[i]}});
  }

  TQuadrilateralIntersection common;
  const TPolygon first = layer.Regions[0].Rings[0];
  if (!IntersectQuadrilaterals(first, layer.Regions[1].Rings[0], &common)) return 1;
  if (common.Contact == TE_PlaneContact::Overlapping)
    std::printf("%.1f %% of the first image in common\n",
                100.0 * common.Area / std::fabs(first.SignedArea()));
  layer.Regions.push_back({common.Pieces, {"in common"}});

  TMIFLayer read;
  std::string problem;
  if (!WriteMIFFile(argv[3], layer, &problem) || !ReadMIFFile(argv[3], &read, &problem)) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 1;
  }
  for (const TMIFRegion& region : read.Regions)
    std::printf("%s: %zu vertices\n", region.Values[0].c_str(), region.Rings[0].VertexCount());
  Deinit_Kelvane();
  return 0;
}
