#include "kelvane/orientation/angle_unit_set.h"

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

TMatrix MatrixOf(double nyu, double gamma, double psi) {
  TMatrix m(3, 3);
  DirectionalCosMatrix(&m, nyu, gamma, psi);
  return !m;
}

using Coefficients = std::vector<double>;  ///< the constant first

/// Times from -1 to 1 and the matrices of angles that are polynomials.
struct Series {
  Series(std::size_t n, const Coefficients& nyu, const Coefficients& gamma, const Coefficients& psi) {
    for (std::size_t i = 0; i < n; ++i) {
      const double t = 2.0 * static_cast<double>(i) / static_cast<double>(n - 1) - 1.0;
      times.push_back(t);
      matrices.push_back(
          MatrixOf(TPolynome(nyu).GetValue(t), TPolynome(gamma).GetValue(t), TPolynome(psi).GetValue(t)));
    }
  }
  std::vector<double> times;
  std::vector<TMatrix> matrices;
};

TEST(AngleUnitSet, FittedPolynomialsGiveTheMatrices) {
  const Coefficients bent = {0.3, 0.4, -0.2, 0.1};
  struct {
    const char* name;
    Series series;
  } cases[] = {
      {"through +90 degrees, a record there", {21, {M_PI_2, 0.5, 0.1}, bent, {-0.4, 0.1, 0.1}}},
      {"through +90 degrees between records", {20, {M_PI_2, 0.5}, bent, {3.0, 0.1, 0.1}}},
      {"through -90 degrees, angles near the seam", {21, {-M_PI_2, -0.5}, {3.1, 0.3}, {-3.1, -0.2}}},
      {"through -90 degrees, half a turn apart", {21, {-M_PI_2, 0.5}, {3.1, 0.3}, {0.1, -0.2}}},
      {"at +90 degrees throughout, across the seam", {11, {M_PI_2}, {3.0, 0.3}, {0.2, 0.1}}},
      {"at -90 degrees throughout", {11, {-M_PI_2}, bent, {0.2, 0.1}}},
      {"nu across the seam", {21, {M_PI, 0.6}, bent, {0.5, 0.2}}},
      {"gamma across the seam", {21, {0.2, 0.1}, {M_PI, 0.6}, {0.3, 0.4, -0.2}}},
      {"psi across the seam", {10, {0.2, 0.1}, bent, {-M_PI, 0.6}}},
      {"gamma within 90 degrees of the middle only", {11, {0.2, 0.1}, {0.1, 1.3}, {0.5}}},
  };
  for (auto& test : cases) {
    std::vector<TMatrix>& matrices = test.series.matrices;
    TPolynome nyu(2, nullptr);
    TPolynome gamma(3, nullptr);
    TPolynome psi(2, nullptr);
    double* const times = test.series.times.data();
    ASSERT_TRUE(ApproximateAngles(matrices.data(), times, matrices.size(), &nyu, &gamma, &psi));
    for (std::size_t i = 0; i < matrices.size(); ++i) {
      const TMatrix again =
          MatrixOf(nyu.GetValue(times[i]), gamma.GetValue(times[i]), psi.GetValue(times[i]));
      EXPECT_LE(test::Difference(again, test::EigenMatrix(matrices[i])), AngleFitBound) << test.name << i;
    }
  }
}

/// Records at the pole hold -2.5, regular ones 'a' the sum 0.2 and 'b' the sum 3: which of them the reference
/// is shows in the turn that the pole's records take. 'c' is as 'a', but over π/2 away from the pole.
TEST(AngleUnitSet, ReferenceIsTheFirstFromTheMiddleOnElseTheEarliestButZero) {
  const struct {
    std::string records;
    char reference;
  } cases[] = {{"aPPb", 'b'},   {"bPPP", 'b'},   {"abPP", 'b'},   {"Pbaa", 'a'}, {"PbbabP", 'a'},
               {"PbaPPP", 'b'}, {"baaPPP", 'a'}, {"aPbPaP", 'a'}, {"cccP", 'c'}};
  for (const auto& test : cases) {
    std::vector<TMatrix> matrices;
    for (const char record : test.records) {
      const double angle = record == 'P' ? -1.25 : record == 'b' ? 1.5 : 0.1;
      matrices.push_back(MatrixOf(record == 'P' ? M_PI_2 : record == 'c' ? -0.5 : 1.0, angle, angle));
    }
    TAngleUnitSet set;
    ASSERT_TRUE(set.Set(matrices.data(), matrices.size()));
    const TAngleUnit& pole = set.Unit(test.records.find('P'));
    EXPECT_EQ(pole.kind, AtPlusPole);
    EXPECT_EQ(set.PoleCount(),
              static_cast<std::size_t>(std::count(test.records.begin(), test.records.end(), 'P')));
    EXPECT_NEAR(pole.gamma, test.reference == 'a' ? -2.5 : 2.0 * M_PI - 2.5, 1e-14) << test.records;
    EXPECT_EQ(pole.psi, pole.gamma);
  }
}

TEST(AngleUnitSet, WhatCannotBeFittedChangesNothing) {
  const Series series(4, {0.1, 0.2}, {0.3}, {0.4, 0.1});
  std::vector<TMatrix> matrices = series.matrices;
  std::vector<double> times = series.times;
  double coefs[3][4] = {};
  const auto fits = [&](int nyu, int gamma, int psi, std::size_t n = 4) {
    return ApproximateAngles(matrices.data(), times.data(), n, nyu, gamma, psi, coefs[0], coefs[1], coefs[2]);
  };
  EXPECT_FALSE(fits(0, 0, 0, 0));
  for (const int degree : {4, -1, INT32_MAX}) {
    EXPECT_FALSE(fits(degree, 0, 0) || fits(0, degree, 0) || fits(0, 0, degree)) << degree;
  }
  for (const TMatrix& bad : {TMatrix(2), TMatrix(3, 2), NAN * matrices[3], HUGE_VAL * matrices[3]}) {
    matrices[3] = bad;
    EXPECT_FALSE(fits(1, 1, 1));
  }
  matrices = series.matrices;
  for (const double bad : {times[2], double{NAN}, HUGE_VAL, 1e300}) {
    times[3] = bad;
    EXPECT_FALSE(fits(3, 3, 3)) << bad;
  }
  times = series.times;
  // Three poles and a regular record make 5 equations.
  std::fill_n(matrices.begin(), 3, MatrixOf(M_PI_2, 0.1, 0.2));
  TAngleUnitSet set;
  ASSERT_TRUE(set.Set(matrices.data(), 4));
  EXPECT_THROW(set.Aproximate(times.data(), 0, 2, 2, coefs[0], coefs[1], coefs[2]), const char*);
  EXPECT_FALSE(fits(0, 2, 2));
  times = {1.0, 0.0, 2.0, 0.0};  // all of γ + ψ, but one γ - ψ for two unknowns
  EXPECT_FALSE(fits(0, 1, 1));
  for (const double pole : {M_PI_2, -M_PI_2}) {
    Series poles(12, {pole}, {0.1, 0.2}, {0.3});
    poles.matrices[4] = poles.matrices[7] = MatrixOf(pole - 0.5, 0.1, 0.3);
    times = poles.times;
    matrices = poles.matrices;
    EXPECT_FALSE(fits(2, 3, 3, 12)) << pole;
  }
  times = series.times;
  for (const auto& row : coefs) EXPECT_EQ(std::count(row, row + 4, 0.0), 4);
  matrices = series.matrices;
  std::fill_n(matrices.begin(), 3, MatrixOf(M_PI_2, 0.1, 0.2));
  EXPECT_TRUE(fits(0, 1, 0));
  matrices = {MatrixOf(0.1, 0.3, 0), MatrixOf(0.1, -0.3, 0), MatrixOf(0.1, -0.3, 0), MatrixOf(0.1, 0.3, 0)};
  EXPECT_TRUE(fits(0, 0, 0)) << "zeros are the solution";
}

}  // namespace
