#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/program.h"
#include "tests/support/vendor_xml.h"

namespace {

using nlohmann::json;
using test::Contains;
using test::Outcome;
using test::Replaced;
using test::RunKelvane;
using test::SamplePath;

json Info(const std::string& path) {
  const Outcome outcome = RunKelvane({"info", path, "--json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return json::parse(outcome.out);
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
  EXPECT_TRUE(
      Contains(RunKelvane({"info", SamplePath("worldview3.RPB")}).out, "LatitudeOffset   41.8791 degrees"));
}

TEST(Info, RecognisesModelsByWhatTheyHold) {
  const test::ScratchFolder folder;
  const std::string rpb = test::FileText(SamplePath("worldview3.RPB"));
  EXPECT_EQ(Info(folder.Write("a.xml", "\xEF\xBB\xBF\r\r\n" + rpb))["format"], "rpb");
  const std::string text = folder.Path("b.txt");
  ASSERT_EQ(RunKelvane({"convert", SamplePath("worldview3.RPB"), text}).status, 0);
  EXPECT_EQ(Info(folder.Write("b.RPB", "\xEF\xBB\xBF\n" + test::FileText(text)))["format"], "text");
  EXPECT_EQ(Info(folder.Write("c", test::FileText(SamplePath("pleiades_1.xml"))))["format"], "xml");

  // An image's name stands for the side-car beside it, however large it is and whatever lies in it.
  const std::string scene = folder.Write(
      "scene.tif", std::string("II*\0\1\2\3\n", 8) + text + std::string(std::size_t{5} << 20, '\0'));
  EXPECT_TRUE(Contains(RunKelvane({"info", scene}).err, "scene_RPC.TXT"));
  folder.Write("scene_rpc.txt", test::FileText(text));
  EXPECT_EQ(Info(scene)["format"], "text");
  folder.Write("scene.RPB", rpb);
  EXPECT_EQ(Info(scene)["format"], "rpb");
  EXPECT_TRUE(Contains(RunKelvane({"info", scene}).err, "is taken from " + folder.Path("scene.RPB")));
  folder.Write("scene.RPB", "");
  folder.Write("scene_rpc.txt", "x");
  EXPECT_TRUE(Contains(RunKelvane({"info", scene}).err, "scene.RPB is no RPC model: the file is empty"));
  folder.Write("gone.xml", test::FileText(SamplePath("pleiades_1.xml")));
  EXPECT_EQ(Info(folder.Path("gone.tif"))["format"], "xml");
}

/// A quarter of a million times the same.
std::string Repeated(const std::string& text) {
  std::string repeated;
  for (int i = 0; i < 250000; ++i) repeated += text;
  return repeated;
}

TEST(Info, SaysWhatIsMissing) {
  const test::ScratchFolder folder;
  const std::string rpb = test::FileText(SamplePath("worldview3.RPB"));
  const std::string xml = test::FileText(SamplePath("pleiades_1.xml"));
  ASSERT_EQ(RunKelvane({"convert", SamplePath("worldview3.RPB"), folder.Path("good.txt")}).status, 0);
  const std::string text = test::FileText(folder.Path("good.txt"));
  const std::string isd = test::IsdText(test::SampleRecord("worldview3.RPB"));
  const std::pair<std::string, const char*> cases[] = {
      {"", "the file is empty"},
      {"hello\n", "not XML"},
      {"<?xml version=\"1.0\"?><!-- <configuration/> --><html/>", "not XML (no root configuration,"},
      {std::string("\0\1\n", 3) + text, "not RPC text"},
      {Replaced(text, "+000812.00", "1,812.00"), "LINE_OFF: \"1,812.00\" is no number"},
      {text + std::string((std::size_t{4} << 20) - text.size() + 1, '\n'), "larger than 4 MiB"},
      {isd + std::string((std::size_t{64} << 20) - isd.size() + 1, '\n'), "larger than 64 MiB"},
      {"<isd>" + Repeated("<a>") + Repeated("<a>"), "Start-end tags mismatch"},
      {"LINE_OFF: " + Repeated("1"), "no number for HEIGHT_OFF"},
      {xml.substr(0, xml.size() / 2), "read as xml"},
      {Replaced(xml, "\"LatitudeScale\"", "\"x\""), "LatitudeScale"},
      {rpb.substr(0, rpb.size() / 2), "read as rpb"},
  };
  for (const auto& [bytes, why] : cases) {
    const Outcome outcome = RunKelvane({"info", folder.Write("model", bytes)});
    EXPECT_EQ(outcome.status, 2) << why;
    EXPECT_TRUE(Contains(outcome.err, why));
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  }
  const std::string largest = text + std::string((std::size_t{4} << 20) - text.size(), '\n');
  EXPECT_EQ(Info(folder.Write("model", largest))["format"], "text");
  // What can be used all the same is remarked.
  const std::string remarked[][2] = {
      {text + "LINE_OFF: 5\r\n", "LINE_OFF stands more than once"},
      {text + "LINE_NUM_COEFF_21: 5\r\nLINE_NUM_COEFF_21: 5\r\nLINE_NUM_COEFF_20: 5\r\n",
       "LINE_NUM_COEFF_20 stands more than once"},
      {Replaced(rpb, "\tlatScale", "\tlatOffset = 1;\n\tlatScale"), "\"latOffset\" stands more than once"},
      {text.substr(0, text.size() - 3), "the last line has no end"},
      {Replaced(rpb, "errBias =    1.49", "errBias = high"), "errBias is no number"}};
  for (const auto& [bytes, what] : remarked) {
    const std::string model = folder.Write("model", bytes);
    const Outcome told = RunKelvane({"info", model});
    EXPECT_EQ(told.status, 0) << what;
    EXPECT_TRUE(Contains(told.err, what));
    EXPECT_EQ(told.err.find('\n'), told.err.size() - 1) << told.err;
    EXPECT_EQ(RunKelvane({"info", model, "--quiet"}).err, "");
  }
  EXPECT_FALSE(Contains(RunKelvane({"info", folder.Path("model")}).out, "errBias")) << "of the last one";

  // What cannot be projected is shown, and then refused in one line, whatever else there is to remark.
  const Outcome zero =
      RunKelvane({"info", folder.Write("zero\n.RPB",
                                       Replaced(rpb, "\tlatScale = ", "\tlatOffset = 1\n\tlatScale = 0 #"))});
  EXPECT_EQ(zero.status, 2);
  EXPECT_TRUE(Contains(zero.out, "LatitudeScale    0 degrees"));
  EXPECT_TRUE(Contains(zero.out, "rpb, not valid: LatitudeScale is 0"));
  EXPECT_EQ(zero.err, "kelvane: " + folder.Path("zero\\x0A.RPB") +
                          ": LatitudeScale is 0: nothing can be normalised with it\n");
  const auto told_of = [&](const std::string& number) {
    const std::string seventh = "key=\"07\">";
    const std::string bad = Replaced(xml, seventh, seventh + number + "</value><value key=\"x\">");
    return RunKelvane({"info", folder.Write("bad.xml", bad), "--json"});
  };
  const Outcome infinite = told_of("-inf");
  EXPECT_TRUE(Contains(infinite.err, "LineNum[7] is no finite number"));
  EXPECT_EQ(json::parse(infinite.out)["valid"], false);
  const Outcome unset = told_of("1.7976931348623157e308");
  EXPECT_TRUE(Contains(unset.err, "LineNum[7] is unset"));
  EXPECT_EQ(json::parse(unset.out)["valid"], false);
}

TEST(Convert, XmlKeepsEveryBitAndTheOthersTellHowMuchTheyRound) {
  const test::ScratchFolder folder;
  const auto convert = [&](const std::string& in, const std::string& out) {
    const Outcome outcome = RunKelvane({"convert", in, folder.Path(out), "--json", "--quiet"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return json::parse(outcome.out);
  };
  EXPECT_EQ(convert(SamplePath("worldview3.RPB"), "a.xml")["maxDifference"], 0.0);
  const std::string margin =
      "<section key=\"Margin\"><point key=\"Vertex\" x=\"0\" y=\"1\"/><point key=\"Vertex\" x=\"5\" y=\"1\"/>"
      "<point key=\"Vertex\" x=\"5\" y=\"9\"/></section><value key=\"RasterWidth\">70</value>"
      "<value key=\"RasterHeight\">80</value></configuration>";
  folder.Write("m.xml", Replaced(test::FileText(folder.Path("a.xml")), "</configuration>", margin));
  convert(folder.Path("m.xml"), "n.xml");
  for (const char* kept : {"x=\"5\" y=\"9\"", "RasterWidth\">70", "RasterHeight\">80"})
    EXPECT_TRUE(Contains(test::FileText(folder.Path("n.xml")), kept));
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
  const Outcome lossy = RunKelvane({"convert", folder.Path("n.xml"), folder.Path("e.txt")});
  for (const char* lost : {"errBias", "satellite", "margin", "raster size"})
    EXPECT_TRUE(Contains(lossy.err, lost));
  folder.Write("e.txt", test::FileText(folder.Path("e.txt")) + "ERR_BIAS: 1.234 meters\r\n");
  const Outcome more = RunKelvane({"convert", folder.Path("e.txt"), "-o", folder.Path("f.RPB")});
  for (const char* added : {"errRand", "satId", "rounds errBias"}) EXPECT_TRUE(Contains(more.err, added));
  EXPECT_EQ(Info(folder.Path("f.RPB"))["errBias"], 1.23);
}

TEST(Convert, AFailureLeavesTheTargetAlone) {
  const test::ScratchFolder folder;
  const std::string model = SamplePath("pleiades_1.xml");
  const std::string target = folder.Write("target.rpb", "precious");
  const auto expect_untouched = [&](const Outcome& outcome, const std::string& why) {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(Contains(outcome.err, why));
    EXPECT_EQ(test::FileText(target), "precious");
    using Entries = std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(Entries(folder.Path("")), Entries()), 1);
  };
  test::RunOptions full_disk;
  full_disk.largest_file = 1000;
  expect_untouched(RunKelvane({"convert", model, target}, full_disk), "File too large");
  expect_untouched(RunKelvane({"convert", model, folder.Path("target.tif")}), ".rpb, .txt or .xml");
  expect_untouched(RunKelvane({"convert", folder.Path("none"), target}), "No such file");
  expect_untouched(RunKelvane({"convert", model}), "OUT is required");
  // A scale that the form's two decimals turn into zero.
  const std::string xml = test::FileText(model);
  const std::string scale = "\"HeightScale\">130<";
  const test::ScratchFolder other;
  const auto convert = [&](const std::string& text) {
    return RunKelvane({"convert", other.Write("a.xml", text), target});
  };
  expect_untouched(convert(Replaced(xml, scale, "\"HeightScale\">0.001<")), "HeightScale is 0");
  expect_untouched(convert(Replaced(xml, scale, "\"satId\">a\"b</value><value key=" + scale)),
                   "double quote");
}

TEST(Convert, ReplacesAFileAndKeepsItsRights) {
  const test::ScratchFolder folder;
  const auto convert_to = [&](const std::string& out) {
    return RunKelvane({"convert", SamplePath("worldview3.RPB"), folder.Path(out)}).status;
  };
  const auto rights = [](const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 0777;
  };
  const std::string target = folder.Write("target.rpb", "old");
  ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
  ASSERT_EQ(::symlink(target.c_str(), folder.Path("link.rpb").c_str()), 0);
  ASSERT_EQ(convert_to("link.rpb"), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link.rpb")));
  EXPECT_EQ(test::FileText(target), test::FileText(SamplePath("worldview3.RPB")));
  EXPECT_EQ(rights(target), 0640U);
  ASSERT_EQ(::symlink("nothing", folder.Path("dangling.rpb").c_str()), 0);
  EXPECT_EQ(convert_to("dangling.rpb"), 2);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("dangling.rpb")));
  const std::string long_name = std::string(250, 'n') + ".rpb";
  const mode_t mask = ::umask(027);
  EXPECT_EQ(convert_to(long_name), 0);
  ::umask(mask);
  EXPECT_EQ(rights(folder.Path(long_name)), 0640U);
}

}  // namespace
