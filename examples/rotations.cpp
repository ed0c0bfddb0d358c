// Takes a rotation from angles to a matrix and back, and goes a third of the way to one by quaternions.
//
// $ rotations
// 10.0 -20.0 30.0 degrees
// column 0, row 2: 0.378522
// 30.0 degrees
// the X axis comes to (0.8660, 0.5000, 0.0000)
#include <cmath>
#include <cstdio>

#include "kelvane/orientation/quaternion.h"
#include "kelvane/orientation/rzyx_rotation.h"

int main() {
  using namespace SatCommonUtils;
  const double degree = std::acos(-1.0) / 180.0;

  // Omega, phi and kappa of photogrammetry: turns about Z, then Y, then X.
  TMatrix R(3, 3);
  RzyxGetR(10.0 * degree, -20.0 * degree, 30.0 * degree, &R);
  double omega = 0.0;
  double phi = 0.0;
  double kappa = 0.0;
  RzyxGetAlphaBetaGamma(R, &omega, &phi, &kappa);
  std::printf("%.1f %.1f %.1f degrees\n", omega / degree, phi / degree, kappa / degree);
  std::printf("column 0, row 2: %.6f\n", R.GetElement(0, 2));

  // A quarter turn about Z, its scalar part first, and a third of the way there.
  const TQuaternion none(1.0, 0.0, 0.0, 0.0);
  const TQuaternion quarter(std::cos(45.0 * degree), 0.0, 0.0, std::sin(45.0 * degree));
  const TQuaternion third = InterpolateRotation(none, quarter, 1.0 / 3.0);
  std::printf("%.1f degrees\n", 2.0 * std::acos(third(0)) / degree);
  const TQuaternion x = third * TQuaternion(0.0, 1.0, 0.0, 0.0) * ~third;  // v -> q v ~q
  std::printf("the X axis comes to (%.4f, %.4f, %.4f)\n", x(1), x(2), x(3));
  return 0;
}
