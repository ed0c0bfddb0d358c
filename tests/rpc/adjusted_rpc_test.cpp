#include "kelvane/rpc/adjusted_rpc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "kelvane/module/host/message.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/model_difference.h"
#include "kelvane/rpc/rpc_adaptation.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using test::GroundCube;
using test::SeenBy;

constexpr double Rotation = 1e-4;
const TRPCRefinementDataAffine Shifted = {4.0, 1.0, 0.0, -4.0, 0.0, 1.0};
const TRPCRefinementDataAffine Drifted = {1.5, 1.0 + 1e-4, 0.0, -0.25, 0.0, 1.0 - 1e-4};
const TRPCRefinementDataAffine Rotated = {0.0, std::cos(Rotation), -std::sin(Rotation),
                                          0.0, std::sin(Rotation), std::cos(Rotation)};
const TRPCRefinementDataAffine Turned = {30000.0, 0.7, 0.7, -20000.0, -0.7, 0.7};
const TRPCRefinementDataAffine Skewed = {40.0, -0.75, 0.5, -3.0, 0.25, 1.5};

std::string Xml(const TRPC& model) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return model.SaveToXML(writer); });
}

bool Same(const TRPCData& a, const TRPCData& b) { return DebugRPCDataAreIdentical(a, b); }

/// Below this lie all image coordinates here.
constexpr double ExactBound = 5e4 * TAdjustedRPC::ExactExportBound;

/// The largest distance of the projections of many points of the cube, pixels.
double Difference(const TRPC& a, const TRPCData& b) {
  const TRPC plain(b, nullptr);
  GroundCube cube(b);
  double largest = 0.0;
  for (int i = 0; i < 100000; ++i) {
    const TRPCEstimationDataItem one = SeenBy(a, cube.Anywhere());
    const TRPCEstimationDataItem other = SeenBy(plain, one);
    const double distance = std::hypot(one.Line - other.Line, one.Sample - other.Sample);
    if (!(distance <= largest)) largest = distance;
  }
  return largest;
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
  GroundCube cube(data_);
  for (int i = 0; i < 500; ++i) {
    const TRPCEstimationDataItem at = cube.Anywhere();
    double raw[2];
    double raw_by[2][3];
    plain.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &raw[0], &raw[1], raw_by[0], raw_by[1]);
    double to[2];
    double by[2][3];
    model.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &to[0], &to[1], by[0], nullptr);
    model.CalculateLineSample(at.Latitude, at.Longitude, at.Height, &to[0], &to[1], nullptr, by[1]);
    ASSERT_EQ(to[0], -0.75 * raw[0] + 0.5 * raw[1] + 40.0);
    ASSERT_EQ(to[1], 0.25 * raw[0] + 1.5 * raw[1] - 3.0);
    for (std::size_t x = 0; x < 3; ++x) {
      ASSERT_EQ(by[0][x], -0.75 * raw_by[0][x] + 0.5 * raw_by[1][x]);
      ASSERT_EQ(by[1][x], 0.25 * raw_by[0][x] + 1.5 * raw_by[1][x]);
    }
    const TRPCEstimationDataItem seen = SeenBy(little, at);
    double ground[2];
    ASSERT_TRUE(little.CalculateLatLon(seen.Line, seen.Sample, at.Height, &ground[0], &ground[1]));
    ASSERT_NEAR(ground[0], at.Latitude, 1e-9);
    ASSERT_NEAR(ground[1], at.Longitude, 1e-9);
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
    ASSERT_TRUE(model.ExportClosely(&record));
    EXPECT_LE(Difference(model, record), c.exact ? ExactBound : 1e-6);
    ASSERT_TRUE(model.Export(&record));
    EXPECT_LE(Difference(model, record), 0.01);
    EXPECT_EQ(record.LineScale, data_.LineScale);
    EXPECT_EQ(record.SampleOffset, data_.SampleOffset + (c.refinement.IsBias() ? -4.0 : 0.0));
  }
}

TEST(AdjustedRpc, SteepHeightsAreHandedOnAsNearAsTheyCan) {
  const TRPCData data = test::SteepRecord();
  const struct {
    const TRPCRefinementDataAffine& refinement;
    double least;  ///< what a plain model of this form cannot avoid, pixels
  } cases[] = {{Rotated, 1e-3}, {Turned, 1.0}};
  for (const auto& c : cases) {
    const TAdjustedRPC model(&data, &c.refinement);
    TRPCData record;
    ASSERT_TRUE(model.Export(&record));
    EXPECT_LE(Difference(model, record), c.least);
    ASSERT_TRUE(model.ExportClosely(&record));
    const double difference = Difference(model, record);
    EXPECT_LE(difference, c.least);
    EXPECT_LE(difference, CalculateMaxCubeDifference(model, TRPC(record, nullptr)));
    // Whole numbers survive every form of file.
    EXPECT_EQ(record.LineOffset, std::round(record.LineOffset));
    EXPECT_EQ(record.SampleScale, std::round(record.SampleScale));
  }
}

TEST(AdjustedRpc, ExportTriesMoreNodesBeforeItGivesUp) {
  // Beyond the middle of latitude and longitude there is no finite image.
  TRPCData narrow = test::IdentityRecord();
  narrow.LineNum[15] = narrow.SampleNum[11] = 1e308;
  narrow.LineScale = narrow.SampleScale = 1e10;
  TRPCData record = test::NumberedRecord();
  EXPECT_FALSE(TAdjustedRPC(&narrow, &Rotated).Export(&record));
  EXPECT_TRUE(Same(record, narrow)) << "what is found in the end is too little for a fit";
  TRPCData blind = narrow;
  blind.LineDenom[0] = 0.0;
  EXPECT_FALSE(TAdjustedRPC(&blind, &Rotated).Export(&record));
  EXPECT_TRUE(Same(record, narrow)) << "must be untouched";
}

TEST(AdjustedRpc, GoesBackTheWayThatIsStored) {
  const TRPCData data = test::SampleRecord("pleiades_1.xml");
  const std::string xml = Xml(TAdjustedRPC(&data, &Shifted));
  TKaXIniStreamReader reader = test::XmlReader(test::Replaced(xml, "\"LineBias\">-4<", "\"LineBias\">-9<"));
  const TAdjustedRPC stored(&reader);
  const TRPCEstimationDataItem seen = SeenBy(TRPC(data, nullptr), GroundCube(data).Anywhere());
  double ground[2];
  ASSERT_TRUE(
      stored.CalculateLatLon(seen.Line + 9.0, seen.Sample - 4.0, seen.Height, &ground[0], &ground[1]));
  EXPECT_NEAR(ground[0], seen.Latitude, 1e-9);
  const TRPCInverse inverse =
      stored.SolveLatLon(seen.Line + 9.0, seen.Sample - 4.0, seen.Height, &ground[0], &ground[1]);
  EXPECT_NEAR(ground[0], seen.Latitude, 1e-9);
  EXPECT_NEAR(inverse.Residual, 5.0, 1e-3) << "of the refined coordinates, which the way there gives";
}

TEST_P(AdjustedSample, OneDenominatorTakesAnyRefinement) {
  std::copy(std::begin(data_.LineDenom), std::end(data_.LineDenom), data_.SampleDenom);
  TRPCData record;
  for (const TRPCRefinementDataAffine& refinement : {Rotated, Skewed, {5.0, 0.0, 2.0, 1.0, -1.0, 0.0}}) {
    ASSERT_TRUE(TAdjustedRPC(&data_, &refinement).ExportExactly(&record));
    EXPECT_LE(Difference(TAdjustedRPC(&data_, &refinement), record), ExactBound);
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, AdjustedSample,
                         testing::Values("worldview3.RPB", "pleiades_1.xml", "pleiades_2.xml"));

TEST(AdjustedRpc, MeetsOtherModelsOnTheGround) {
  const TRPCData data = test::SampleRecord("pleiades_1.xml");
  const TAdjustedRPC adjusted(&data, &Rotated);
  const TRPC plain(test::SampleRecord("pleiades_2.xml"), nullptr);
  const TRPCEstimationDataItem one = SeenBy(adjusted, GroundCube(data).Anywhere());
  const TRPCEstimationDataItem other = SeenBy(plain, one);
  double found[3];
  ASSERT_TRUE(CalculateLatLonH({{&adjusted, one.Line, one.Sample}, {&plain, other.Line, other.Sample}},
                               &found[0], &found[1], &found[2]));
  EXPECT_NEAR(found[0], one.Latitude, 1e-11);
  EXPECT_NEAR(found[1], one.Longitude, 1e-11);
  EXPECT_NEAR(found[2], one.Height, 1e-6);
}

TEST(AdjustedRpc, SignsAndFlatCorrectionsInExport) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TRPCRefinementDataAffine mirrored = {9000.0, -1.25, 0.0, 3.0, 0.0, 0.5};
  TRPCData record;
  const TAdjustedRPC model(&data, &mirrored);
  ASSERT_TRUE(model.ExportExactly(&record));
  EXPECT_GT(record.LineScale, 0.0);
  EXPECT_LE(Difference(model, record), ExactBound);

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

  ASSERT_TRUE(TAdjustedRPC(&data, nullptr).Export(&record));
  EXPECT_TRUE(Same(record, data));
}

TEST(AdjustedRpc, GridFillsTheCube) {
  const TRPCData data = test::SampleRecord("pleiades_1.xml");
  const TAdjustedRPC model(&data, &Rotated);
  using TParams = TAdjustedRPC::TRPCEstimationDataSetParams;
  TParams params;
  TRPCEstimationDataSet items;
  ASSERT_TRUE(model.CreateReApproximationDataset(&params, &items));
  EXPECT_TRUE(items.Normalized);
  EXPECT_GE(items.Items.size(), 9U * 9U * 9U);
  for (const TRPCEstimationDataItem& item : items.Items) {
    ASSERT_LE(std::max({std::fabs(item.Latitude), std::fabs(item.Longitude), std::fabs(item.Height)}), 1.0);
  }
  const TRPCEstimationDataItem& corner = items.Items.back();
  EXPECT_EQ(corner.Latitude + corner.Longitude + corner.Height, 3.0);

  const std::size_t before = items.Items.size();
  for (TParams bad : {TParams{{}, {}, {}, 2},
                      {{}, {}, {}, -1},
                      {{}, {}, {}, 201},
                      {{-1.5, 1.0}, {}, {}, 10},
                      {{}, {0.5, 0.5}, {}, 10}}) {
    EXPECT_FALSE(model.CreateReApproximationDataset(&bad, &items));
  }
  EXPECT_EQ(items.Items.size(), before);
}

TEST(RpcAdaptation, MovesAModelToItsPoints) {
  const TRPCData data = test::SampleRecord("worldview3.RPB");
  const TAdjustedRPC model(&data, &Rotated);
  TRPCEstimationDataSet points;
  GroundCube cube(data);
  for (int i = 0; i < 400; ++i) points.Items.push_back(SeenBy(model, cube.Anywhere()));
  TRPCData adapted = data;
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    adapted.LineNum[k] *= 2.0;
    adapted.LineDenom[k] *= 2.0;
  }
  ASSERT_TRUE(AdaptRPC(points, &adapted));
  EXPECT_LE(Difference(model, adapted), 1e-6);
  EXPECT_EQ(adapted.LineScale, data.LineScale);

  const TRPCData before = adapted;
  points.Items[17].Height = NAN;
  EXPECT_FALSE(AdaptRPC(points, &adapted));
  points.Items.resize(39);
  EXPECT_FALSE(AdaptRPC(points, &adapted));
  EXPECT_TRUE(Same(adapted, before));
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

TEST(AdjustedRpcXml, ADamagedRefinementIsNone) {
  const TPolygon margin({{0.0, 0.0}, {10.0, 0.0}, {0.0, 20.0}});
  TAdjustedRPC model(test::NumberedRecord(), &margin, &Drifted);
  model.SetRasterDims(30, 40);
  const std::string xml = Xml(model);
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
}

TEST(AdjustedRpcXml, FailuresCarryTheirTextsAndDropTheRefinement) {
  TKaXIniStreamReader empty = test::XmlReader(test::SavedXml([](TKaXIniWriter*) { return true; }));
  EXPECT_EQ(test::RuntimeErrorOf([&] { TAdjustedRPC model(&empty); }),
            "TAdjustedRPC::TAdjustedRPC(TKaXIniReader *src)");
  TAdjustedRPC model(test::NumberedRecord(), nullptr, &Drifted);
  EXPECT_FALSE(model.InitializeFromXML(&empty));
  EXPECT_FALSE(model.GetRPCRefinementData(nullptr));
  TRPCData flat = test::NumberedRecord();
  flat.HeightScale = 0.0;
  EXPECT_THROW(TAdjustedRPC(&flat, nullptr), TKaMessage);
}

}  // namespace
