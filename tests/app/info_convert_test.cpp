#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/program.h"

namespace {

using nlohmann::json;
using test::Outcome;
using test::RunKelvane;
using test::SamplePath;

json Info(const std::string& path) {
  const Outcome outcome = RunKelvane({"info", path, "--json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return json::parse(outcome.out);
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(Info, TellsTheWholeRecord) {
  const json report = Info(SamplePath("worldview3.RPB"));
  EXPECT_EQ(report["format"], "rpb");
  EXPECT_EQ(report["valid"], true);
  EXPECT_EQ(report["errBias"], 1.49);
  EXPECT_EQ(report["errRand"], 0.58);
  const SatCommonUtils::TRPCData data = test::SampleRecord("worldview3.RPB");
  for (const auto& field : SatCommonUtils::RPCDataFields) EXPECT_EQ(report[field.Name], data.*field.Value);
  for (const auto& set : SatCommonUtils::RPCDataCoefficients)
    EXPECT_EQ(report[set.Name], json(data.*set.Values));
  ASSERT_EQ(report["footprint"].size(), 4U);
  EXPECT_NEAR(report["footprint"][0][0].get<double>(), 41.892, 1e-3);
  EXPECT_NEAR(report["groundSampleDistance"]["line"].get<double>(), 1.6, 0.01);

  EXPECT_FALSE(Info(SamplePath("pleiades_1.xml")).contains("errBias"));
  const std::string text = RunKelvane({"info", SamplePath("worldview3.RPB")}).out;
  EXPECT_NE(text.find("LatitudeOffset   41.8791 degrees"), std::string::npos) << text;
}

TEST(Info, RecognisesModelsByWhatTheyHold) {
  const test::ScratchFolder folder;
  const std::string rpb = test::FileText(SamplePath("worldview3.RPB"));
  EXPECT_EQ(Info(folder.Write("a.xml", "\xEF\xBB\xBF\r\r\n" + rpb))["format"], "rpb");
  const std::string text = folder.Path("b.txt");
  ASSERT_EQ(RunKelvane({"convert", SamplePath("worldview3.RPB"), text}).status, 0);
  EXPECT_EQ(Info(folder.Write("b.RPB", "\xEF\xBB\xBF\n" + test::FileText(text)))["format"], "text");
  EXPECT_EQ(Info(folder.Write("c", test::FileText(SamplePath("pleiades_1.xml"))))["format"], "xml");

  // An image's name stands for the side-car beside it.
  folder.Write("scene.tif", std::string("II*\0\1\2\3", 7));
  EXPECT_NE(RunKelvane({"info", folder.Path("scene.tif")}).err.find("scene_RPC.TXT"), std::string::npos);
  folder.Write("scene_rpc.txt", test::FileText(text));
  EXPECT_EQ(Info(folder.Path("scene.tif"))["format"], "text");
  folder.Write("scene.RPB", rpb);
  EXPECT_EQ(Info(folder.Path("scene.tif"))["format"], "rpb");
  folder.Write("gone.xml", test::FileText(SamplePath("pleiades_1.xml")));
  EXPECT_EQ(Info(folder.Path("gone.tif"))["format"], "xml");
}

TEST(Info, SaysWhatIsMissing) {
  const test::ScratchFolder folder;
  const std::string rpb = test::FileText(SamplePath("worldview3.RPB"));
  const std::string xml = test::FileText(SamplePath("pleiades_1.xml"));
  ASSERT_EQ(RunKelvane({"convert", SamplePath("worldview3.RPB"), folder.Path("good.txt")}).status, 0);
  const std::string text = test::FileText(folder.Path("good.txt"));
  const struct {
    std::string bytes;
    const char* why;
  } cases[] = {
      {"", "the file is empty"},
      {"hello\n", "not XML"},
      {"<?xml version=\"1.0\"?><html/>", "read as xml"},
      {xml.substr(0, xml.size() / 2), "read as xml"},
      {Replaced(xml, "\"LatitudeScale\"", "\"x\""), "LatitudeScale"},
      {rpb.substr(0, rpb.size() / 2), "read as rpb"},
      {Replaced(rpb, "\theightScale", "\tx"), "heightScale"},
      {Replaced(text, "LAT_OFF:", "LAT:"), "no number for LAT_OFF"},
      {Replaced(text, "LAT_SCALE: ", "LAT_SCALE: north "), "no number for LAT_SCALE"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = RunKelvane({"info", folder.Write("model", c.bytes)});
    EXPECT_EQ(outcome.status, 2) << c.why;
    EXPECT_NE(outcome.err.find(c.why), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  }
  const Outcome twice = RunKelvane({"info", folder.Write("twice.txt", text + "LINE_OFF: 5\r\n"), "--json"});
  EXPECT_EQ(twice.status, 0);
  EXPECT_NE(twice.err.find("LINE_OFF stands more than once"), std::string::npos) << twice.err;
  const Outcome twice_rpb = RunKelvane(
      {"info", folder.Write("twice.RPB", Replaced(rpb, "\tlatScale", "\tlatOffset = 1;\n\tlatScale"))});
  EXPECT_NE(twice_rpb.err.find("latOffset stands more than once"), std::string::npos) << twice_rpb.err;
  const Outcome cut =
      RunKelvane({"info", folder.Write("cut.txt", text.substr(0, text.size() - 3)), "--quiet"});
  EXPECT_EQ(cut.status, 0);
  EXPECT_EQ(cut.err, "");

  const Outcome zero =
      RunKelvane({"info", folder.Write("zero.RPB", Replaced(rpb, "\tlatScale = ", "\tlatScale = 0 #"))});
  EXPECT_EQ(zero.status, 2);
  EXPECT_NE(zero.err.find("LatitudeScale is 0"), std::string::npos) << zero.err;
}

TEST(Info, ARefinedModelIsShownButNotProjectedWithoutItsRefinement) {
  const test::ScratchFolder folder;
  std::string section = "<section key=\"Refinement\">";
  for (const char* key : {"LineBias", "LineDrift", "LineTilt", "SampleBias", "SampleDrift", "SampleTilt"}) {
    section += std::string("<value key=\"") + key + "\">0.5</value>";
  }
  section += "</section></configuration>";
  const std::string path = folder.Write(
      "refined.xml", Replaced(test::FileText(SamplePath("pleiades_1.xml")), "</configuration>", section));
  const json report = Info(path);
  EXPECT_EQ(report["format"], "refined-xml");
  EXPECT_EQ(report["Refinement"]["SampleTilt"], 0.5);
  EXPECT_EQ(RunKelvane({"project", path}).status, 2);
  EXPECT_EQ(RunKelvane({"convert", path, folder.Path("plain.xml")}).status, 2);
}

TEST(Convert, XmlKeepsEveryBitAndTheOthersTellHowMuchTheyRound) {
  const test::ScratchFolder folder;
  const auto convert = [&](const std::string& in, const std::string& out) {
    const Outcome outcome = RunKelvane({"convert", in, folder.Path(out), "--json", "--quiet"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return json::parse(outcome.out);
  };
  EXPECT_EQ(convert(SamplePath("worldview3.RPB"), "a.xml")["maxDifference"], 0.0);
  EXPECT_EQ(convert(folder.Path("a.xml"), "b.XML")["rounded"], 0);
  json original = Info(SamplePath("worldview3.RPB"));
  EXPECT_EQ(Info(folder.Path("b.XML"))["errBias"], 1.49);
  original["format"] = "xml";
  EXPECT_EQ(Info(folder.Path("b.XML")), original);
  EXPECT_EQ(convert(folder.Path("b.XML"), "c.rpb")["rounded"], 0);
  EXPECT_EQ(test::FileText(folder.Path("c.rpb")), test::FileText(SamplePath("worldview3.RPB")));

  for (const char* out : {"d.rpb", "d.txt"}) {
    const json report = convert(SamplePath("pleiades_1.xml"), out);
    EXPECT_GT(report["rounded"], 0) << out;
    EXPECT_GT(report["maxDifference"], 1e-6) << out;
    EXPECT_LT(report["maxDifference"], 0.01) << out;
  }
  const Outcome lossy = RunKelvane({"convert", SamplePath("worldview3.RPB"), folder.Path("e.txt")});
  EXPECT_NE(lossy.err.find("errBias"), std::string::npos) << lossy.err;
}

TEST(Convert, AFailureLeavesTheTargetAlone) {
  const test::ScratchFolder folder;
  const std::string model = SamplePath("pleiades_1.xml");
  const std::string target = folder.Write("target.rpb", "precious");
  const auto expect_untouched = [&](const Outcome& outcome, const std::string& why) {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
    EXPECT_EQ(test::FileText(target), "precious");
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("")))
      files += !entry.path().empty();
    EXPECT_EQ(files, 1U);
  };
  test::RunOptions full_disk;
  full_disk.largest_file = 1000;
  expect_untouched(RunKelvane({"convert", model, target}, full_disk), "File too large");
  expect_untouched(RunKelvane({"convert", model, folder.Path("target.tif")}), ".rpb, .txt or .xml");
  expect_untouched(RunKelvane({"convert", folder.Path("none"), target}), "No such file");
  expect_untouched(RunKelvane({"convert", model, folder.Path("no/folder.rpb")}), "No such file or directory");
  // A scale that the form's two decimals turn into zero.
  const std::string xml = test::FileText(model);
  const std::string scale = "\"HeightScale\">130<";
  const std::string tiny = testing::TempDir() + "tiny.xml";
  std::ofstream(tiny) << Replaced(xml, scale, "\"HeightScale\">0.001<");
  expect_untouched(RunKelvane({"convert", tiny, target}), "HeightScale is 0");
  std::remove(tiny.c_str());
}

TEST(Convert, ReplacesAFileAndKeepsItsRights) {
  const test::ScratchFolder folder;
  const std::string target = folder.Write("target.rpb", "old");
  ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
  ASSERT_EQ(::symlink(target.c_str(), folder.Path("link.rpb").c_str()), 0);
  ASSERT_EQ(RunKelvane({"convert", SamplePath("worldview3.RPB"), folder.Path("link.rpb")}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link.rpb")));
  EXPECT_EQ(test::FileText(target), test::FileText(SamplePath("worldview3.RPB")));
  struct stat status {};
  ASSERT_EQ(::stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

}  // namespace
