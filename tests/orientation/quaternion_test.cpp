#include "kelvane/orientation/quaternion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <type_traits>

#include "tests/orientation/oracle.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::Difference;
using test::EigenMatrix;

static_assert(std::is_trivially_copyable_v<TQuaternion> && sizeof(TQuaternion) == 4 * sizeof(double));

Eigen::Quaterniond Eigens(const TQuaternion& q) { return {q(0), q(1), q(2), q(3)}; }

double Distance(const TQuaternion& a, const Eigen::Quaterniond& b) {
  return (Eigens(a).coeffs() - b.coeffs()).norm();
}

TEST(Quaternion, IsMadeComparedAndPrinted) {
  const double four[] = {1.0, 2.0, 3.0, 4.0};
  TQuaternion q(four);
  EXPECT_TRUE(q == TQuaternion(1.0, TVector(2.0, 3.0, 4.0)));
  EXPECT_TRUE((!q) == TQuaternion(1.0, -2.0, -3.0, -4.0));
  EXPECT_TRUE(-q == TQuaternion(-1.0, -2.0, -3.0, -4.0));
  q = TVector(1.0, 2.0, 3.0);
  EXPECT_TRUE(q == TVector(1.0, 2.0, 3.0) && TVector(1.0, 2.0, 3.0) == q);
  for (int i = 0; i < 4; ++i) {
    TQuaternion other = q;
    EXPECT_EQ(other[i]++, i);
    EXPECT_FALSE(other == q || other == TVector(1.0, 2.0, 3.0));
    TQuaternion one;
    EXPECT_FALSE(bool{one});
    one[i] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(one);
    one[i] = 1.0;
    EXPECT_EQ(one == 1.0, i == 0);
  }
  q = 2.0;
  EXPECT_TRUE(2.0 == q);
  EXPECT_FALSE(bool{TQuaternion(0.0, -0.0, 0.0, 0.0)});

  const TQuaternion wide(-1.5, 0.0, 0.0, 12345.678);
  EXPECT_EQ(wide.Output(), "(  -1.5000;   0.0000;   0.0000;12345.6780)");
  EXPECT_EQ(test::DebugTextOf([&] { (wide.DebugOutput(), wide.DebugOutput("q")); }),
            wide.Output() + "\n#q " + wide.Output() + "\n#");
  const char* const null = nullptr;
  EXPECT_THROW(wide.DebugOutput(null), std::logic_error);
}

TEST(Quaternion, NormalisesByTheSquaredLength) {
  TQuaternion q(1.0, 1.0, 1.0, 1.0);
  EXPECT_EQ(q.Norma(), 4.0);
  EXPECT_TRUE(q.GetNormalized() == TQuaternion(0.25, 0.25, 0.25, 0.25));
  EXPECT_TRUE(TQuaternion().Normalize() == TQuaternion() && ~TQuaternion() == TQuaternion());
  EXPECT_TRUE((q /= q[0] = 2.0) == TQuaternion(1.0, 0.5, 0.5, 0.5));
  // (2, 0, 0, 1) / 5: each form makes something else of it.
  const TQuaternion two(2.0, 0.0, 0.0, 1.0);
  EXPECT_NEAR(two.R().GetElement(0, 0), 1.0 - 2.0 * 0.04, 1e-15);
  EXPECT_NEAR(two.cnesR().GetElement(0, 0), 2.0 * 0.16 - 1.0, 1e-15);
  EXPECT_NEAR(two.AltR().GetElement(0, 0), 0.16 - 0.04, 1e-15);
  EXPECT_TRUE(std::isnan(TQuaternion().R().GetElement(0, 0)));
}

TEST(Quaternion, AgreesWithEigen) {
  std::mt19937_64 random(5);
  std::normal_distribution<double> normal;
  const auto next = [&] {
    return TQuaternion(normal(random), normal(random), normal(random), normal(random));
  };
  for (int i = 0; i < 10000; ++i) {
    const TQuaternion p = next();
    TQuaternion q = next();
    EXPECT_LE(Distance(p * q, Eigens(p) * Eigens(q)), 1e-14);
    EXPECT_LE(Distance(~q, Eigens(q).inverse()), 1e-14 / std::sqrt(q.Norma()));
    EXPECT_LE(Distance((2.0 * p + q * 2.0) / 2.0 - q, Eigens(p)), 1e-14);

    const double t = 1.5 * normal(random);
    const TQuaternion between = InterpolateRotation(p * 1e-200, q * 1e200, t);
    EXPECT_LE(Distance(between, Eigens(p).normalized().slerp(t, Eigens(q).normalized())), 1e-13);
    EXPECT_TRUE(SLERP(p, q, t) == p);

    q /= std::sqrt(q.Norma());
    const Eigen::Matrix3d turn = Eigens(q).toRotationMatrix();
    EXPECT_LE(Difference(EigenMatrix(q.R()), turn), 3e-15);
    EXPECT_LE(Difference(EigenMatrix(q.cnesR()), turn), 3e-15);
    EXPECT_LE(Difference(EigenMatrix(q.AltR()), turn.transpose()), 3e-15);
  }
}

TEST(Quaternion, InterpolatesWhereSlerpDoesNot) {
  const TQuaternion one(1.0, 0.0, 0.0, 0.0);
  const TQuaternion half_turn(0.0, 1.0, 0.0, 0.0);
  EXPECT_TRUE(SLERP(one, half_turn, 0.3) == one);
  EXPECT_TRUE(SLERP(TQuaternion(), half_turn, 0.3) == half_turn * std::sin(0.3 * M_PI_2));
  EXPECT_LE(Distance(InterpolateRotation(one, half_turn, 0.5), {M_SQRT1_2, M_SQRT1_2, 0.0, 0.0}), 1e-15);

  for (const double angle : {1e-300, 1e-160, 1e-9, 1e-3, 3.0}) {
    const TQuaternion b(std::cos(angle / 2.0), 0.0, std::sin(angle / 2.0), 0.0);
    for (const TQuaternion& to : {b, -b}) {
      const TQuaternion quarter = InterpolateRotation(one, to, 0.25);
      EXPECT_NEAR(quarter(2), std::sin(angle / 8.0), 1e-15 * angle) << angle;
      EXPECT_NEAR(quarter.Norma(), 1.0, 1e-15);
    }
  }
  EXPECT_TRUE(std::isnan(InterpolateRotation(one, TQuaternion(), 0.5)(0)));
}

}  // namespace
