#include "kelvane/rpc/adjusted_rpc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "kelvane/module/host/message.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/rpc_adaptation.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

constexpr double Rotation = 1e-4;
const TRPCRefinementDataAffine Shifted = {4.0, 1.0, 0.0, -4.0, 0.0, 1.0};
const TRPCRefinementDataAffine Drifted = {1.5, 1.0 + 1e-4, 0.0, -0.25, 0.0, 1.0 - 1e-4};
const TRPCRefinementDataAffine Rotated = {0.0, std::cos(Rotation), -std::sin(Rotation),
                                          0.0, std::sin(Rotation), std::cos(Rotation)};
const TRPCRefinementDataAffine Skewed = {40.0, -0.75, 0.5, -3.0, 0.25, 1.5};

std::string Xml(const TRPC& model) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return model.SaveToXML(writer); });
}

bool Same(const TRPCData& a, const TRPCData& b) { return DebugRPCDataAreIdentical(a, b); }

/// Ground points of a model's cube.
class TCube {
 public:
  explicit TCube(const TRPCData& data) : data_(data) {}
  /// Latitude, longitude, height.
  std::array<double, 3> Anywhere() {
    return {data_.LatitudeOffset + data_.LatitudeScale * in_cube_(random_),
            data_.LongitudeOffset + data_.LongitudeScale * in_cube_(random_),
            data_.HeightOffset + data_.HeightScale * in_cube_(random_)};
  }

 private:
  TRPCData data_;
  std::mt19937_64 random_{5};
  std::uniform_real_distribution<double> in_cube_{-1.0, 1.0};
};

/// The largest distance of the projections of many points of the cube, pixels.
double Difference(const TRPC& a, const TRPCData& b, int points = 100000) {
  TRPCData data;
  a.GetRPCData(&data);
  const TRPC plain(b, nullptr);
  TCube cube(data);
  double largest = 0.0;
  for (int i = 0; i < points; ++i) {
    const auto [lat, lon, h] = cube.Anywhere();
    double line[2];
    double sample[2];
    a.CalculateLineSample(lat, lon, h, &line[0], &sample[0], nullptr, nullptr);
    plain.CalculateLineSample(lat, lon, h, &line[1], &sample[1], nullptr, nullptr);
    const double distance = std::hypot(line[0] - line[1], sample[0] - sample[1]);
    if (!(distance <= largest)) largest = distance;
  }
  return largest;
}

/// By what an exact export may differ.
double ExactBound(const TRPCData& a, const TRPCData& b) {
  double largest = 0.0;
  for (const TRPCData* data : {&a, &b}) {
    largest = std::max({largest, std::fabs(data->LineOffset) + std::fabs(data->LineScale),
                        std::fabs(data->SampleOffset) + std::fabs(data->SampleScale)});
  }
  return largest * TAdjustedRPC::ExactExportBound;
}

class AdjustedSample : public testing::TestWithParam<const char*> {
 protected:
  TRPCData data_ = test::SampleRecord(GetParam());
};

TEST_P(AdjustedSample, CorrectsWhatThePlainModelSees) {
  const TRPC plain(data_, nullptr);
  const TAdjustedRPC adjusted(&data_, &Skewed);
  const TRPC& model = adjusted;
  const TAdjustedRPC little(&data_, &Rotated);
  TCube cube(data_);
  for (int i = 0; i < 500; ++i) {
    const auto at = cube.Anywhere();
    double raw[2];
    double raw_by[2][3];
    plain.CalculateLineSample(at[0], at[1], at[2], &raw[0], &raw[1], raw_by[0], raw_by[1]);
    double line = 0.0;
    double sample = 0.0;
    double by_line[3];
    double by_sample[3];
    model.CalculateLineSample(at[0], at[1], at[2], &line, &sample, by_line, nullptr);
    model.CalculateLineSample(at[0], at[1], at[2], &line, &sample, nullptr, by_sample);
    ASSERT_EQ(line, -0.75 * raw[0] + 0.5 * raw[1] + 40.0);
    ASSERT_EQ(sample, 0.25 * raw[0] + 1.5 * raw[1] - 3.0);
    for (std::size_t x = 0; x < 3; ++x) {
      ASSERT_EQ(by_line[x], -0.75 * raw_by[0][x] + 0.5 * raw_by[1][x]);
      ASSERT_EQ(by_sample[x], 0.25 * raw_by[0][x] + 1.5 * raw_by[1][x]);
    }
    double lat = 0.0;
    double lon = 0.0;
    little.CalculateLineSample(at[0], at[1], at[2], &line, &sample, nullptr, nullptr);
    ASSERT_TRUE(little.CalculateLatLon(line, sample, at[2], &lat, &lon));
    ASSERT_NEAR(lat, at[0], 1e-9);
    ASSERT_NEAR(lon, at[1], 1e-9);
  }
}

TEST_P(AdjustedSample, IsHandedOnAsAPlainRecord) {
  const struct {
    const TRPCRefinementDataAffine& refinement;
    bool exact;
  } cases[] = {{Shifted, true}, {Drifted, true}, {Rotated, false}};
  for (const auto& c : cases) {
    const TAdjustedRPC model(&data_, &c.refinement);
    TRPCData record;
    ASSERT_EQ(model.ExportExactly(&record), c.exact);
    EXPECT_EQ(static_cast<bool>(record), c.exact);
    if (c.exact) {
      EXPECT_LE(Difference(model, record), ExactBound(data_, record));
    }
    ASSERT_TRUE(model.ExportClosely(&record));
    EXPECT_LE(Difference(model, record), 1e-6);
    ASSERT_TRUE(model.Export(&record));
    EXPECT_LE(Difference(model, record), 0.01);
    EXPECT_EQ(record.LineScale, data_.LineScale);
    EXPECT_EQ(record.SampleOffset, data_.SampleOffset + (c.refinement.IsBias() ? -4.0 : 0.0));
  }
}

TEST_P(AdjustedSample, OneDenominatorTakesAnyRefinement) {
  std::copy(std::begin(data_.LineDenom), std::end(data_.LineDenom), data_.SampleDenom);
  for (const TRPCRefinementDataAffine& refinement : {Rotated, Skewed, {5.0, 0.0, 2.0, 1.0, -1.0, 0.0}}) {
    const TAdjustedRPC model(&data_, &refinement);
    TRPCData record;
    ASSERT_TRUE(model.ExportExactly(&record));
    EXPECT_LE(Difference(model, record), ExactBound(data_, record));
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, AdjustedSample,
                         testing::Values("worldview3.RPB", "pleiades_1.xml", "pleiades_2.xml"));

TEST(AdjustedRpc, MeetsOtherModelsOnTheGround) {
  const TRPCData data[] = {test::SampleRecord("pleiades_1.xml"), test::SampleRecord("pleiades_2.xml")};
  const TAdjustedRPC adjusted(&data[0], &Rotated);
  const TRPC plain(data[1], nullptr);
  const auto at = TCube(data[0]).Anywhere();
  std::vector<TRPCCoordsDataItem> items = {{&adjusted}, {&plain}};
  for (TRPCCoordsDataItem& item : items) {
    item.Model->CalculateLineSample(at[0], at[1], at[2], &item.Line, &item.Sample, nullptr, nullptr);
  }
  double found[3];
  ASSERT_TRUE(CalculateLatLonH(items, &found[0], &found[1], &found[2]));
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[i], at[i], i < 2 ? 1e-11 : 1e-6);
}

TEST(AdjustedRpc, SignsAndFlatCorrectionsInExport) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TRPCRefinementDataAffine mirrored = {9000.0, -1.25, 0.0, 3.0, 0.0, 0.5};
  TRPCData record;
  const TAdjustedRPC model(&data, &mirrored);
  ASSERT_TRUE(model.ExportExactly(&record));
  EXPECT_GT(record.LineScale, 0.0);
  EXPECT_LE(Difference(model, record), ExactBound(data, record));

  const TRPCData before = record;
  // A correction that stored its own inverse may be flat.
  const std::string xml = Xml(TAdjustedRPC(&data, &Drifted));
  TKaXIniStreamReader reader =
      test::XmlReader(test::Replaced(xml, "\"LineDrift\">1.0001", "\"LineDrift\">0"));
  EXPECT_FALSE(TAdjustedRPC(&reader).ExportExactly(&record));
  TRPCData unset = data;
  unset.LineNum[7] = TRPCData::Unset;
  EXPECT_FALSE(TAdjustedRPC(&unset, &Drifted).ExportExactly(&record));
  TAdjustedRPC empty(&data, &Rotated);
  empty.Reset();
  EXPECT_FALSE(empty.Export(&record) || empty.ExportExactly(&record) || empty.ExportClosely(&record));
  EXPECT_FALSE(empty.CreateVCopy());
  EXPECT_TRUE(Same(record, before));

  // Shifts move the offsets, and nothing else.
  ASSERT_TRUE(TAdjustedRPC(&data, nullptr).Export(&record));
  EXPECT_TRUE(Same(record, data));
  ASSERT_TRUE(TAdjustedRPC(&data, &Shifted).Export(&record));
  record.LineOffset -= 4.0;
  record.SampleOffset += 4.0;
  EXPECT_TRUE(Same(record, data));
}

TEST(AdjustedRpc, GridFillsTheCube) {
  const TRPCData data = test::SampleRecord("pleiades_1.xml");
  const TAdjustedRPC model(&data, &Rotated);
  TAdjustedRPC::TRPCEstimationDataSetParams params;
  TRPCEstimationDataSet items;
  ASSERT_TRUE(model.CreateReApproximationDataset(&params, &items));
  EXPECT_TRUE(items.Normalized);
  EXPECT_GE(items.Items.size(), 9U * 9U * 9U);
  for (const TRPCEstimationDataItem& item : items.Items) {
    ASSERT_LE(std::max({std::fabs(item.Latitude), std::fabs(item.Longitude), std::fabs(item.Height)}), 1.0);
  }
  const TRPCEstimationDataItem& corner = items.Items.back();
  EXPECT_EQ(corner.Latitude + corner.Longitude + corner.Height, 3.0);
  double line = 0.0;
  double sample = 0.0;
  model.CalculateLineSample(data.LatitudeOffset + data.LatitudeScale,
                            data.LongitudeOffset + data.LongitudeScale, data.HeightOffset + data.HeightScale,
                            &line, &sample, nullptr, nullptr);
  EXPECT_EQ(corner.Line, (line - data.LineOffset) / data.LineScale);
  EXPECT_EQ(corner.Sample, (sample - data.SampleOffset) / data.SampleScale);

  const std::size_t before = items.Items.size();
  const TAdjustedRPC::TRPCEstimationDataSetParams bad[] = {{{}, {}, {}, 2},
                                                           {{}, {}, {}, -1},
                                                           {{-1.5, 1.0}, {}, {}, 10},
                                                           {{}, {0.5, 0.5}, {}, 10},
                                                           {{}, {}, {0.0, NAN}, 10}};
  for (TAdjustedRPC::TRPCEstimationDataSetParams refused : bad) {
    EXPECT_FALSE(model.CreateReApproximationDataset(&refused, &items));
  }
  EXPECT_EQ(items.Items.size(), before);
}

TEST(RpcAdaptation, MovesAModelToItsPoints) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TAdjustedRPC model(&data, &Rotated);
  TRPCEstimationDataSet points;
  TCube cube(data);
  for (int i = 0; i < 400; ++i) {
    const auto [lat, lon, h] = cube.Anywhere();
    TRPCEstimationDataItem item = {lat, lon, h, 0.0, 0.0};
    model.CalculateLineSample(lat, lon, h, &item.Line, &item.Sample, nullptr, nullptr);
    points.Items.push_back(item);
  }
  TRPCData adapted = data;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    adapted.LineNum[k] *= 2.0;
    adapted.LineDenom[k] *= 2.0;
  }
  ASSERT_TRUE(AdaptRPC(points, &adapted));
  EXPECT_LE(Difference(model, adapted), 1e-6);
  EXPECT_EQ(adapted.LineDenom[0], 1.0);
  EXPECT_EQ(adapted.LineScale, data.LineScale);

  const auto refuses = [](const TRPCEstimationDataSet& set, TRPCData record) {
    const TRPCData before = record;
    return !AdaptRPC(set, &record) && Same(record, before);
  };
  TRPCEstimationDataSet few = points;
  few.Items.resize(39);
  EXPECT_TRUE(refuses(few, data));
  TRPCData blind = data;
  blind.SampleDenom[0] = 0.0;
  EXPECT_TRUE(refuses(points, blind));
  points.Items[17].Height = NAN;
  EXPECT_TRUE(refuses(points, data));
}

TEST(AdjustedRpc, AStepWithoutSolutionGivesTheOffsets) {
  TRPCData flat = test::IdentityRecord();
  flat.LineNum[2] = 0.0;
  flat.LatitudeOffset = 12.0;
  double lat = 0.0;
  double lon = 5.0;
  EXPECT_FALSE(TAdjustedRPC(&flat, &Shifted).CalculateLatLon(1.0, 2.0, 3.0, &lat, &lon));
  EXPECT_EQ(lat, 12.0);
  EXPECT_EQ(lon, 0.0);
}

TEST(AdjustedRpcXml, KeepsModelAndRefinement) {
  const TPolygon margin({{0.0, 0.0}, {10.0, 0.0}, {0.0, 20.0}});
  TAdjustedRPC model(test::NumberedRecord(), &margin, &Drifted);
  model.SetRasterDims(30, 40);
  const std::string xml = Xml(model);
  EXPECT_EQ(Xml(*model.CreateVCopy()), xml);
  TKaXIniStreamReader reader = test::XmlReader(xml);
  EXPECT_EQ(Xml(TAdjustedRPC(&reader)), xml);
  TKaXIniStreamReader plain_reader = test::XmlReader(xml);
  const std::string plain = Xml(TRPC(&plain_reader));
  const std::string damaged[] = {plain, test::Replaced(xml, "RawToRefined", "Other"),
                                 test::Replaced(xml, "\"LineTilt\">", "\"LineTilt\">about ")};
  for (const std::string& text : damaged) {
    TKaXIniStreamReader damaged_reader = test::XmlReader(text);
    ASSERT_TRUE(model.InitializeFromXML(&damaged_reader));
    EXPECT_EQ(Xml(model), plain);
    EXPECT_FALSE(model.GetRPCRefinementData(nullptr));
  }
  const TAdjustedRPC bare(test::NumberedRecord(), nullptr, &Drifted);
  EXPECT_EQ(test::ReportedWrites([&](TKaXIniWriter* writer) { return bare.SaveToXML(writer); }, false),
            90 + 2 * 4 + 2 + 16);
}

TEST(AdjustedRpcXml, FailuresCarryTheirTextsAndDropTheRefinement) {
  TKaXIniStreamReader empty = test::XmlReader(test::SavedXml([](TKaXIniWriter*) { return true; }));
  EXPECT_EQ(test::RuntimeErrorOf([&] { TAdjustedRPC model(&empty); }),
            "TAdjustedRPC::TAdjustedRPC(TKaXIniReader *src)");
  TAdjustedRPC model(test::NumberedRecord(), nullptr, &Drifted);
  EXPECT_FALSE(model.InitializeFromXML(&empty));
  EXPECT_FALSE(model.GetRPCRefinementData(nullptr));
  TRPCData flat = test::NumberedRecord();
  EXPECT_EQ(test::RuntimeErrorOf([&] {
              const TRPCRefinementDataAffine singular = {0.0, 0.0, 0.0, 0.0, 0.0, 1.0};
              TAdjustedRPC made(&flat, &singular);
            }),
            "TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine& src)");
  flat.HeightScale = 0.0;
  EXPECT_THROW(TAdjustedRPC(&flat, nullptr), TKaMessage);
}

}  // namespace
