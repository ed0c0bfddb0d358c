// Estimates transforms of the plane from pairs of points; the affine one as the host keeps and makes it.
//
// $ plane_transforms
// sat_affine: (5, 5) -> (110.00, 190.00) -> (5.00, 5.00)
// projective: the centre (0.5, 0.5) -> (5.00, 4.29)
#include <cstdio>

#include "host/ini_xml.h"
#include "kelvane/module/module.h"
#include "kelvane/transforms/affine_transform_2d.h"
#include "kelvane/transforms/projective_2d.h"

int main() {
  using namespace SatCommonUtils;
  Init_Kelvane();  // registers the transform

  // Twice as large, y upwards, shifted: x, y and where they lie in the other plane.
  T2DAffineParams found;
  if (!Calculate2DAffineParams({{0, 0, 100, 200}, {10, 0, 120, 200}, {0, 10, 100, 180}, {10, 10, 120, 180}},
                               &found))
    return 1;
  const T2DAffineTransform transform(found);  // throws when the map has no inverse
  TKaXIniXmlWriter writer;
  transform.SaveContent(&writer);
  const auto stored = new_a<TKaStringStream>();
  if (!writer.Save(stored.get())) return 1;

  // The host knows its name only.
  TKaXIniStreamReader reader(stored, true, nullptr);
  const auto again = TKa2DTransform::TSerializer::CreateByName(transform.GetContentName());
  again->LoadContent(&reader);
  const xy_d there = again->GetTraCoord({5.0, 5.0});
  const xy_d back = again->GetInverseTraCoord(there);
  std::printf("%s: (5, 5) -> (%.2f, %.2f) -> (%.2f, %.2f)\n", again->GetContentName(), there.x, there.y,
              back.x, back.y);

  // A square seen as a trapezoid: its centre is where the diagonals cross.
  T2DProjectiveParams p;
  if (!Calculate2DProjectiveParams({{0, 0, 0, 0}, {1, 0, 10, 0}, {0, 1, 3, 6}, {1, 1, 7, 6}}, &p)) return 1;
  const double x = 0.5;
  const double y = 0.5;
  const double divisor = p[6] * x + p[7] * y + 1.0;
  std::printf("projective: the centre (0.5, 0.5) -> (%.2f, %.2f)\n", (p[0] * x + p[1] * y + p[2]) / divisor,
              (p[3] * x + p[4] * y + p[5]) / divisor);
  Deinit_Kelvane();
  return 0;
}
