#include "kelvane/transforms/similarity_3d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>

#include "kelvane/module/host/message.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using Pairs = std::vector<T7ParamsSourceDataItem>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
using P = T7Params;
constexpr double P::*Members[] = {&P::ShiftX, &P::ShiftY, &P::ShiftZ, &P::Alpha,
                                  &P::Beta,   &P::Gamma,  &P::Scale};

/// Turned about Z, then Y, then X, each written out.
T3DPoint Mapped(const T7Params& p, const T3DPoint& v) {
  const std::complex<double> z = std::polar(1.0, p.Gamma) * std::complex<double>(v.X, v.Y);
  const std::complex<double> y = std::polar(1.0, p.Beta) * std::complex<double>(v.Z, z.real());
  const std::complex<double> x = std::polar(1.0, p.Alpha) * std::complex<double>(z.imag(), y.real());
  return T3DPoint{p.ShiftX, p.ShiftY, p.ShiftZ} + p.Scale * T3DPoint{y.imag(), x.real(), x.imag()};
}

std::mt19937_64 generator(20261206);

double Unit() { return std::uniform_real_distribution<double>(-1.0, 1.0)(generator); }

T3DPoint Anywhere(double size) { return {size * Unit(), size * Unit(), size * Unit()}; }

/// With `step`, angles of its multiples.
T7Params AnyParams(double step = 1e-300) {
  const auto angle = [step] { return step * std::round(2.0 * M_PI * Unit() / step); };
  const double scale = std::pow(10.0, 3.0 * Unit());
  return {1e3 * Unit(), 1e3 * Unit(), 1e3 * Unit(), angle(), angle(), angle(), scale};
}

Pairs Exact(const T7Params& p, std::size_t count) {
  Pairs pairs(count);
  for (T7ParamsSourceDataItem& pair : pairs) {
    pair.From = Anywhere(1e3);
    pair.To = Mapped(p, pair.From);
  }
  return pairs;
}

void ExpectAt(const T3DPoint& expected, const T3DPoint& found, double size) {
  ASSERT_LE(Length(found - expected), 1e-9 * (size + Length(expected)));
}

TEST(Similarity, IsRecoveredFromExactPairsWhateverTheRotation) {
  for (const std::size_t count : {std::size_t{3}, std::size_t{4}, std::size_t{10}, std::size_t{1000}}) {
    for (std::size_t i = 0; i < 20000 / count; ++i) {
      // Quarter turns too: arc sines lose half their digits there.
      const T7Params truth = AnyParams(i % 4 == 0 ? M_PI_2 : 1e-300);
      const Pairs pairs = Exact(truth, count);
      const T3DPoint at = i % 2 == 0 ? T3DPoint() : Anywhere(1e3);
      const T3DPoint to = Mapped(truth, at);
      T7Params found;
      ASSERT_TRUE(Initialize7Params(pairs, &found));
      ExpectAt(to, Mapped(found, at), 1e3 * truth.Scale);
      ASSERT_TRUE(Calculate7Params(pairs, &found));
      ASSERT_NEAR(found.Scale, truth.Scale, 1e-9 * truth.Scale);
      ExpectAt(to, Mapped(found, at), 1e3 * truth.Scale);
      const T7ParamsTransform transform(truth);
      ExpectAt(to, transform.DirectTransform(at), truth.Scale);
      ExpectAt(at, transform.InverseTransform(to), 1e3 / truth.Scale);
      T7Params inverse;
      transform.GetInverseParameters(&inverse);
      ExpectAt(at, Mapped(inverse, to), 1e3 / truth.Scale);
      const T7Params second = AnyParams();
      Combine7Params(found, second, &found);
      ExpectAt(Mapped(second, to), Mapped(found, at), second.Scale * (1e3 * truth.Scale + Length(to)));
      ASSERT_TRUE(Invert7Params(inverse, &inverse));
      ExpectAt(to, Mapped(inverse, at), 1e3 + truth.Scale);
    }
  }
}

TEST(Similarity, EstimateHasTheLeastSquares) {
  for (int i = 0; i < 50; ++i) {
    const T7Params truth = AnyParams();
    Pairs pairs = Exact(truth, 12);
    for (T7ParamsSourceDataItem& pair : pairs) pair.To = pair.To + Anywhere(20.0 * truth.Scale);
    const T7ParamsTransform best(pairs);
    std::vector<T3DPoint> residuals(3);
    const double least = best.GetResiduals(pairs, &residuals);
    ASSERT_EQ(residuals.size(), pairs.size());
    ASSERT_EQ(Length(residuals[7] - (pairs[7].To - best.DirectTransform(pairs[7].From))), 0.0);
    const double shift = 0.1 * truth.Scale;
    const double changes[] = {shift, shift, shift, 1e-3, 1e-3, 1e-3, 1e-3 * truth.Scale};
    for (std::size_t k = 0; k < 14; ++k) {
      T7Params other;
      best.GetParameters(&other);
      other.*Members[k / 2] += (k % 2 == 0 ? 1.0 : -1.0) * changes[k / 2];
      ASSERT_GT(T7ParamsTransform(other).GetResiduals(pairs, nullptr), least);
    }
  }
}

TEST(Similarity, PairsThatTellNoTransformLeaveTheParameters) {
  const T7Params truth = AnyParams();
  const T3DPoint far = Anywhere(6e6);
  const T3DPoint along = Anywhere(1.0);
  std::vector<Pairs> cases = {{}, Exact(truth, 2)};
  for (const auto member : {&T7ParamsSourceDataItem::From, &T7ParamsSourceDataItem::To}) {
    for (const double size : {0.0, 1e-7, 1.0, 1e5, NaN, Infinity, 1e300}) {
      cases.push_back(Exact(truth, 5));
      double k = 0.0;
      for (T7ParamsSourceDataItem& pair : cases.back()) pair.*member = far + size * (k += 1.0) * along;
    }
  }
  T7Params kept = truth;
  for (const auto member : {&T7ParamsSourceDataItem::From, &T7ParamsSourceDataItem::To}) {
    cases.push_back(Exact(truth, 5));
    (cases.back()[4].*member).Y = NaN;
  }
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_FALSE(Calculate7Params(cases[i], &kept) || Initialize7Params(cases[i], &kept)) << i;
  }
  // A mirrored cube may be turned in more ways than one, wherever it stands.
  for (const double away : {0.0, 1e3, 1e6}) {
    Pairs cube;
    for (int i = 0; i < 8; ++i) {
      const T3DPoint corner = {i % 2 - 0.5, i / 2 % 2 - 0.5, i / 4 - 0.5};
      const T3DPoint mirrored = {-0.6 * corner.X + 0.8 * corner.Y, 0.8 * corner.X + 0.6 * corner.Y, corner.Z};
      cube.push_back({corner + away * along, mirrored + 3.0 * away * along});
    }
    EXPECT_FALSE(Calculate7Params(cube, &kept)) << away;
  }
  EXPECT_EQ(kept.Gamma, truth.Gamma);
}

TEST(Similarity, ConstructorsThrowTheirDeclarations) {
  const auto text_of = [](const auto& make) { return test::ErrorOf<TKaMessage>(make); };
  const T7Params truth = AnyParams();
  for (const double bad : {NaN, Infinity, 0.0, -1.0, 1e-310}) {
    T7Params params = truth;
    params.Scale = bad;
    EXPECT_EQ(text_of([&] { T7ParamsTransform transform(params); }),
              "T7ParamsTransform::T7ParamsTransform(const T7Params& src)");
  }
  EXPECT_EQ(text_of([] { T7ParamsTransform transform(Pairs(5)); }),
            "T7ParamsTransform::T7ParamsTransform(const std::vector<T7ParamsSourceDataItem>& points)");
  TKaXIniStreamReader empty = test::XmlReader(test::SavedXml([](TKaXIniWriter*) { return true; }));
  EXPECT_EQ(text_of([&] { T7ParamsTransform transform(&empty, "Key"); }),
            "T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src, std::string key)");
  EXPECT_EQ(text_of([&] { T7ParamsTransform transform(&empty); }),
            "T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src)");
}

}  // namespace
