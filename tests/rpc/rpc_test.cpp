#include "kelvane/rpc/rpc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "kelvane/module/host/message.h"
#include "kelvane/rpc/rpc_polynomials.h"
#include "tests/support/failing_ini.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

constexpr char ZeroScaleText[] = "TLinearNormalization::TLinearNormalization(const double&,const double&)";

std::string ModelXml(const TRPC& model) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return model.SaveToXML(writer); });
}

bool Has(const std::string& xml, const std::string& key) {
  return xml.find("key=\"" + key + "\"") != std::string::npos;
}

TRPC LoadedModel() {
  const TPolygon margin({{0.0, 0.0}, {10.0, 0.0}, {0.0, 20.0}});
  return TRPC(test::NumberedRecord(), &margin);
}

class RealModel : public testing::TestWithParam<const char*> {};

TEST_P(RealModel, ProjectsAsAnIndependentEvaluationDoes) {
  const TRPCData data = test::SampleRecord(GetParam());
  ASSERT_TRUE(data);
  const TRPC model(data, nullptr);
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> around(-1.2, 1.2);
  for (int i = 0; i < 2000; ++i) {
    const double lat = data.LatitudeOffset + around(random) * data.LatitudeScale;
    const double lon = data.LongitudeOffset + around(random) * data.LongitudeScale;
    const double h = data.HeightOffset + around(random) * data.HeightScale;
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(lat, lon, h, &line, &sample, nullptr, nullptr);
    const test::ImagePoint expected = test::Projected(data, lat, lon, h);
    ASSERT_NEAR(line, static_cast<double>(expected.line), 1e-9) << lat << ' ' << lon << ' ' << h;
    ASSERT_NEAR(sample, static_cast<double>(expected.sample), 1e-9) << lat << ' ' << lon << ' ' << h;
  }
}

TEST_P(RealModel, DerivativesAreThoseOfTheProjection) {
  const TRPCData data = test::SampleRecord(GetParam());
  const TRPC model(data, nullptr);
  std::mt19937_64 random(2);
  std::uniform_real_distribution<double> around(-1.0, 1.0);
  const double scales[] = {data.LatitudeScale, data.LongitudeScale, data.HeightScale};
  for (int i = 0; i < 200; ++i) {
    const double ground[] = {data.LatitudeOffset + around(random) * scales[0],
                             data.LongitudeOffset + around(random) * scales[1],
                             data.HeightOffset + around(random) * scales[2]};
    double by_line[3];
    double by_sample[3];
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(ground[0], ground[1], ground[2], &line, &sample, by_line, by_sample);
    double alone[3];
    double same_line = 0.0;
    double same_sample = 0.0;
    model.CalculateLineSample(ground[0], ground[1], ground[2], &same_line, &same_sample, nullptr, alone);
    ASSERT_EQ(same_line, line);
    for (int x = 0; x < 3; ++x) {
      const long double step = 1e-5L * scales[x];
      const auto at = [&](long double sign) {
        long double g[] = {ground[0], ground[1], ground[2]};
        g[x] += sign * step;
        return test::Projected(data, g[0], g[1], g[2]);
      };
      const auto central = [&](long double after, long double before) {
        return static_cast<double>((after - before) / (2.0L * step));
      };
      const double pixels = 1e-9 * data.SampleScale / std::fabs(scales[x]);
      ASSERT_NEAR(by_line[x], central(at(1).line, at(-1).line), pixels) << x;
      ASSERT_NEAR(by_sample[x], central(at(1).sample, at(-1).sample), pixels) << x;
      ASSERT_EQ(alone[x], by_sample[x]);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, RealModel,
                         testing::Values("worldview3.RPB", "pleiades_1.xml", "pleiades_2.xml"));

TEST(RpcPolynomials, EachCoefficientHasItsTerm) {
  const double P = 0.7;
  const double L = -0.3;
  const double H = 1.1;
  for (std::size_t k = 0; k < 20; ++k) {
    double c[20] = {};
    const double zero[20] = {};
    c[k] = 2.0;
    const double* const table[] = {zero, c, zero, zero};
    double values[4];
    double dP[4];
    double dL[4];
    double dH[4];
    CalculateRPCPolynomes(P, L, H, table, values, dP, dL, dH);
    EXPECT_EQ(values[0], 0.0);
    EXPECT_NEAR(values[1], static_cast<double>(test::Polynomial(c, P, L, H)), 1e-15) << k;
    const long double step = 1e-6L;
    const auto derivative = [&](long double p, long double l, long double h) {
      return static_cast<double>((test::Polynomial(c, P + p * step, L + l * step, H + h * step) -
                                  test::Polynomial(c, P - p * step, L - l * step, H - h * step)) /
                                 (2.0L * step));
    };
    EXPECT_NEAR(dP[1], derivative(1, 0, 0), 1e-10) << k;
    EXPECT_NEAR(dL[1], derivative(0, 1, 0), 1e-10) << k;
    EXPECT_NEAR(dH[1], derivative(0, 0, 1), 1e-10) << k;
  }
  const double* const none[] = {nullptr, nullptr, nullptr, nullptr};
  CalculateRPCPolynomes(P, L, H, none, nullptr, nullptr, nullptr, nullptr);
}

TEST(Rpc, TheModelsArithmeticIsThatOfThePolynomials) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TRPC model(data, nullptr);
  const double* const table[] = {data.LineNum, data.LineDenom, data.SampleNum, data.SampleDenom};
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> around(-1.0, 1.0);
  for (int i = 0; i < 1000; ++i) {
    const double P = around(random);
    const double L = around(random);
    const double H = around(random);
    double v[4];
    double by[3][4];
    CalculateRPCPolynomes(P, L, H, table, v, by[0], by[1], by[2]);
    double line = 0.0;
    double sample = 0.0;
    double by_line[3];
    double by_sample[3];
    model.CalculateLineSampleNormalized(P, L, H, &line, &sample, by_line, nullptr);
    model.CalculateLineSampleNormalized(P, L, H, &line, &sample, nullptr, by_sample);
    ASSERT_EQ(line, v[0] / v[1]);
    ASSERT_EQ(sample, v[2] / v[3]);
    const double ground[] = {data.LatitudeOffset + P * data.LatitudeScale,
                             data.LongitudeOffset + L * data.LongitudeScale,
                             data.HeightOffset + H * data.HeightScale};
    const double scales[] = {data.LatitudeScale, data.LongitudeScale, data.HeightScale};
    double real_by_line[3];
    model.CalculateLineSample(ground[0], ground[1], ground[2], &line, &sample, real_by_line, nullptr);
    for (int x = 0; x < 3; ++x) {
      ASSERT_EQ(by_line[x], (v[1] * by[x][0] - v[0] * by[x][1]) / (v[1] * v[1]));
      ASSERT_EQ(by_sample[x], (v[3] * by[x][2] - v[2] * by[x][3]) / (v[3] * v[3]));
      ASSERT_NEAR(real_by_line[x], by_line[x] * (data.LineScale / scales[x]),
                  1e-12 * std::fabs(real_by_line[x]) + 1e-9);
    }
  }
}

TEST(Rpc, IdentityAndZeroDenominator) {
  const TRPC model(test::IdentityRecord(), nullptr);
  double line = 0.0;
  double sample = 0.0;
  double by_line[3];
  double by_sample[3];
  model.CalculateLineSample(12.5, -7.0, 99.0, &line, &sample, by_line, by_sample);
  EXPECT_EQ(line, 12.5);
  EXPECT_EQ(sample, -7.0);
  EXPECT_EQ(by_line[0], 1.0);
  EXPECT_EQ(by_line[1], 0.0);
  EXPECT_EQ(by_sample[0], 0.0);
  EXPECT_EQ(by_sample[1], 1.0);
  TRPCData flat = test::IdentityRecord();
  flat.LineDenom[0] = 0.0;
  TRPC(flat, nullptr).CalculateLineSample(1.0, 2.0, 3.0, &line, &sample, nullptr, nullptr);
  EXPECT_TRUE(std::isinf(line));
  EXPECT_EQ(sample, 2.0);
}

TEST(Rpc, AZeroScaleLeavesTheModelEmpty) {
  for (const auto& field : RPCDataFields) {
    if (!field.IsScale) continue;
    TRPCData data = test::IdentityRecord();
    data.*field.Value = 0.0;
    TRPC model = LoadedModel();
    ASSERT_TRUE(model.SetRasterDims(5, 6));
    try {
      model.SetRPCData(data);
      ADD_FAILURE() << field.Name;
    } catch (const TKaMessage& message) {
      EXPECT_STREQ(message.what(), ZeroScaleText);
    }
    TRPCData read = data;
    model.GetRPCData(&read);
    EXPECT_TRUE(DebugRPCDataAreIdentical(read, TRPCData()));
    TPolygon margin;
    EXPECT_FALSE(model.GetMargin(&margin));
    EXPECT_FALSE(model.GetRasterDims(nullptr, nullptr));
    EXPECT_FALSE(model.CreateVCopy());
    EXPECT_EQ(ModelXml(model), "");
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
  EXPECT_FALSE(Has(ModelXml(model), "RasterWidth"));
  EXPECT_FALSE(Has(ModelXml(model), "Approximation"));
  model.SetRasterDims(300, 400);
  const std::string approximation = [] {
    std::string section = "<section key=\"Approximation\">";
    for (const char* part : {"LineNum", "LineDenom", "SampleNum", "SampleDenom"}) {
      for (const char* what : {"LatCoef", "LonCoef", "HCoef", "FreeTerm"}) {
        section += std::string("<value key=\"") + part + what + "\">0.125</value>";
      }
    }
    return section + "</section></configuration>";
  }();
  std::string xml = ModelXml(model);
  xml.replace(xml.rfind("</configuration>"), std::string::npos, approximation);

  TKaXIniStreamReader reader = test::XmlReader(xml);
  const TRPC read(&reader);
  EXPECT_TRUE(Has(ModelXml(read), "Approximation"));
  TRPCData data;
  read.GetRPCData(&data);
  EXPECT_TRUE(DebugRPCDataAreIdentical(data, test::NumberedRecord()));

  const var_a<TRPC*> copy = read.CreateVCopy();
  ASSERT_TRUE(copy);
  EXPECT_EQ(ModelXml(*copy), ModelXml(model));  // as it was before it had an approximation

  // A new record drops the approximation of the old one.
  TKaXIniStreamReader another = test::XmlReader(xml);
  TRPC renewed(&another);
  renewed.SetRPCData(data);
  EXPECT_FALSE(Has(ModelXml(renewed), "Approximation"));
  // Raster sizes are taken as they stand.
  const std::string size = "\"RasterHeight\">400";
  TKaXIniStreamReader negative =
      test::XmlReader(std::string(xml).replace(xml.find(size), size.size(), "\"RasterHeight\">-4"));
  TRPC odd(&negative);
  EXPECT_FALSE(odd.GetRasterDims(nullptr, nullptr));
  int width = 0;
  int height = 0;
  EXPECT_FALSE(odd.GetRasterDims(&width, &height));
  EXPECT_EQ(width, 0);
  EXPECT_FALSE(Has(ModelXml(odd), "RasterWidth"));

  const std::string last_key = "<value key=\"SampleDenomFreeTerm\">0.125</value>";
  xml.replace(xml.find(last_key), last_key.size(), "");
  TKaXIniStreamReader short_reader = test::XmlReader(xml);
  EXPECT_FALSE(Has(ModelXml(TRPC(&short_reader)), "Approximation"));
}

TEST(RpcXml, ABrokenMarginHidesWhatStandsBehindIt) {
  TRPC model = LoadedModel();
  model.SetRasterDims(300, 400);
  std::string xml = ModelXml(model);
  const std::size_t vertex = xml.find("<point");
  xml.replace(vertex, xml.find("/>", vertex) + 2 - vertex, "<value key=\"Vertex\">1</value>");
  TKaXIniStreamReader reader = test::XmlReader(xml);
  TRPC read;
  ASSERT_TRUE(read.InitializeFromXML(&reader));
  TPolygon margin;
  EXPECT_FALSE(read.GetMargin(&margin));
  EXPECT_FALSE(read.GetRasterDims(nullptr, nullptr));
}

TEST(RpcXml, FailuresCarryTheirTexts) {
  TKaXIniStreamReader empty = test::XmlReader(test::SavedXml([](TKaXIniWriter*) { return true; }));
  try {
    const TRPC model(&empty);
    ADD_FAILURE();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "TRPC::TRPC(TKaXIniReader *src)");
  }
  TRPCData zero = test::NumberedRecord();
  zero.HeightScale = 0.0;
  const std::string xml = test::SavedXml([&](TKaXIniWriter* writer) { return zero.SaveToXML(writer); });
  TKaXIniStreamReader reader = test::XmlReader(xml);
  TRPC model;
  EXPECT_THROW(model.InitializeFromXML(&reader), TKaMessage);

  TRPC loaded = LoadedModel();
  loaded.SetRasterDims(3, 4);
  const std::string whole = ModelXml(loaded);
  TKaXIniStreamReader whole_reader = test::XmlReader(whole);
  TRPC approximated(&whole_reader);
  approximated.EnsureApproximation();
  const std::string with_approximation = ModelXml(approximated);
  // Of what stands behind the record, only a section that cannot be left is a failure: the approximation's.
  std::vector<int> failed;
  int operations = 0;
  for (;; ++operations) {
    test::FailingReader failing_reader(with_approximation, operations);
    const bool read = TRPC().InitializeFromXML(&failing_reader);
    if (failing_reader.NeverFailed()) break;
    if (!read) failed.push_back(operations);
  }
  ASSERT_GT(failed.size(), 180U);
  EXPECT_EQ(failed[failed.size() - 1], operations - 1)
      << "leaving the approximation, the last operation of all";
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
