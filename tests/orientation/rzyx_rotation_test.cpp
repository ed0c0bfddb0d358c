#include "kelvane/orientation/rzyx_rotation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/orientation/oracle.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::Difference;
using test::EigenMatrix;

/// What a function of one angle writes.
template <class Function>
Eigen::Matrix3d Written(Function function, double angle) {
  TMatrix m(3, 3);
  function(angle, &m);
  return EigenMatrix(m);
}

TMatrix Rotation(double alpha, double beta, double gamma) {
  TMatrix m(3, 3);
  RzyxGetR(alpha, beta, gamma, &m);
  return m;
}

Eigen::Vector3d Angles(const TMatrix& R) {
  Eigen::Vector3d angles;
  RzyxGetAlphaBetaGamma(R, &angles[0], &angles[1], &angles[2]);
  return angles;
}

TEST(RzyxRotation, AgreesWithEigen) {
  const struct {
    void (*turn)(const double&, TMatrix*);
    void (*derivative)(const double&, TMatrix*);
    Eigen::Matrix3d (*oracle)(double);
  } axes[] = {{RzyxGetRx, RzyxGet_dRx_dalpha, test::AboutX},
              {RzyxGetRy, RzyxGet_dRy_dbeta, test::AboutY},
              {RzyxGetRz, RzyxGet_dRz_dgamma, test::AboutZ}};
  std::mt19937_64 random(6);
  std::uniform_real_distribution<double> uniform(-1.5, 1.5);
  for (int i = 0; i < 10000; ++i) {
    const double a = 2.0 * uniform(random);
    const double b = uniform(random);
    const double g = 2.0 * uniform(random);
    const TMatrix R = Rotation(a, b, g);
    EXPECT_LE(Difference(EigenMatrix(R), test::AboutX(a) * test::AboutY(b) * test::AboutZ(g)), 1e-15);
    const Eigen::Vector3d angles = Angles(R);
    EXPECT_LE(Difference(EigenMatrix(Rotation(angles[0], angles[1], angles[2])), EigenMatrix(R)),
              3e-8 / std::cos(b));

    for (const auto& axis : axes) {
      constexpr double Step = 1e-5;
      EXPECT_LE(Difference(Written(axis.turn, a), axis.oracle(a)), 1e-15);
      EXPECT_LE(Difference(Written(axis.derivative, a),
                           (axis.oracle(a + Step) - axis.oracle(a - Step)) / (2.0 * Step)),
                1e-10);
    }
  }
}

TEST(RzyxRotation, AnglesLieWhereTheArcSinePutsThem) {
  EXPECT_EQ(SinCosToAngle(1.0000000001, -1.0), M_PI_2);
  EXPECT_EQ(SinCosToAngle(-2.0, -1.0), -M_PI_2);
  EXPECT_EQ(SinCosToAngle(0.0, -1.0), M_PI);
  const auto expect = [](const Eigen::Vector3d& angles, double alpha, double beta, double gamma) {
    EXPECT_LE((angles - Eigen::Vector3d(alpha, beta, gamma)).norm(), 1e-14) << angles;
  };
  expect(Angles(Rotation(0.3, -0.4, 2.5)), 0.3, -0.4, 2.5);
  expect(Angles(Rotation(-2.5, 0.4, -2.5)), 2.0 * M_PI - 2.5, 0.4, 2.0 * M_PI - 2.5);
  // Where only alpha + gamma (or gamma - alpha) is determined, gamma takes it all.
  expect(Angles(test::Matrix(3, {0, 0, 1, std::sin(0.7), std::cos(0.7), 0, 0, 0, 0})), 0.0, M_PI_2, 0.7);
  expect(Angles(test::Matrix(3, {0, 0, -1, std::sin(2.0), std::cos(2.0), 0, 0, 0, 0})), 0.0, -M_PI_2, 2.0);
  expect(Angles(test::Matrix(3, {0, 0, NAN, 0, 1, 0, 0, 0, 1})), 0.0, -M_PI_2, 0.0);
}

TEST(RzyxRotation, SmallerMatricesAreRefused) {
  for (TMatrix small : {TMatrix(2, 3), TMatrix(3, 2), TMatrix("")}) {
    EXPECT_EQ(test::RuntimeErrorOf([&] { RzyxGetRx(0.0, &small); }), test::IndexError);
    EXPECT_LE(small.Norma1(), 0.0);
    Eigen::Vector3d kept = Eigen::Vector3d::Ones();
    EXPECT_EQ(test::RuntimeErrorOf([&] { RzyxGetAlphaBetaGamma(small, &kept[0], &kept[1], &kept[2]); }),
              test::IndexError);
    EXPECT_EQ(kept, Eigen::Vector3d::Ones());
  }
}

}  // namespace
