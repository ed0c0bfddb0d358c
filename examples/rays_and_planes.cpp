// Follows a line of sight from a satellite to the ellipsoid, and another to a plane through measured points.
//
// $ rays_and_planes
// latitude 42.400000, longitude 13.000000, 504.5 km away
// the roof, to 0.05 m, is met at height 11.25
// the two lines of sight meet at 26.6 degrees
#include <cstdio>

#include "kelvane/geometry/spatial.h"

int main() {
  using namespace SatCommonUtils;
  const TEllipsoid wgs84;
  const T3DPoint satellite = wgs84.ToEarthCentred(41.9, 12.6, 500000.0);
  const TRay sight = {satellite, Unit(wgs84.ToEarthCentred(42.4, 13.0, 0.0) - satellite)};
  double away = 0.0;
  if (!IntersectEllipsoid(sight, wgs84).Ahead(&away)) {
    std::fprintf(stderr, "it passes the Earth\n");
    return 1;
  }
  double lat = 0.0;
  double lon = 0.0;
  double h = 0.0;
  wgs84.ToGeodetic(sight.At(away), &lat, &lon, &h);
  std::printf("latitude %.6f, longitude %.6f, %.1f km away\n", lat, lon, away / 1000.0);

  // In metres of a local system, Z upwards.
  TPlane roof;
  double residual = 0.0;
  if (!FitPlane({{0, 0, 10.05}, {10, 0, 9.95}, {10, 10, 12.55}, {0, 10, 12.45}}, &roof, &residual)) return 1;
  const TRay down = {{5.0, 5.0, 100.0}, {0.0, 0.0, -1.0}};
  double t = 0.0;
  if (!IntersectPlane(down, roof, &t)) return 1;
  std::printf("the roof, to %.2f m, is met at height %.2f\n", residual, down.At(t).Z);

  const TRay oblique = {{55.0, 5.0, 100.0}, {-1.0, 0.0, -2.0}};
  std::printf("the two lines of sight meet at %.1f degrees\n", ConvergenceAngle(down, oblique));
  return 0;
}
