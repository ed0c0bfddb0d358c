// Intersects a pair by its models of first order, then by the models themselves, and asks how exact that is.
//
// $ pair_accuracy samples/pleiades_1.xml samples/pleiades_2.xml
// first order: 29.9770 31.1340, height 55; missed by 0.55 pixels
// the models:  29.9770 31.1340, height 60
// half a pixel makes 1.51 m to the east, 0.19 m to the north, 4.30 m up
#include <algorithm>
#include <cstdio>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/ground_covariance.h"
#include "kelvane/rpc/space_intersection.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 3) return 2;
  Init_Kelvane();

  TRPC models[2];
  TRPC1 simple[2];  // of latitude, longitude and height, as the approximation is
  TRPCCoordsDataItem seen[2];
  for (int i = 0; i < 2; ++i) {
    TKaXIniStreamReader file(new_a<TKaFileStream>(TKaPath(argv[i + 1]), kaOpenRead, kaShareAll), true,
                             nullptr);
    if (!models[i].InitializeFromXML(&file) || !models[i].EnsureApproximation()) return 1;
    TRPC1Params p;
    models[i].GetApproximation(p.LineNum, p.LineDenom, p.SampleNum, p.SampleDenom);
    simple[i].Set(p);
    seen[i].Model = &models[i];
    models[i].CalculateLineSample(29.977, 31.134, 60.0, &seen[i].Line, &seen[i].Sample, nullptr, nullptr);
  }

  double lat = 0.0;
  double lon = 0.0;
  double h = 0.0;
  double residual = 0.0;
  if (!SpaceIntersection(simple[0], seen[0].Line, seen[0].Sample, simple[1], seen[1].Line, seen[1].Sample,
                         &lat, &lon, &h, &residual))
    return 1;
  std::printf("first order: %.4f %.4f, height %.0f; missed by %.2f pixels\n", lat, lon, h, residual);
  if (!SolveLatLonH(seen, 2, &lat, &lon, &h).Converged) return 1;
  std::printf("the models:  %.4f %.4f, height %.0f\n", lat, lon, h);

  const double sigmas[] = {0.5, 0.5};  // pixels in each image
  TGroundCovariance covariance;
  if (!CalculateGroundCovariance(seen, sigmas, 2, lat, lon, h, &covariance)) return 1;
  std::printf("half a pixel makes %.2f m to the east, %.2f m to the north, %.2f m up\n",
              covariance.Deviation(0), covariance.Deviation(1), covariance.Deviation(2));
  Deinit_Kelvane();
  return 0;
}
