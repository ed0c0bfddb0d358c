#include "kelvane/orientation/attitude_angles.h"

#include <cmath>

#include "kelvane/module/host/message.h"
#include "kelvane/orientation/rzyx_rotation.h"
#include "tests/orientation/oracle.h"
#include "tests/support/allocations.h"
#include "tests/support/matrices.h"
#include "tests/support/rounds.h"

namespace {

using namespace SatCommonUtils;
using namespace SatCommonUtils::SatAttitudeAngles;
using Angles = Eigen::Vector3d;  ///< psi, nu, gamma, as the derivatives count them
using test::Difference;
using test::EigenMatrix;
using test::Turn;

Eigen::Matrix3d Attitude(const Angles& a) { return Turn(2, a[0]) * Turn(0, a[1]) * Turn(1, a[2]); }

TMatrix CosMatrix(const Angles& a) {
  TMatrix m(3, 3);
  DirectionalCosMatrix(&m, a[1], a[2], a[0]);
  return m;
}

/// By the angles i and j; an index of 7 differentiates nothing.
TMatrix Derivative(int i, int j, const Angles& a) {
  TMatrix m("");
  DirectionalCosMatrixSecondDerivative(&m, i, j, a[0], a[1], a[2]);
  return m;
}

TEST(AttitudeAngles, MatricesAndTheirAnglesAgreeWithEigen) {
  for (int i = 0; i < test::Rounds(110000); ++i) {
    Angles a = M_PI * Angles::Random();
    if (i % 11 == 0)
      a[1] = std::copysign(M_PI_2, a[0]) + std::pow(10.0, a[1] - 3.8);  // 1e-7 to 0.2 off a pole
    TMatrix R = !CosMatrix(a);
    ASSERT_LE(Difference(R, Attitude(a)), AttitudeMatrixBound);
    Angles found;
    EXPECT_EQ(GetAnglesExt(R, found[1], found[2], found[0]), R.GetElement(1, 2));
    const double error = Difference(!CosMatrix(found), EigenMatrix(R));
    ASSERT_LE(error, AttitudeRoundTripBound(std::cos(a[1]))) << i;
    ASSERT_TRUE(error <= 1e-12 || std::fabs(std::cos(a[1])) < 2e-3) << i;

    const Angles half = 0.45 * a;
    AlphaOmegaKappa2Matrix(half[0], half[1], half[2], &R);
    ASSERT_LE(Difference(R, Turn(2, -half[2]) * Turn(0, -half[1]) * Turn(1, half[0])), AttitudeMatrixBound);
    GetAlphaOmegaKappa(R, &found[0], &found[1], &found[2]);
    ASSERT_LE((found - half).norm(), 2e-15 / std::cos(half[1]));
  }
}

TEST(AttitudeAngles, DerivativesAgreeWithCentralDifferences) {
  constexpr double Step = 1e-5;
  TMatrix m("");
  for (int n = 0; n < test::Rounds(5000); ++n) {
    const Angles a = M_PI * Angles::Random();
    for (int i = 0; i < 3; ++i) {
      const Angles step = Step * Angles::Unit(i);
      Eigen::Matrix3d change = Attitude(a + step) - Attitude(a - step);
      ASSERT_LE(Difference(Derivative(7, i, a), change / (2.0 * Step)), AttitudeDerivativeBound(Step));
      DirectionalCosMatrixDerivative(&m, i, a[0], a[1], a[2]);
      EXPECT_EQ(EigenMatrix(m), EigenMatrix(Derivative(7, i, a)));
      for (int j = 0; j < 3; ++j) {
        change = EigenMatrix(Derivative(j, 7, a + step)) - EigenMatrix(Derivative(j, 7, a - step));
        ASSERT_LE(Difference(Derivative(i, j, a), change / (2.0 * Step)), AttitudeDerivativeBound(Step));
      }
    }
  }

  const long allocations = test::AllocationCount();
  DirectionalCosMatrixDerivative(&m, 1, 0.1, 0.2, 0.3);
  DirectionalCosMatrixSecondDerivative(&m, 0, 0, 0.1, 0.2, 0.3);
  EXPECT_EQ(test::AllocationCount(), allocations);
  for (const int none : {-1, 3}) {
    EXPECT_EQ(test::ErrorOf<TKaMessage>([&] { DirectionalCosMatrixDerivative(&m, none, 0, 0, 0); }),
              "DirectionalCosMatrixDerivative failed");
    EXPECT_EQ(test::ErrorOf<TKaMessage>([&] {
                Derivative(none, none, {0, 0, 0});
              }),
              "DirectionalCosMatrixSecondDerivative failed");
  }
}

TEST(AttitudeAngles, RangesPolesAndBadInput) {
  EXPECT_EQ(GetArranged_PI_PI(M_PI), M_PI);
  EXPECT_EQ(GetArranged_PI_PI(-M_PI), M_PI);
  EXPECT_EQ(GetArranged_0_2PI(2.0 * M_PI), 0.0);
  for (const double angle : {9.0, 1e6, 1e7, 1e18, 1e300, -1e300, -1e-20}) {
    EXPECT_LE(std::fabs(GetArranged_PI_PI(angle)), M_PI);
    EXPECT_NEAR(std::sin(GetArranged_0_2PI(angle) - GetArranged_PI_PI(angle)), 0.0, 1e-15);
  }
  for (const double none : {HUGE_VAL, -HUGE_VAL, double{NAN}}) {
    EXPECT_TRUE(std::isnan(GetArranged_PI_PI(none)) && std::isnan(GetArranged_0_2PI(none)));
  }
  EXPECT_EQ(GetRadians(-0.0, -1.0), M_PI);

  Angles found;
  for (const double sine : {1.0, 1.5, -1.0, -1.5}) {
    TMatrix R = test::Matrix(3, {std::cos(0.4), 0, std::sin(0.4), 0, 0, 0, 0, sine, 0});
    EXPECT_EQ(GetAnglesExt(R, found[1], found[2], found[0]), std::copysign(1.0, sine));
    EXPECT_LE((found - Angles(0.4, std::copysign(M_PI_2, sine), 0.4)).norm(), 1e-15);
  }
  // ψ + γ beyond π comes back as the twin's.
  TMatrix R = !CosMatrix({0.8, 0.25, 2.5});
  GetAnglesExt(R, found[1], found[2], found[0]);
  EXPECT_LE((found - Angles(0.8 - M_PI, M_PI - 0.25, 2.5 - M_PI)).norm(), 1e-14);
  AlphaOmegaKappa2Matrix(2.0, 0.25, 2.5, &R);
  GetAlphaOmegaKappa(R, &found[0], &found[1], &found[2]);
  EXPECT_LE((found - Angles(2.0 - M_PI, 0.25, 2.5 - M_PI)).norm(), 1e-14);
  GetAlphaOmegaKappa(TMatrix(3, 3), &found[0], &found[1], &found[2]);
  EXPECT_TRUE(std::isnan(found[0]) && std::isnan(found[2]));
  const TMatrix nearly = LinearizedDirectionalCosMatrix(2e-9, 3e-9, 1e-9);
  EXPECT_LE(Difference(nearly, EigenMatrix(CosMatrix({1e-9, 2e-9, 3e-9}))), 1e-17);
}

TMatrix Rotation(const Angles& angles) {
  TMatrix m(3, 3);
  RzyxGetR(angles[0], angles[1], angles[2], &m);
  return m;
}

Angles RotationAngles(const TMatrix& R) {
  Angles angles;
  RzyxGetAlphaBetaGamma(R, &angles[0], &angles[1], &angles[2]);
  return angles;
}

TEST(RzyxRotation, AgreesWithEigen) {
  constexpr double Step = 1e-5;
  constexpr struct {
    decltype(&RzyxGetRx) turn, derivative;
    decltype(&Anyu) same_turn, same_derivative;
  } Axes[] = {{RzyxGetRx, RzyxGet_dRx_dalpha, Anyu, dAnyu_dnyu},
              {RzyxGetRy, RzyxGet_dRy_dbeta, Agamma, dAgamma_dgamma},
              {RzyxGetRz, RzyxGet_dRz_dgamma, Apsi, dApsi_dpsi}};
  TMatrix m(3, 3);
  for (int i = 0; i < test::Rounds(10000); ++i) {
    const Angles a = Angles::Random().cwiseProduct(Angles(3.0, 1.5, 3.0));
    const Eigen::Matrix3d R = Turn(0, a[0]) * Turn(1, a[1]) * Turn(2, a[2]);
    ASSERT_LE(Difference(Rotation(a), R), 1e-15);
    ASSERT_LE(Difference(Rotation(RotationAngles(Rotation(a))), R), 3e-8 / std::cos(a[1]));
    for (int axis = 0; axis < 3; ++axis) {
      Axes[axis].turn(a[0], &m);
      ASSERT_LE(Difference(m, Turn(axis, a[0])), 1e-15);
      Axes[axis].same_turn(&m, a[1]);
      ASSERT_LE(Difference(m, Turn(axis, a[1])), 1e-15);
      const Eigen::Matrix3d change = Turn(axis, a[0] + Step) - Turn(axis, a[0] - Step);
      Axes[axis].derivative(a[0], &m);
      ASSERT_LE(Difference(m, change / (2.0 * Step)), 1e-10);
      Axes[axis].same_derivative(&m, a[0]);
      ASSERT_LE(Difference(m, change / (2.0 * Step)), 1e-10);
    }
  }
}

TEST(RzyxRotation, AnglesLieWhereTheArcSinePutsThem) {
  for (const double cosine : {1.0, -1.0}) {
    EXPECT_EQ(SinCosToAngle(1.0000000001, cosine), M_PI_2);
    EXPECT_EQ(SinCosToAngle(-1.0000000001, cosine), -M_PI_2);
  }
  EXPECT_EQ(SinCosToAngle(0.0, -1.0), M_PI);
  const auto pole = [](double sine) {
    return test::Matrix(3, {0, 0, sine, std::sin(2.0), std::cos(2.0), 0, 0, 0, 0});
  };
  const struct {
    TMatrix R;
    Angles angles;
  } cases[] = {{Rotation({0.3, -0.4, 2.5}), {0.3, -0.4, 2.5}},
               {Rotation({-2.5, 0.4, -2.5}), {2.0 * M_PI - 2.5, 0.4, 2.0 * M_PI - 2.5}},
               {pole(1.0), {0.0, M_PI_2, 2.0}},
               {pole(-1.5), {0.0, -M_PI_2, 2.0}},
               {pole(NAN), {0.0, -M_PI_2, 2.0}}};
  for (const auto& test : cases)
    EXPECT_LE((RotationAngles(test.R) - test.angles).norm(), 1e-14) << test.angles;
  for (TMatrix small : {TMatrix(2, 3), TMatrix(3, 2), TMatrix("")}) {
    EXPECT_EQ(test::RuntimeErrorOf([&] { RzyxGetRx(0.0, &small); }), test::IndexError);
    EXPECT_LE(small.Norma1(), 0.0);
    EXPECT_EQ(test::RuntimeErrorOf([&] { RotationAngles(small); }), test::IndexError);
  }
}

}  // namespace
