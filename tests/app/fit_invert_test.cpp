#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "kelvane/rpc/rpc.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/program.h"

namespace {

using nlohmann::json;
using SatCommonUtils::TRPC;
using SatCommonUtils::TRPCData;
using test::Contains;
using test::Outcome;
using test::RunKelvane;

/// A grid of n nodes an axis over a model's cube, "lat lon h line sample" a line; `turn` is added to
/// longitudes west of the model's offset.
std::string GridOf(const TRPCData& data, int n, double turn = 0.0) {
  const TRPC model(data, nullptr);
  test::PointText text;
  for (int i = 0; i < n * n * n; ++i) {
    const auto node = [n](int k) { return 2.0 * k / (n - 1) - 1.0; };
    const double lat = data.LatitudeOffset + data.LatitudeScale * node(i % n);
    const double lon = data.LongitudeOffset + data.LongitudeScale * node(i / n % n);
    const double h = data.HeightOffset + data.HeightScale * node(i / n / n);
    const auto seen = test::SeenBy(model, {lat, lon, h});
    text << lat << ' ' << lon + (lon < data.LongitudeOffset ? turn : 0.0) << ' ' << h << ' ' << seen.Line
         << ' ' << seen.Sample << " p" << i << '\n';
  }
  return text.str();
}

Outcome Fit(const std::string& points, std::vector<std::string> options) {
  options.insert(options.begin(), "fit");
  return RunKelvane(options, points);
}

TEST(Fit, GivesAModelThatSeesThePointsWhereTheyWereSeen) {
  const test::ScratchFolder folder;
  TRPCData data = test::SampleRecord("worldview3.RPB");
  data.LongitudeOffset = 180.0;
  // Across the 180th meridian, half of the points in another turn.
  const Outcome outcome = Fit("# head\n" + GridOf(data, 11, 360.0),
                              {"-o", folder.Path("a.xml"), "--json", "--plot", folder.Path("a.svg")});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(Contains(test::FileText(folder.Path("a.svg")), "</svg>"));
  const json report = json::parse(outcome.out);
  EXPECT_EQ(report["points"], 1331);
  EXPECT_LT(report["maxResidual"], 1e-6);
  EXPECT_LE(report["rmsLine"], report["maxResidual"]);
  EXPECT_LE(report["rmsSample"], report["maxResidual"]);
  EXPECT_EQ(report["method"], "robust");
  EXPECT_EQ(report["verdict"], "trustworthy");
  EXPECT_EQ(report["downWeighted"], json::array());
  EXPECT_EQ(report["converged"], true);
  for (const char* coordinate : {"line", "sample"}) {
    EXPECT_EQ(report[coordinate]["degree"], 3);
    EXPECT_NEAR(report[coordinate]["degreesOfFreedom"], 1331 - 39, 20.0);
    EXPECT_LT(report[coordinate]["heldOutMax"], 1e-6);
    EXPECT_GT(report[coordinate]["condition"], 1e6);
  }
  const auto projected = [&](const char* model) {
    return RunKelvane({"project", folder.Path(model), "--precision", "9"}, "41.8791 -179.99 95").out;
  };
  test::PointText swapped;
  test::PrintedNumbers lines(GridOf(data, 6));
  std::string name;
  for (double v[5]; lines >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> name;) {
    swapped << v[1] << ',' << v[0] << ',' << v[2] << ',' << v[4] + 0.5 << ',' << v[3] + 0.5 << '\n';
  }
  const Outcome corner = Fit(swapped.str(), {"-o", folder.Path("b.xml"), "--xy", "--origin", "corner"});
  EXPECT_TRUE(Contains(corner.out, "216 points")) << corner.err;
  EXPECT_EQ(projected("b.xml"), projected("a.xml"));
}

/// The numbers of a grid with every thirtieth line moved by 100 lines, and those lines' numbers.
std::string WithBlunders(const std::string& grid, std::vector<int>* moved) {
  test::PrintedNumbers points(grid);
  test::PointText text;
  std::string name;
  int line = 0;
  for (double v[5]; points >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> name;) {
    if (++line % 30 == 0) {
      v[3] += 100.0;
      moved->push_back(line);
    }
    text << v[0] << ' ' << v[1] << ' ' << v[2] << ' ' << v[3] << ' ' << v[4] << '\n';
  }
  return text.str();
}

TEST(Fit, FindsBlundersAndWarnsOfWhatIsDoubtful) {
  const test::ScratchFolder folder;
  const std::string out = folder.Path("out.rpb");
  std::vector<int> moved;
  const std::string grid = GridOf(test::SampleRecord("worldview3.RPB"), 8);
  const std::string points = WithBlunders(grid, &moved);
  const Outcome outcome = Fit(points, {"-o", out, "--json"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const json report = json::parse(outcome.out);
  EXPECT_EQ(report["downWeighted"], moved);
  EXPECT_LT(report["maxResidual"], 1e-4) << "of the others, with all that the form rounds";
  EXPECT_TRUE(Contains(outcome.err, "stdin:30: down-weighted: 100 lines and")) << outcome.err;
  EXPECT_TRUE(Contains(outcome.err, "17 points of 512 are down-weighted")) << outcome.err;
  // Without weights, and by the classic fit, they bend the model.
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"--weights", "equal"}, std::vector<std::string>{"--method", "classic"}}) {
    const Outcome bent = Fit(points, {"-o", out, "--json", options[0], options[1]});
    ASSERT_EQ(bent.status, 0) << bent.err;
    EXPECT_GT(json::parse(bent.out)["rmsLine"], 5.0);
    EXPECT_EQ(json::parse(bent.out).contains("verdict"), options[0] == "--weights");
  }
  const Outcome first =
      Fit(grid, {"-o", out, "--order", "1", "--weights", "huber", "--common-denominator", "--json"});
  EXPECT_EQ(json::parse(first.out)["sample"]["degree"], 1) << first.err;
  // Too few points to hold some out for the third order: said even when asked to be quiet.
  std::string few;
  std::size_t end = 0;
  for (int i = 0; i < 45; ++i) {
    end = (end + 97) % (grid.size() - 200);
    const std::size_t start = grid.find('\n', end) + 1;
    few += grid.substr(start, grid.find('\n', start) + 1 - start);
    end = start + 830;
  }
  const Outcome quiet = Fit(few, {"-o", out, "--quiet"});
  EXPECT_EQ(quiet.status, 0) << quiet.err;
  EXPECT_EQ(quiet.out, "");
  EXPECT_TRUE(Contains(quiet.err, out + ": WARNING: doubtful: "));
  EXPECT_TRUE(Contains(quiet.err, "too few points to try the highest degree"));
}

TEST(Fit, SaysWhyThereIsNoModelAndWritesNone) {
  const test::ScratchFolder folder;
  const std::string out = folder.Path("out.xml");
  const std::string good = GridOf(test::SampleRecord("worldview3.RPB"), 7);
  const auto expect_none = [&](const std::string& points, const char* why) {
    const Outcome outcome = Fit(points, {"-o", out});
    EXPECT_EQ(outcome.status, 2) << why;
    EXPECT_TRUE(Contains(outcome.err, why));
    EXPECT_FALSE(std::filesystem::exists(out)) << why;
  };
  expect_none("", "0 points; a model needs at least 40");
  expect_none(GridOf(test::SampleRecord("worldview3.RPB"), 3), "27 points");
  expect_none(good.substr(0, good.find(" p45\n") + 5), "all points have the same height");
  test::PointText plane;
  test::PrintedNumbers points(good);
  std::string name;
  for (double v[5]; points >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> name;) {
    plane << v[0] << ' ' << v[1] << ' ' << 1e4 * v[0] + 2e4 * v[1] << ' ' << v[3] << ' ' << v[4] << '\n';
  }
  expect_none(plane.str(), "the points lie in a plane");
  EXPECT_EQ(Fit(good, {"-o", folder.Path("out.tif")}).status, 2);
  const Outcome partly = Fit(good + "1 2 3\n1 2 3 x 5\n", {"-o", out});
  EXPECT_EQ(partly.status, 1);
  EXPECT_EQ(partly.err, "stdin:344: the line has 3 of the 5 numbers\nstdin:345: \"x\" is no number\n");
  EXPECT_TRUE(std::filesystem::exists(out));
}

TEST(Invert, StatesAnErrorThatHolds) {
  const test::ScratchFolder folder;
  const std::string model = test::SamplePath("worldview3.RPB");
  const Outcome outcome =
      RunKelvane({"invert", model, "-o", folder.Path("inverse.xml"), "--grid", "10", "--json"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const double stated = json::parse(outcome.out)["maxDifference"];
  EXPECT_EQ(json::parse(outcome.out)["method"], "robust") << "which comes nearer";
  EXPECT_GT(stated, 0.0);
  EXPECT_LT(stated, 1e-8);
  std::string points;
  for (int line = 0; line < 1700; line += 37) points += std::to_string(line) + " 900.5 200\n";
  test::PrintedNumbers inverse(RunKelvane({"project", folder.Path("inverse.xml")}, points).out);
  test::PrintedNumbers located(RunKelvane({"locate", model}, points).out);
  double expected = 0.0;
  int compared = 0;
  for (double found = 0.0; inverse >> found; ++compared) {
    located >> expected;
    EXPECT_NEAR(found, expected, stated);
  }
  EXPECT_EQ(compared, 2 * 46);
  EXPECT_EQ(RunKelvane({"invert", model, "-o", folder.Path("none.xml"), "--grid", "2"}).status, 2);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("none.xml")));
}

}  // namespace
