#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "kelvane/rpc/rpc.h"
#include "tests/support/matrices.h"
#include "tests/support/program.h"

namespace {

using nlohmann::json;
using test::Outcome;
using test::RunKelvane;

const std::string Pleiades = test::SamplePath("pleiades_1.xml");

/// Ground points spread through the model's cube, "lat lon h" a line.
std::string GroundPoints(int count) {
  const SatCommonUtils::TRPCData data = test::SampleRecord("pleiades_1.xml");
  test::PointText text;
  for (int i = 0; i < count; ++i) {
    text << data.LatitudeOffset + data.LatitudeScale * std::sin(i) << ' '
         << data.LongitudeOffset + data.LongitudeScale * std::cos(3.0 * i) << ' '
         << data.HeightOffset + data.HeightScale * std::sin(0.7 * i) << '\n';
  }
  return text.str();
}

Outcome Kelvane(std::vector<std::string> arguments, const std::string& input) {
  test::RunOptions run;
  run.input = input;
  return RunKelvane(arguments, run);
}

/// Control points: the ground points and where `model` sees them, moved by `move(i, &line, &sample)`.
template <class Move>
std::string ControlPoints(int count, Move move) {
  const std::string ground = GroundPoints(count);
  const std::string image = Kelvane({"project", Pleiades}, ground).out;
  test::PrintedNumbers points(ground);
  test::PrintedNumbers seen(image);
  test::PointText text;
  double g[3];
  double line = 0.0;
  double sample = 0.0;
  for (int i = 0; points >> g[0] >> g[1] >> g[2] && seen >> line >> sample; ++i) {
    move(i, &line, &sample);
    text << g[0] << ' ' << g[1] << ' ' << g[2] << ' ' << line << ' ' << sample << " gcp" << i << '\n';
  }
  return text.str();
}

/// The largest difference between what two models see of many points, in pixels.
double Difference(const std::string& a, const std::string& b) {
  const std::string ground = GroundPoints(500);
  test::PrintedNumbers by_a(Kelvane({"project", a}, ground).out);
  test::PrintedNumbers by_b(Kelvane({"project", b}, ground).out);
  double largest = 0.0;
  int compared = 0;
  for (double v[2]; by_a >> v[0] && by_b >> v[1]; ++compared) {
    largest = std::fmax(largest, std::fabs(v[0] - v[1]));
  }
  EXPECT_EQ(compared, 1000);
  return largest;
}

TEST(Refine, BlundersDoNotBendWhatExportHandsOn) {
  const test::ScratchFolder folder;
  const std::string refined = folder.Path("refined.xml");
  std::mt19937 random(1);
  std::normal_distribution<double> noise(0.0, 0.2);
  const auto turned = [](double* line, double* sample) {
    const double l = *line;
    *line += 3.0 + 1e-4 * *sample;
    *sample += -2.0 - 1e-4 * l;
  };
  const std::string controls = ControlPoints(20, [&](int i, double* line, double* sample) {
    turned(line, sample);
    *line += noise(random) + (i % 7 == 3 ? 50.0 : 0.0);
    *sample += noise(random);
  });
  const Outcome outcome =
      Kelvane({"refine", Pleiades, "-o", refined, "--kind", "affine", "--json"}, controls);
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const json report = json::parse(outcome.out);
  EXPECT_EQ(report["points"], 20);
  EXPECT_EQ(report["rejected"], (std::vector<int>{4, 11, 18}));
  EXPECT_LT(report["maxResidual"], 1.0);
  EXPECT_GT(report["rmsBefore"], 3.0);
  EXPECT_NE(outcome.err.find("stdin:4: rejected: "), std::string::npos) << outcome.err;
  // Exact control points, y first and counted from the corner, tell what the noisy ones should have given.
  const std::string exact = folder.Path("exact.xml");
  ASSERT_EQ(Kelvane({"refine", Pleiades, "-o", exact, "--kind", "affine"},
                    ControlPoints(6, [&](int, double* line, double* sample) { turned(line, sample); }))
                .status,
            0);
  EXPECT_LT(Difference(refined, exact), 0.35);
  EXPECT_EQ(json::parse(RunKelvane({"info", refined, "--json"}).out)["format"], "refined-xml");

  // What locate answers is seen where it was asked for.
  const std::string asked = "5000 6000 150\n20000 100 300\n";
  test::PrintedNumbers ground(Kelvane({"locate", refined}, asked).out);
  double lat = 0.0;
  double lon = 0.0;
  ground >> lat >> lon;
  test::PointText back;
  back << lat << ' ' << lon << " 150";
  test::PrintedNumbers seen(Kelvane({"project", refined}, back.str()).out);
  double line = 0.0;
  seen >> line;
  EXPECT_NEAR(line, 5000.0, 1e-6);

  const std::string plain = folder.Path("plain.rpb");
  const Outcome exported = RunKelvane({"export", refined, "-o", plain, "--json", "--quiet"});
  ASSERT_EQ(exported.status, 0) << exported.err;
  const double stated = json::parse(exported.out)["maxDifference"];
  EXPECT_LT(stated, 0.01);
  EXPECT_NE(json::parse(exported.out)["method"], "exact");
  EXPECT_LE(Difference(refined, plain), 0.01);
  // A refinement has no place in the plain forms, and another one replaces it.
  const Outcome lost = RunKelvane({"convert", refined, folder.Path("lost.rpb")});
  EXPECT_EQ(lost.status, 2);
  EXPECT_NE(lost.err.find("kelvane export"), std::string::npos) << lost.err;
  const std::string twice = folder.Path("twice.xml");
  ASSERT_EQ(Kelvane({"refine", refined, "-o", twice, "--kind", "affine", "--quiet"}, controls).err, "");
  EXPECT_EQ(test::FileText(twice), test::FileText(refined));
}

TEST(Refine, AShiftIsHandedOnExactly) {
  const test::ScratchFolder folder;
  const std::string refined = folder.Path("refined.xml");
  const std::string plain = folder.Path("plain.xml");
  const Outcome outcome = Kelvane({"refine", Pleiades, "-o", refined, "--kind", "shift"},
                                  ControlPoints(5, [](int, double* line, double*) { *line += 4.0; }));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(json::parse(RunKelvane({"export", refined, "-o", plain, "--json"}).out)["exact"], true);
  EXPECT_LT(Difference(refined, plain), 1e-11);
  EXPECT_NEAR(Difference(Pleiades, plain), 4.0, 1e-9);
}

TEST(Refine, SaysWhyThereIsNoRefinement) {
  const test::ScratchFolder folder;
  const std::string out = folder.Path("out.xml");
  const auto keep = [](int, double*, double*) {};
  const std::string five = ControlPoints(5, keep);
  const std::string one = five.substr(0, five.find('\n') + 1);
  const auto refuse = [&](const std::string& points, const char* kind, const char* why) {
    const Outcome outcome = Kelvane({"refine", Pleiades, "-o", out, "--kind", kind}, points);
    EXPECT_EQ(outcome.status, 2) << why;
    EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
  };
  refuse("", "shift", "stdin: no refinement: ");
  refuse(one + one, "affine", "3 control points at least, there are 2");
  refuse(one + one + one + one, "affine", "lie on a line");
  refuse("12.58 41.87 95 800 800", "shift", "stdin:1: the latitude is out of the model's reach");
  refuse(one, "nothing", "--kind");
  EXPECT_EQ(Kelvane({"refine", Pleiades, "-o", folder.Path("out.rpb"), "--kind", "shift"}, five).status, 2);
  EXPECT_EQ(std::filesystem::exists(out), false);
  EXPECT_EQ(Kelvane({"refine", Pleiades, "-o", out, "--kind", "shift"}, five + "1 2\n").status, 1);
}

TEST(Refine, WhatCannotBeAppliedIsNotPassedOver) {
  const test::ScratchFolder folder;
  const std::string out = folder.Path("out.xml");
  const auto shift = [](int, double* line, double*) { *line += 50.0; };
  ASSERT_EQ(Kelvane({"refine", Pleiades, "-o", out, "--kind", "shift"}, ControlPoints(3, shift)).status, 0);
  const std::string good = test::FileText(out);
  const std::string flat = test::Replaced(good, "\"SampleTilt\">1<", "\"SampleTilt\">0<");
  for (const std::string& text : {flat, test::Replaced(flat, "RefinedToRaw", "Other"),
                                  test::Replaced(good, "\"LineBias\">", "\"LineBias\">inf<!--x--> ")}) {
    const std::string broken = folder.Write("broken.xml", text);
    for (const char* command : {"project", "info", "export", "invert", "convert"}) {
      std::vector<std::string> arguments = {command, broken};
      if (arguments[0] != "project" && arguments[0] != "info") {
        arguments.insert(arguments.end(), {"-o", folder.Path("no.rpb")});
      }
      const Outcome outcome = Kelvane(arguments, "0 0 0");
      EXPECT_EQ(outcome.status, 2) << command;
      EXPECT_NE(outcome.err.find("its refinement"), std::string::npos) << outcome.err;
    }
  }
  // Behind a margin that cannot be read the refinement is still there.
  const std::string margin = "<section key=\"Margin\"><value key=\"Vertex\">abc</value></section>";
  const std::string behind = folder.Write(
      "behind.xml",
      test::Replaced(good, "<section key=\"Refinement\">", margin + "<section key=\"Refinement\">"));
  const Outcome hidden = Kelvane({"project", behind}, "0 0 0");
  EXPECT_TRUE(hidden.status == 2 || Difference(behind, out) == 0.0) << hidden.out << hidden.err;
  // The inverse is one of the refined model.
  const std::string inverse = folder.Path("inverse.xml");
  ASSERT_EQ(RunKelvane({"invert", out, "-o", inverse, "--quiet"}).status, 0);
  test::PrintedNumbers inverted(Kelvane({"project", inverse}, "5000 6000 150").out);
  test::PrintedNumbers located(Kelvane({"locate", out}, "5000 6000 150").out);
  double lat[2];
  ASSERT_TRUE(inverted >> lat[0] && located >> lat[1]);
  EXPECT_NEAR(lat[0], lat[1], 1e-8);
}

TEST(Refine, DrawsWhatIsLeft) {
  const test::ScratchFolder folder;
  const std::string controls = ControlPoints(300, [](int i, double* line, double* sample) {
    *line += 0.3 * std::sin(7.0 * i);
    *sample += 0.2 * std::cos(5.0 * i);
  });
  const std::string refined = folder.Path("refined.xml");
  const std::string png = folder.Path("a \"picture\".PNG");
  const std::string svg = folder.Path("picture.svg");
  const auto refine = [&](const std::string& plot) {
    return Kelvane({"refine", Pleiades, "-o", refined, "--kind", "shift", "--quiet", "--plot", plot},
                   controls);
  };
  ASSERT_EQ(refine(png).status, 0) << refine(png).err;
  EXPECT_EQ(test::FileText(png).substr(1, 3), "PNG");
  ASSERT_EQ(RunKelvane({"export", refined, "-o", folder.Path("plain.xml"), "--plot", svg}).status, 0);
  EXPECT_NE(test::FileText(svg).find("</svg>"), std::string::npos);
  EXPECT_EQ(refine(folder.Path("picture.pdf")).status, 2);
  EXPECT_EQ(refine(folder.Path("nowhere/picture.svg")).status, 2);
}

}  // namespace
