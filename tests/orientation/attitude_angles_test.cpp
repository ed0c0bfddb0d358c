#include "kelvane/orientation/attitude_angles.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <thread>

#include "kelvane/module/host/message.h"
#include "tests/orientation/oracle.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using namespace SatCommonUtils::SatAttitudeAngles;
using test::Difference;
using test::EigenMatrix;

/// psi, nu, gamma, as the derivatives count them.
using Angles = std::array<double, 3>;

Eigen::Matrix3d Attitude(const Angles& a) {
  return test::AboutZ(a[0]) * test::AboutX(a[1]) * test::AboutY(a[2]);
}

TMatrix CosMatrix(const Angles& a) {
  TMatrix m(3, 3);
  DirectionalCosMatrix(&m, a[1], a[2], a[0]);
  return m;
}

Eigen::Matrix3d Derivative(int index, const Angles& a) {
  TMatrix m("");
  DirectionalCosMatrixDerivative(&m, index, a[0], a[1], a[2]);
  return EigenMatrix(m);
}

Eigen::Matrix3d SecondDerivative(int i, int j, const Angles& a) {
  TMatrix m("");
  DirectionalCosMatrixSecondDerivative(&m, i, j, a[0], a[1], a[2]);
  return EigenMatrix(m);
}

template <class Function>
Eigen::Matrix3d CentralDifference(Function function, Angles a, int index, double step) {
  Angles b = a;
  a[static_cast<std::size_t>(index)] -= step;
  b[static_cast<std::size_t>(index)] += step;
  return (function(b) - function(a)) / (2.0 * step);
}

TEST(AttitudeAngles, MatricesAndTheirAnglesAgreeWithEigen) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> turn(-M_PI, M_PI);
  std::uniform_real_distribution<double> exponent(-7.0, -2.7);
  int far_from_poles = 0;
  for (int i = 0; i < 110000; ++i) {
    const double near_pole = std::copysign(M_PI_2, turn(random)) + std::pow(10.0, exponent(random));
    const Angles a = {turn(random), i % 11 == 0 ? near_pole : turn(random), turn(random)};
    TMatrix R = !CosMatrix(a);
    const Eigen::Matrix3d exact = Attitude(a);
    ASSERT_LE(Difference(EigenMatrix(R), exact), AttitudeMatrixBound);

    Angles found = {};
    EXPECT_EQ(GetAnglesExt(R, found[1], found[2], found[0]), R.GetElement(1, 2));
    const double error = Difference(EigenMatrix(!CosMatrix(found)), EigenMatrix(R));
    ASSERT_LE(error, AttitudeRoundTripBound(std::cos(a[1]))) << i;
    if (std::fabs(std::cos(a[1])) >= 2e-3) {
      EXPECT_LE(error, 1e-12);
      ++far_from_poles;
    }
  }
  EXPECT_GE(far_from_poles, 99000);
}

TEST(AttitudeAngles, DerivativesAgreeWithCentralDifferences) {
  constexpr double Step = 1e-5;
  std::mt19937_64 random(8);
  std::uniform_real_distribution<double> turn(-M_PI, M_PI);
  for (int n = 0; n < 5000; ++n) {
    const Angles a = {turn(random), turn(random), turn(random)};
    for (int i = 0; i < 3; ++i) {
      ASSERT_LE(Difference(Derivative(i, a), CentralDifference(Attitude, a, i, Step)),
                AttitudeDerivativeBound(Step));
      EXPECT_EQ(Derivative(i, a), SecondDerivative(7, i, a));
      for (int j = 0; j < 3; ++j) {
        const auto first = [j](const Angles& at) { return Derivative(j, at); };
        ASSERT_LE(Difference(SecondDerivative(i, j, a), CentralDifference(first, a, i, Step)),
                  AttitudeDerivativeBound(Step));
      }
    }
  }
  for (const int none : {-1, 3}) {
    TMatrix kept(1);
    try {
      DirectionalCosMatrixDerivative(&kept, none, 0.1, 0.2, 0.3);
      ADD_FAILURE();
    } catch (const TKaMessage& message) {
      EXPECT_STREQ(message.what(), "DirectionalCosMatrixDerivative failed");
    }
    try {
      DirectionalCosMatrixSecondDerivative(&kept, none, none, 0.1, 0.2, 0.3);
      ADD_FAILURE();
    } catch (const TKaMessage& message) {
      EXPECT_STREQ(message.what(), "DirectionalCosMatrixSecondDerivative failed");
    }
    EXPECT_EQ(kept.width, 1U);
  }
}

TEST(AttitudeAngles, DerivativesAreSafeInSeveralThreads) {
  const auto work = [](double angle) {
    const Angles a = {angle, angle / 2.0, angle / 3.0};
    const Eigen::Matrix3d first = SecondDerivative(0, 2, a);
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(SecondDerivative(0, 2, a), first);
  };
  std::thread other(work, 1.0);
  work(2.0);
  other.join();
}

TEST(AttitudeAngles, RangesPolesAndBadInput) {
  EXPECT_EQ(GetArranged_PI_PI(M_PI), M_PI);
  EXPECT_EQ(GetArranged_PI_PI(-M_PI), M_PI);
  EXPECT_EQ(GetArranged_0_2PI(2.0 * M_PI), 0.0);
  EXPECT_EQ(GetArranged_0_2PI(-1e-20), 2.0 * M_PI);
  EXPECT_EQ(GetArranged_PI_PI(9.0), 9.0 - 2.0 * M_PI);
  for (const double huge : {1e6, 1e7, 1e18, 1e300, -1e300}) {
    EXPECT_LE(std::fabs(GetArranged_PI_PI(huge)), M_PI);
    EXPECT_NEAR(std::sin(GetArranged_0_2PI(huge) - GetArranged_PI_PI(huge)), 0.0, 1e-15);
  }
  for (const double none : {HUGE_VAL, -HUGE_VAL, double{NAN}}) {
    EXPECT_TRUE(std::isnan(GetArranged_PI_PI(none)) && std::isnan(GetArranged_0_2PI(none)));
  }
  EXPECT_EQ(GetRadians(0.0, -1.0), M_PI);
  EXPECT_EQ(GetRadians(-0.0, -1.0), M_PI);
  EXPECT_EQ(GetRadians(-1.0, 0.0), -M_PI_2);

  for (const double sine : {1.0, 1.5, -1.0, -1.5}) {
    TMatrix R = test::Matrix(3, {std::cos(0.4), 0, std::sin(0.4), 0, 0, 0, 0, sine, 0});
    Angles found = {};
    EXPECT_EQ(GetAnglesExt(R, found[1], found[2], found[0]), std::copysign(1.0, sine));
    EXPECT_EQ(found[1], std::copysign(M_PI_2, sine));
    EXPECT_EQ(found[0], found[2]);
    EXPECT_NEAR(found[0], 0.4, 1e-15);
  }
  // ψ + γ beyond π comes back as the twin's.
  TMatrix R = !CosMatrix({0.8, 0.25, 2.5});
  Angles found = {};
  GetAnglesExt(R, found[1], found[2], found[0]);
  EXPECT_NEAR(found[0], 0.8 - M_PI, 1e-14);
  EXPECT_NEAR(found[1], M_PI - 0.25, 1e-14);
  EXPECT_NEAR(found[2], 2.5 - M_PI, 1e-14);
  TMatrix small(3, 2);
  EXPECT_EQ(test::RuntimeErrorOf([&] { GetAnglesExt(small, found[0], found[1], found[2]); }),
            test::IndexError);

  const Angles tiny = {1e-9, 2e-9, 3e-9};
  EXPECT_LE(
      Difference(EigenMatrix(LinearizedDirectionalCosMatrix(2e-9, 3e-9, 1e-9)), EigenMatrix(CosMatrix(tiny))),
      1e-17);
}

TEST(AlphaOmegaKappa, AgreesWithEigenBothWays) {
  std::mt19937_64 random(9);
  std::uniform_real_distribution<double> uniform(-1.5, 1.5);
  for (int i = 0; i < 10000; ++i) {
    const Eigen::Vector3d angles(uniform(random), uniform(random), uniform(random));
    TMatrix M(3, 3);
    AlphaOmegaKappa2Matrix(angles[0], angles[1], angles[2], &M);
    ASSERT_LE(Difference(EigenMatrix(M),
                         test::AboutZ(-angles[2]) * test::AboutX(-angles[1]) * test::AboutY(angles[0])),
              AttitudeMatrixBound);
    Eigen::Vector3d found;
    GetAlphaOmegaKappa(M, &found[0], &found[1], &found[2]);
    ASSERT_LE((found - angles).norm(), 2e-15 / std::cos(angles[1]));
  }
}

}  // namespace
