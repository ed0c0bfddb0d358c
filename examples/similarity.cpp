// Estimates the 7-parameter similarity between two systems from points known in both.
//
// $ similarity
// scale 2.0002, shift 100.00 200.00 300.00
// rms 0.0017
// (5, 5, 5) -> (90.00, 210.00, 310.00) -> (5, 5, 5)
#include <cstdio>
#include <vector>

#include "kelvane/transforms/similarity_3d.h"

int main() {
  using namespace SatCommonUtils;
  // Twice as large, a quarter turn about Z, shifted by (100, 200, 300); one target a centimetre off.
  const std::vector<T7ParamsSourceDataItem> points = {{{0.0, 0.0, 0.0}, {100.0, 200.0, 300.0}},
                                                      {{10.0, 0.0, 0.0}, {100.0, 220.0, 300.0}},
                                                      {{0.0, 10.0, 0.0}, {80.0, 200.0, 300.0}},
                                                      {{0.0, 0.0, 10.0}, {100.0, 200.0, 320.0}},
                                                      {{10.0, 10.0, 10.0}, {80.0, 220.0, 320.01}}};

  T7ParamsTransform transform;
  if (!transform.Initialize(points)) {
    std::fprintf(stderr, "three points at least, not on a line\n");
    return 1;
  }
  T7Params found;
  transform.GetParameters(&found);
  std::printf("scale %.4f, shift %.2f %.2f %.2f\n", found.Scale, found.ShiftX, found.ShiftY, found.ShiftZ);

  std::vector<T3DPoint> residuals;
  std::printf("rms %.4f\n", transform.GetResiduals(points, &residuals));
  const T3DPoint there = transform.DirectTransform({5.0, 5.0, 5.0});
  const T3DPoint back = transform.InverseTransform(there);
  std::printf("(5, 5, 5) -> (%.2f, %.2f, %.2f) -> (%.0f, %.0f, %.0f)\n", there.X, there.Y, there.Z, back.X,
              back.Y, back.Z);
  return 0;
}
