#include "kelvane/orientation/angle_unit_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "kelvane/orientation/attitude_angles.h"
#include "tests/orientation/oracle.h"

namespace {

using namespace SatCommonUtils;
using namespace SatCommonUtils::SatAttitudeAngles;

struct Series {
  const char* name;
  std::size_t n;
  std::vector<double> nyu, gamma, psi;  ///< coefficients, the constant first
  std::size_t poles = 0;

  TMatrix MatrixAt(double t) const {
    TMatrix m(3, 3);
    DirectionalCosMatrix(&m, TPolynome(nyu).GetValue(t), TPolynome(gamma).GetValue(t),
                         TPolynome(psi).GetValue(t));
    return !m;
  }
  double Time(std::size_t i) const {
    return (2.0 * static_cast<double>(i) - static_cast<double>(n - 1)) / static_cast<double>(n - 1);
  }
  std::vector<double> Times() const {
    std::vector<double> times;
    for (std::size_t i = 0; i < n; ++i) times.push_back(Time(i));
    return times;
  }
  std::vector<TMatrix> Matrices() const {
    std::vector<TMatrix> matrices;
    for (std::size_t i = 0; i < n; ++i) matrices.push_back(MatrixAt(Time(i)));
    return matrices;
  }
};

TEST(AngleUnitSet, FittedPolynomialsGiveTheMatrices) {
  const std::vector<double> bent = {0.3, 0.4, -0.2, 0.1};
  const Series all[] = {
      {"plain", 21, {0.1, 0.2}, bent, {-0.4, 0.1, 0.1}},
      {"through +90 degrees, one record at the pole", 21, {M_PI_2, 0.5, 0.1}, bent, {-0.4, 0.1, 0.1}, 1},
      {"through +90 degrees between records", 20, {M_PI_2, 0.5}, bent, {3.0, 0.1, 0.1}},
      {"through -90 degrees, angles near the seam", 21, {-M_PI_2, -0.5}, {3.1, 0.3}, {-3.1, -0.2}, 1},
      {"through -90 degrees, half a turn apart", 21, {-M_PI_2, 0.5}, {3.1, 0.3}, {0.1, -0.2}, 1},
      {"at +90 degrees throughout, across the seam", 11, {M_PI_2}, {3.0, 0.3}, {0.2, 0.1}},
      {"at -90 degrees throughout", 11, {-M_PI_2}, bent, {0.2, 0.1}},
      {"nu across the seam", 21, {M_PI, 0.6}, bent, {0.5, 0.2}},
      {"gamma across the seam", 21, {0.2, 0.1}, {M_PI, 0.6}, bent},
      {"psi across the seam", 10, {0.2, 0.1}, bent, {-M_PI, 0.6}},
  };
  for (const Series& series : all) {
    SCOPED_TRACE(series.name);
    std::vector<TMatrix> matrices = series.Matrices();
    std::vector<double> times = series.Times();
    TAngleUnitSet set;
    ASSERT_TRUE(set.Set(matrices.data(), series.n));
    EXPECT_EQ(set.Count(), series.n);
    EXPECT_EQ(set.PoleCount(), series.poles);

    TPolynome nyu(2, nullptr);
    TPolynome gamma(3, nullptr);
    TPolynome psi(3, nullptr);
    ASSERT_TRUE(ApproximateAngles(matrices.data(), times.data(), series.n, &nyu, &gamma, &psi));
    for (std::size_t i = 0; i < series.n; ++i) {
      const double t = times[i];
      TMatrix again(3, 3);
      DirectionalCosMatrix(&again, nyu.GetValue(t), gamma.GetValue(t), psi.GetValue(t));
      EXPECT_LE(test::Difference(test::EigenMatrix(!again), test::EigenMatrix(matrices[i])), AngleFitBound)
          << i;
    }
  }
}

/// Records at the pole hold -2.5, regular ones 'a' the sum 0.2 and 'b' the sum 3: which of them the reference
/// is shows in the turn that the pole's records take.
TEST(AngleUnitSet, ReferenceIsTheFirstFromTheMiddleOnElseTheEarliestButZero) {
  const struct {
    std::string records;
    char reference;
  } cases[] = {{"aPPb", 'b'},   {"bPPP", 'b'},   {"abPP", 'b'},   {"Pbaa", 'a'},
               {"PbbabP", 'a'}, {"PbaPPP", 'b'}, {"baaPPP", 'a'}, {"aPbPaP", 'a'}};
  for (const auto& test : cases) {
    std::vector<TMatrix> matrices;
    for (const char record : test.records) {
      const double angle = record == 'a' ? 0.1 : record == 'b' ? 1.5 : -1.25;
      TMatrix m(3, 3);
      DirectionalCosMatrix(&m, record == 'P' ? M_PI_2 : 1.0, angle, angle);
      matrices.push_back(!m);
    }
    TAngleUnitSet set;
    ASSERT_TRUE(set.Set(matrices.data(), matrices.size()));
    const TAngleUnit& pole = set.Unit(test.records.find('P'));
    EXPECT_EQ(pole.kind, AtPlusPole);
    EXPECT_NEAR(pole.gamma, test.reference == 'a' ? -2.5 : 2.0 * M_PI - 2.5, 1e-14) << test.records;
    EXPECT_EQ(pole.psi, pole.gamma);
  }
}

TEST(AngleUnitSet, WhatCannotBeFittedChangesNothing) {
  const Series series = {"", 4, {0.1, 0.2}, {0.3}, {0.4, 0.1}};
  std::vector<TMatrix> matrices = series.Matrices();
  std::vector<double> times = series.Times();
  double coefs[3][8] = {};
  const auto fits = [&](std::size_t n, int nyu, int gamma, int psi) {
    return ApproximateAngles(matrices.data(), times.data(), n, nyu, gamma, psi, coefs[0], coefs[1], coefs[2]);
  };
  EXPECT_FALSE(fits(0, 0, 0, 0));
  const int degrees[][3] = {{4, 0, 0},  {0, 4, 0},  {0, 0, 4},        {-1, 1, 1},
                            {1, -1, 1}, {1, 1, -1}, {0, INT32_MAX, 0}};
  for (const auto& d : degrees) EXPECT_FALSE(fits(4, d[0], d[1], d[2])) << d[0] << d[1] << d[2];

  const TMatrix good = matrices[3];
  for (const TMatrix& bad : {TMatrix(2), TMatrix(3, 2), NAN * good, HUGE_VAL * good}) {
    matrices[3] = bad;
    EXPECT_FALSE(fits(4, 1, 1, 1));
  }
  matrices[3] = good;
  for (const double bad : {times[2], double{NAN}, HUGE_VAL, 1e300}) {
    times[3] = bad;
    EXPECT_FALSE(fits(4, 3, 3, 3)) << bad;
  }
  times = series.Times();

  // Three poles and a regular record make 5 equations.
  for (std::size_t i = 0; i < 3; ++i) matrices[i] = Series{"", 4, {M_PI_2}, {0.1}, {0.2}}.MatrixAt(0.0);
  TAngleUnitSet set;
  ASSERT_TRUE(set.Set(matrices.data(), 4));
  EXPECT_THROW(set.Aproximate(times.data(), 0, 2, 2, coefs[0], coefs[1], coefs[2]), const char*);
  EXPECT_FALSE(fits(4, 0, 2, 2));
  for (const auto& row : coefs) EXPECT_TRUE(std::all_of(row, row + 8, [](double c) { return c == 0.0; }));
  EXPECT_TRUE(fits(4, 0, 1, 0));
}

}  // namespace
