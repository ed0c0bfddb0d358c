#include "kelvane/rpc/rpc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "kelvane/module/host/message.h"
#include "kelvane/rpc/rpc_polynomials.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/errors.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using test::ReadXml;
using test::Replaced;
using test::XmlOf;

constexpr char ZeroScaleText[] = "TLinearNormalization::TLinearNormalization(const double&,const double&)";

bool Has(const TRPC& model, const std::string& key) {
  return test::XmlOf(model).find("key=\"" + key + "\"") != std::string::npos;
}

TRPC LoadedModel() {
  const TPolygon margin({{0.0, 0.0}, {10.0, 0.0}, {0.0, 20.0}});
  return TRPC(test::NumberedRecord(), &margin);
}

/// Samples of sensors, and a model that each of its coefficients bends.
class RealModel : public testing::TestWithParam<const char*> {
 protected:
  const TRPCData data_ =
      GetParam() == std::string("bent") ? test::BentRecord() : test::SampleRecord(GetParam());
  const TRPC model_{data_, nullptr};
  std::mt19937_64 random_{1};
};

TEST_P(RealModel, ProjectsAsAnIndependentEvaluationDoes) {
  ASSERT_TRUE(data_);
  std::uniform_real_distribution<double> around(-1.2, 1.2);
  for (int i = 0; i < 2000; ++i) {
    const double lat = data_.LatitudeOffset + around(random_) * data_.LatitudeScale;
    const double lon = data_.LongitudeOffset + around(random_) * data_.LongitudeScale;
    const double h = data_.HeightOffset + around(random_) * data_.HeightScale;
    const auto seen = test::SeenBy(model_, {lat, lon, h});
    const test::ImagePoint expected = test::Projected(data_, lat, lon, h);
    ASSERT_NEAR(seen.Line, static_cast<double>(expected.line), 1e-9) << lat << ' ' << lon << ' ' << h;
    ASSERT_NEAR(seen.Sample, static_cast<double>(expected.sample), 1e-9) << lat << ' ' << lon << ' ' << h;
  }
}

TEST_P(RealModel, DerivativesAreThoseOfTheProjection) {
  test::GroundCube cube(data_);
  const double scales[] = {data_.LatitudeScale, data_.LongitudeScale, data_.HeightScale};
  for (int i = 0; i < 200; ++i) {
    const auto at = cube.Anywhere();
    double by_line[3];
    double by_sample[3];
    double alone[3];
    double to[2];
    double same[2];
    model_.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &to[0], &to[1], by_line, by_sample);
    model_.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &same[0], &same[1], nullptr, alone);
    ASSERT_EQ(same[0], to[0]);
    for (int x = 0; x < 3; ++x) {
      const long double step = 1e-5L * scales[x];
      const auto moved = [&](long double sign) {
        long double g[] = {at.Latitude, at.Longitude, at.Height};
        g[x] += sign * step;
        return test::Projected(data_, g[0], g[1], g[2]);
      };
      const auto central = [&](long double after, long double before) {
        return static_cast<double>((after - before) / (2.0L * step));
      };
      const double pixels = 1e-9 * data_.SampleScale / std::fabs(scales[x]);
      ASSERT_NEAR(by_line[x], central(moved(1).line, moved(-1).line), pixels) << x;
      ASSERT_NEAR(by_sample[x], central(moved(1).sample, moved(-1).sample), pixels) << x;
      ASSERT_EQ(alone[x], by_sample[x]);
    }
  }
}

TEST_P(RealModel, ArithmeticIsThatOfThePolynomials) {
  const double* const table[] = {data_.LineNum, data_.LineDenom, data_.SampleNum, data_.SampleDenom};
  std::uniform_real_distribution<double> around(-1.0, 1.0);
  for (int i = 0; i < 1000; ++i) {
    const double P = around(random_);
    const double L = around(random_);
    const double H = around(random_);
    double v[4];
    double by[3][4];
    CalculateRPCPolynomes(P, L, H, table, v, by[0], by[1], nullptr);
    CalculateRPCPolynomes(P, L, H, table, nullptr, nullptr, nullptr, by[2]);
    double to[2];
    double by_line[3];
    double by_sample[3];
    model_.CalculateLineSampleNormalized(P, L, H, &to[0], &to[1], by_line, nullptr);
    model_.CalculateLineSampleNormalized(P, L, H, &to[0], &to[1], nullptr, by_sample);
    ASSERT_EQ(to[0], v[0] / v[1]);
    ASSERT_EQ(to[1], v[2] / v[3]);
    for (int x = 0; x < 3; ++x) {
      ASSERT_EQ(by_line[x], (v[1] * by[x][0] - v[0] * by[x][1]) / (v[1] * v[1]));
      ASSERT_EQ(by_sample[x], (v[3] * by[x][2] - v[2] * by[x][3]) / (v[3] * v[3]));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, RealModel,
                         testing::Values("worldview3.RPB", "pleiades_1.xml", "pleiades_2.xml", "bent"));

TEST(Rpc, IdentityAndZeroDenominator) {
  const TRPCData identity = test::IdentityRecord();
  const TRPC model(&identity, nullptr);
  const auto seen = test::SeenBy(model, {12.5, -7.0, 99.0});
  EXPECT_EQ(seen.Line, 12.5);
  EXPECT_EQ(seen.Sample, -7.0);
  TRPCData flat = test::IdentityRecord();
  flat.LineDenom[0] = 0.0;
  const auto nowhere = test::SeenBy(TRPC(flat, nullptr), {1.0, 2.0, 3.0});
  EXPECT_TRUE(std::isinf(nowhere.Line));
  EXPECT_EQ(nowhere.Sample, 2.0);
}

TEST(Rpc, AZeroScaleLeavesTheModelEmpty) {
  for (const auto& field : RPCDataFields) {
    if (!field.IsScale) continue;
    TRPCData data = test::IdentityRecord();
    data.*field.Value = 0.0;
    TRPC model = LoadedModel();
    ASSERT_TRUE(model.SetRasterDims(5, 6));
    EXPECT_EQ(test::ErrorOf<TKaMessage>([&] { model.SetRPCData(data); }), ZeroScaleText) << field.Name;
    TRPCData read = data;
    model.GetRPCData(&read);
    EXPECT_TRUE(DebugRPCDataAreIdentical(read, TRPCData()));
    TPolygon margin;
    EXPECT_FALSE(model.GetMargin(&margin));
    EXPECT_FALSE(model.GetRasterDims(nullptr, nullptr));
    EXPECT_FALSE(model.CreateVCopy());
    EXPECT_EQ(XmlOf(model), "");
  }
}

TEST(Rpc, RasterSizeAndMarginAreKeptApartFromNonsense) {
  TRPC model = LoadedModel();
  int width = -1;
  int height = -1;
  EXPECT_FALSE(model.GetRasterDims(&width, &height));
  ASSERT_TRUE(model.SetRasterDims(100, 200));
  EXPECT_FALSE(model.SetRasterDims(0, 100));
  EXPECT_FALSE(model.SetRasterDims(100, 0));
  EXPECT_TRUE(model.GetRasterDims(nullptr, nullptr));
  EXPECT_TRUE(model.GetRasterDims(&width, nullptr));
  EXPECT_EQ(width, -1);
  ASSERT_TRUE(model.GetRasterDims(&width, &height));
  EXPECT_EQ(width, 100);
  EXPECT_EQ(height, 200);

  const TPolygon two_vertices({{0.0, 0.0}, {1.0, 1.0}});
  TPolygon margin;
  EXPECT_FALSE(TRPC(test::NumberedRecord(), &two_vertices).GetMargin(&margin));
  ASSERT_TRUE(model.GetMargin(&margin));
  EXPECT_EQ(margin.VertexCount(), 3U);
  model.SetRPCData(test::NumberedRecord());
  EXPECT_FALSE(model.GetMargin(&margin));
}

TEST(RpcXml, KeepsTheWholeModel) {
  TRPC model = LoadedModel();
  EXPECT_FALSE(Has(model, "RasterWidth") || Has(model, "Approximation"));
  model.SetRasterDims(300, 400);
  std::string approximation = "<section key=\"Approximation\">";
  for (const char* part : {"LineNum", "LineDenom", "SampleNum", "SampleDenom"}) {
    for (const char* what : {"LatCoef", "LonCoef", "HCoef", "FreeTerm"}) {
      approximation += std::string("<value key=\"") + part + what + "\">0.125</value>";
    }
  }
  const std::string xml =
      Replaced(XmlOf(model), "</configuration>", approximation + "</section></configuration>");
  TRPC read;
  ASSERT_TRUE(ReadXml(xml, &read) && Has(read, "Approximation"));
  TRPCData data;
  read.GetRPCData(&data);
  EXPECT_TRUE(DebugRPCDataAreIdentical(data, test::NumberedRecord()));
  const var_a<TRPC*> copy = read.CreateVCopy();
  ASSERT_TRUE(copy);
  EXPECT_EQ(XmlOf(*copy), XmlOf(model));  // as it was before it had an approximation

  // A new record drops the approximation of the old one.
  read.SetRPCData(data);
  EXPECT_FALSE(Has(read, "Approximation"));
  // Raster sizes are taken as they stand.
  ASSERT_TRUE(ReadXml(Replaced(xml, "\"RasterHeight\">400", "\"RasterHeight\">-4"), &read));
  EXPECT_FALSE(read.GetRasterDims(nullptr, nullptr));
  int width = 0;
  int height = 0;
  EXPECT_FALSE(read.GetRasterDims(&width, &height));
  EXPECT_EQ(width, 0);
  EXPECT_FALSE(Has(read, "RasterWidth"));

  ASSERT_TRUE(ReadXml(Replaced(xml, "\"SampleDenomFreeTerm\"", "\"Other\""), &read));
  EXPECT_FALSE(Has(read, "Approximation"));
}

TEST(RpcXml, ABrokenMarginHidesWhatStandsBehindIt) {
  TRPC model = LoadedModel();
  model.SetRasterDims(300, 400);
  TRPC read;
  ASSERT_TRUE(ReadXml(Replaced(XmlOf(model), "<point", "<value key=\"Vertex\"/><other"), &read));
  TPolygon margin;
  EXPECT_FALSE(read.GetMargin(&margin));
  EXPECT_FALSE(read.GetRasterDims(nullptr, nullptr));
}

TEST(RpcXml, FailuresCarryTheirTexts) {
  TKaXIniStreamReader empty = test::XmlReader(test::SavedXml([](TKaXIniWriter*) { return true; }));
  EXPECT_EQ(test::RuntimeErrorOf([&] { TRPC model(&empty); }), "TRPC::TRPC(TKaXIniReader *src)");
  TRPCData zero = test::NumberedRecord();
  zero.HeightScale = 0.0;
  TRPC model;
  EXPECT_EQ(test::ErrorOf<TKaMessage>([&] { ReadXml(XmlOf(zero), &model); }), ZeroScaleText);

  TRPC approximated = LoadedModel();
  approximated.SetRasterDims(3, 4);
  approximated.EnsureApproximation();
  // Of what stands behind the record, only a section that cannot be left is a failure: the approximation's.
  std::vector<int> failed;
  int operations = 0;
  for (;; ++operations) {
    test::FailingReader reader(XmlOf(approximated), operations);
    if (!TRPC().InitializeFromXML(&reader)) failed.push_back(operations);
    if (reader.NeverFailed()) break;
  }
  ASSERT_GT(failed.size(), 180U);
  EXPECT_EQ(failed.back(), operations - 1) << "leaving the approximation, the last operation of all";
  EXPECT_LT(failed[failed.size() - 2], operations - 40) << "then nothing before the record's";
  // A margin that cannot be written does not fail a model that has a size: only failures before the
  // margin and behind it count.
  int unreported = 0;
  for (int failing = 0;; ++failing) {
    test::FailingWriter writer(failing);
    const bool written = approximated.SaveToXML(&writer);
    if (writer.NeverFailed()) break;
    unreported += written;
  }
  EXPECT_EQ(unreported, 5);  // open, three vertices, close
}

}  // namespace
