#include "kelvane/orientation/quaternion.h"

#include <cmath>
#include <stdexcept>

#include "tests/orientation/oracle.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using Eigen::Quaterniond;
using test::Difference;

Quaterniond Eigens(const TQuaternion& q) { return {q(0), q(1), q(2), q(3)}; }

double Distance(const TQuaternion& a, const Quaterniond& b) {
  return (Eigens(a).coeffs() - b.coeffs()).norm();
}

TEST(Quaternion, IsMadeComparedAndPrinted) {
  const double four[] = {1.0, 2.0, 3.0, 4.0};
  TQuaternion q(four);
  EXPECT_TRUE(q == TQuaternion(1.0, TVector(2.0, 3.0, 4.0)));
  EXPECT_TRUE((!q) == TQuaternion(1.0, -2.0, -3.0, -4.0) && -q == TQuaternion(-1.0, -2.0, -3.0, -4.0));
  q = TVector(1.0, 2.0, 3.0);
  EXPECT_TRUE(q == TVector(1.0, 2.0, 3.0) && TVector(1.0, 2.0, 3.0) == q);
  EXPECT_TRUE(1.0 == TQuaternion(1.0, 0.0, 0.0, 0.0) && !(1.0 == q));
  for (int i = 0; i < 4; ++i) {
    TQuaternion other = q;
    EXPECT_EQ(other[i]++, i);
    EXPECT_FALSE(other == q || other == TVector(1.0, 2.0, 3.0));
    TQuaternion one;
    EXPECT_FALSE(bool{one});
    one[i] = 1.0;
    EXPECT_EQ(one == 1.0, i == 0);
    one[i] = NAN;
    EXPECT_TRUE(one);
  }
  const TQuaternion wide(-1.5, 0.0, 0.0, 12345.678);
  EXPECT_EQ(test::DebugTextOf([&] { (wide.DebugOutput(), wide.DebugOutput("q")); }),
            "(  -1.5000;   0.0000;   0.0000;12345.6780)\n#q (  -1.5000;   0.0000;   0.0000;12345.6780)\n#");
  EXPECT_THROW(wide.DebugOutput(static_cast<const char*>(nullptr)), std::logic_error);
}

TEST(Quaternion, NormalisesByTheSquaredLength) {
  TQuaternion q(1.0, 1.0, 1.0, 1.0);
  EXPECT_TRUE(q.GetNormalized() == TQuaternion(0.25, 0.25, 0.25, 0.25) && q.Norma() == 4.0);
  EXPECT_TRUE(TQuaternion().Normalize() == TQuaternion() && ~TQuaternion() == TQuaternion());
  EXPECT_TRUE((q /= q[0] = 2.0) == TQuaternion(1.0, 0.5, 0.5, 0.5));
  TQuaternion none(NAN, 2.0, 0.0, 0.0);
  EXPECT_EQ(none.Normalize()(1), 2.0);
  const TQuaternion long_one(1.0, 2.0, 3.0, 4.0);
  EXPECT_LE(Difference(long_one.R(), Eigens(long_one / 30.0).toRotationMatrix()), 1e-15);
  // (2, 0, 0, 1) / 5: each form makes something else of it.
  const TQuaternion two(2.0, 0.0, 0.0, 1.0);
  EXPECT_NEAR(two.cnesR().GetElement(0, 0), 2.0 * 0.16 - 1.0, 1e-15);
  EXPECT_NEAR(two.AltR().GetElement(0, 0), 0.16 - 0.04, 1e-15);
}

TEST(Quaternion, AgreesWithEigen) {
  const auto next = [] { return TQuaternion(Eigen::Vector4d::Random().eval().data()); };
  for (int i = 0; i < 10000; ++i) {
    const TQuaternion p = next();
    TQuaternion q = next();
    ASSERT_LE(Distance(p * q, Eigens(p) * Eigens(q)), 1e-15);
    ASSERT_LE(Distance(~q, Eigens(q).inverse()), 1e-15 / std::sqrt(q.Norma()));
    ASSERT_LE(Distance((2.0 * p + q * 2.0) / 2.0 - q, Eigens(p)), 1e-15);
    EXPECT_TRUE(SLERP(p, q, 0.3) == p);
    ASSERT_LE(Distance(InterpolateRotation(p * 1e-200, q * 1e200, 3.0 * p(0)),
                       Eigens(p).normalized().slerp(3.0 * p(0), Eigens(q).normalized())),
              1e-13);
    q /= std::sqrt(q.Norma());
    ASSERT_LE(Difference(q.R(), Eigens(q).toRotationMatrix()), 3e-15);
    ASSERT_LE(Difference(q.cnesR(), Eigens(q).toRotationMatrix()), 3e-15);
    ASSERT_LE(Difference(!q.AltR(), Eigens(q).toRotationMatrix()), 3e-15);
  }
}

TEST(Quaternion, InterpolatesWhereSlerpDoesNot) {
  const TQuaternion one(1.0, 0.0, 0.0, 0.0);
  EXPECT_TRUE(SLERP(TQuaternion(), one, 0.3) == one * std::sin(0.3 * M_PI_2));
  EXPECT_LE((SLERP(one, TQuaternion(), 0.3) - one * std::cos(0.3 * M_PI_2)).Norma(), 1e-31);
  for (const double angle : {1e-300, 1e-160, 1e-9, 1e-3, 3.0, M_PI}) {
    const TQuaternion b(angle == M_PI ? 0.0 : std::cos(angle / 2.0), 0.0, std::sin(angle / 2.0), 0.0);
    EXPECT_NEAR(InterpolateRotation(one, b, 0.25)(2), std::sin(angle / 8.0), 1e-15 * angle) << angle;
    EXPECT_NEAR(std::fabs(InterpolateRotation(one, -b, 0.25)(2)), std::sin(angle / 8.0), 1e-15 * angle)
        << angle;
    for (const double t : {-0.5, 1e6, 1e20}) {
      EXPECT_NEAR(InterpolateRotation(one, b, t).Norma(), 1.0, 4e-15) << angle;
    }
  }
  EXPECT_TRUE(std::isnan(InterpolateRotation(one, TQuaternion(), 0.5)(0)));
}

}  // namespace
