#include "kelvane/transforms/similarity_3d.h"

#include <gtest/gtest.h>

#include <cmath>
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
constexpr double T7Params::*Members[] = {&T7Params::ShiftX, &T7Params::ShiftY, &T7Params::ShiftZ,
                                         &T7Params::Alpha,  &T7Params::Beta,   &T7Params::Gamma,
                                         &T7Params::Scale};

/// Turned about Z, then Y, then X, each written out.
T3DPoint Mapped(const T7Params& p, T3DPoint v) {
  const auto turn = [](double angle, double* from, double* to) {
    const double x = *from;
    *from = std::cos(angle) * x - std::sin(angle) * *to;
    *to = std::sin(angle) * x + std::cos(angle) * *to;
  };
  turn(p.Gamma, &v.X, &v.Y);
  turn(p.Beta, &v.Z, &v.X);
  turn(p.Alpha, &v.Y, &v.Z);
  return T3DPoint{p.ShiftX, p.ShiftY, p.ShiftZ} + p.Scale * v;
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

void ExpectSameMap(const T7Params& found, const T7Params& expected) {
  ASSERT_NEAR(found.Scale, expected.Scale, 1e-9 * expected.Scale);
  for (const T3DPoint& at : {T3DPoint(), Anywhere(1e3), Anywhere(1e3), Anywhere(1e3)}) {
    const T3DPoint to = Mapped(expected, at);
    ASSERT_LE(Length(Mapped(found, at) - to), 1e-9 * (1e3 * expected.Scale + Length(to)));
  }
}

TEST(Similarity, IsRecoveredFromExactPairsWhateverTheRotation) {
  for (const std::size_t count : {std::size_t{3}, std::size_t{4}, std::size_t{10}, std::size_t{1000}}) {
    for (std::size_t i = 0; i < 20000 / count; ++i) {
      // Quarter turns too: arc sines lose half their digits there.
      const T7Params truth = i % 4 == 0 ? AnyParams(M_PI_2) : AnyParams();
      const Pairs pairs = Exact(truth, count);
      T7Params found;
      ASSERT_TRUE(Calculate7Params(pairs, &found));
      ExpectSameMap(found, truth);
      ASSERT_TRUE(Initialize7Params(pairs, &found));
      ExpectSameMap(found, truth);
    }
  }
}

TEST(Similarity, InverseAndCombination) {
  for (int i = 0; i < 2000; ++i) {
    const T7Params first = AnyParams(i % 4 == 0 ? M_PI_2 : 1e-300);
    const T7Params second = AnyParams();
    const T7ParamsTransform transform(first);
    const T3DPoint from = Anywhere(1e3);
    const T3DPoint to = transform.DirectTransform(from);
    const double bound = 1e-8 * (1.0 + 1.0 / first.Scale);
    ASSERT_LT(Length(to - Mapped(first, from)), 1e-9 * (1.0 + 2.0 * first.Scale));
    ASSERT_LT(Length(transform.InverseTransform(to) - from), bound);
    T7Params inverse = first;
    ASSERT_TRUE(Invert7Params(inverse, &inverse));
    ASSERT_LT(Length(Mapped(inverse, to) - from), bound);
    T7Params kept;
    transform.GetInverseParameters(&kept);
    for (const auto member : Members) ASSERT_EQ(kept.*member, inverse.*member);
    T7Params both = first;
    Combine7Params(both, second, &both);
    ASSERT_LT(Length(Mapped(both, from) - Mapped(second, to)), 1e-11 * (1e2 + second.Scale * Length(to)));
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
    double squares = 0.0;
    for (const T3DPoint& r : residuals) squares += Dot(r, r);
    ASSERT_NEAR(least, std::sqrt(squares / 36.0), 1e-12 * least);
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
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_FALSE(Calculate7Params(cases[i], &kept) || Initialize7Params(cases[i], &kept)) << i;
  }
  Pairs mirrored;  // an octahedron: all turns about it are equally wrong
  for (const T3DPoint& p : {T3DPoint{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}) {
    mirrored.push_back({p, -1.0 * p});
    mirrored.push_back({-1.0 * p, p});
  }
  EXPECT_FALSE(Calculate7Params(mirrored, &kept));
  EXPECT_EQ(kept.Gamma, truth.Gamma);
}

TEST(Similarity, ConstructorsThrowTheirDeclarations) {
  const auto text_of = [](const auto& make) { return test::ErrorOf<TKaMessage>(make); };
  const T7Params truth = AnyParams();
  T7ParamsTransform kept(truth);
  for (const auto member : Members) {
    for (const double bad : {NaN, Infinity, 0.0, -1.0, 1e-310}) {
      T7Params params = truth;
      params.*member = bad;
      const bool usable = std::isfinite(bad) && member != &T7Params::Scale;
      EXPECT_EQ(text_of([&] { T7ParamsTransform transform(params); }),
                usable ? "no such error" : "T7ParamsTransform::T7ParamsTransform(const T7Params& src)");
      EXPECT_TRUE(usable || !kept.Initialize(params));
    }
  }
  EXPECT_EQ(text_of([] { T7ParamsTransform transform(Pairs(5)); }),
            "T7ParamsTransform::T7ParamsTransform(const std::vector<T7ParamsSourceDataItem>& points)");
  const auto save = [&](TKaXIniWriter* writer) { return SaveToXML(truth, writer, "Key"); };
  const std::string xml = test::SavedXml(save);
  std::size_t last = 0;
  for (const char* key : {"ShiftX", "ShiftY", "ShiftZ", "Alpha", "Beta", "Gamma", "Scale"}) {
    const std::string quoted = std::string("\"") + key + '"';
    EXPECT_GT(xml.find(quoted), last) << key;
    last = xml.find(quoted);
    TKaXIniStreamReader reader = test::XmlReader(test::Replaced(xml, quoted, "\"other\""));
    EXPECT_EQ(text_of([&] { T7ParamsTransform transform(&reader, "Key"); }),
              "T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src, std::string key)");
    EXPECT_EQ(text_of([&] { T7ParamsTransform transform(&reader); }),
              "T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src)");
    EXPECT_FALSE(kept.InitializeFromXML(&reader, "Key"));
  }
  T7Params params;
  kept.GetParameters(&params);
  for (const auto member : Members) EXPECT_EQ(params.*member, truth.*member);
}

}  // namespace
