#include "kelvane/rpc/convergence.h"

namespace SatCommonUtils {

bool CalculateRay(const TRPC& model, const double& lat, const double& lon, const double& h, TRay* ray) {
  double line = 0.0;
  double sample = 0.0;
  double by_line[3];
  double by_sample[3];
  model.CalculateLineSample(lat, lon, h, &line, &sample, by_line, by_sample);
  const T3DPoint along =
      Cross({by_line[0], by_line[1], by_line[2]}, {by_sample[0], by_sample[1], by_sample[2]});
  const TEllipsoid earth;
  const TRay found = {earth.ToEarthCentred(lat, lon, h),
                      earth.EarthCentredChange(lat, lon, h, along.X / along.Z, along.Y / along.Z, 1.0)};
  if (!IsFinite(found.Origin) || !IsFinite(found.Direction)) return false;
  *ray = found;
  return true;
}

bool CalculateConvergenceAngle(const TRPC& a, const TRPC& b, const double& lat, const double& lon,
                               const double& h, double* degrees) {
  TRay rays[2];
  if (!CalculateRay(a, lat, lon, h, &rays[0]) || !CalculateRay(b, lat, lon, h, &rays[1])) return false;
  *degrees = ConvergenceAngle(rays[0], rays[1]);
  return true;
}

}  // namespace SatCommonUtils
