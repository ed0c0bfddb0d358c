// Fits polynomials in time to the attitude of a satellite, given by a series of rotation matrices.
//
// $ attitude
// nu    at the middle  0.1000, a unit of time later  0.1200
// gamma at the middle -0.0500, a unit of time later -0.0400
// psi   at the middle  0.7000, a unit of time later  1.0000
// the matrix at 0.5 comes back to a billionth: yes
#include <cstdio>
#include <vector>

#include "kelvane/orientation/angle_unit_set.h"
#include "kelvane/orientation/attitude_angles.h"

int main() {
  using namespace SatCommonUtils;
  // As a star tracker would give them; nu and psi grow steadily, gamma faster and faster. Radians.
  const auto attitude = [](double time) {
    TMatrix cosines(3, 3);
    SatAttitudeAngles::DirectionalCosMatrix(&cosines, 0.1 + 0.02 * time, -0.05 + 0.01 * time * time,
                                            0.7 + 0.3 * time);
    return ~cosines;  // the attitude is its transpose
  };
  std::vector<TMatrix> matrices;
  std::vector<double> times;
  for (int i = -10; i <= 10; ++i) {
    times.push_back(i / 10.0);  // -1 to 1
    matrices.push_back(attitude(times.back()));
  }

  TPolynome nu(1, nullptr);  // the order counts, the zeros do not
  TPolynome gamma(2, nullptr);
  TPolynome psi(1, nullptr);
  if (!SatAttitudeAngles::ApproximateAngles(matrices.data(), times.data(), times.size(), &nu, &gamma, &psi))
    return 1;
  const auto print = [](const char* name, const TPolynome& angle) {
    std::printf("%-5s at the middle %7.4f, a unit of time later %7.4f\n", name, angle.GetValue(0.0),
                angle.GetValue(1.0));
  };
  print("nu", nu);
  print("gamma", gamma);
  print("psi", psi);

  TMatrix again(3, 3);
  SatAttitudeAngles::DirectionalCosMatrix(&again, nu.GetValue(0.5), gamma.GetValue(0.5), psi.GetValue(0.5));
  const bool same = (~again - attitude(0.5)).Norma1() < 1e-9;
  std::printf("the matrix at 0.5 comes back to a billionth: %s\n", same ? "yes" : "no");
  return 0;
}
