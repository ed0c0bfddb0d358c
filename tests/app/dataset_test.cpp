#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/program.h"
#include "tests/support/vendor_xml.h"

namespace {

using nlohmann::json;
using test::Outcome;
using test::Replaced;
using test::RunKelvane;
using test::SamplePath;

json Info(const std::string& model) {
  const Outcome outcome = RunKelvane({"info", model, "--json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return json::parse(outcome.out, nullptr, false);
}

void ExpectProblem(const std::vector<std::string>& arguments, const std::string& why) {
  const Outcome outcome = RunKelvane(arguments);
  EXPECT_EQ(outcome.status, 2) << why;
  EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
  EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
}

TEST(VendorXml, IsAModelForEveryCommand) {
  const test::ScratchFolder folder;
  const std::string rpb = SamplePath("worldview3.RPB");
  const SatCommonUtils::TRPCData data = test::SampleRecord("worldview3.RPB");
  const std::string ephemeris = "<EPH>" + std::string(std::size_t{5} << 20, '7') + "</EPH></isd>";
  const std::string isd = folder.Write("scene.XML", Replaced(test::IsdText(data), "</isd>", ephemeris));
  const std::string dimap = folder.Write("RPC_x.XML", test::DimapText(data));
  EXPECT_EQ(Info(isd)["format"], "isd");
  EXPECT_EQ(Info(isd)["errBias"], 1.49);
  EXPECT_EQ(Info(folder.Path("scene.tif"))["format"], "isd");
  json expected = Info(rpb);
  expected["format"] = "dimap";
  for (const char* absent : {"errBias", "errRand"}) expected.erase(absent);
  EXPECT_EQ(Info(dimap), expected);

  test::RunOptions run;
  run.input = "41.88 12.58 95\n";
  const std::string projected = RunKelvane({"project", rpb}, run).out;
  for (const std::string& model : {isd, dimap}) {
    EXPECT_EQ(RunKelvane({"project", model}, run).out, projected);
    ASSERT_EQ(RunKelvane({"convert", model, folder.Path("out.rpb"), "--quiet"}).status, 0);
    EXPECT_EQ(RunKelvane({"project", folder.Path("out.rpb")}, run).out, projected);
  }
  ExpectProblem({"info", folder.Write("a.xml", Replaced(test::DimapText(data), "RPC00B", "RPC00A"))},
                "read as dimap: RESOURCE_ID is not RPC00B");
}

TEST(Dataset, IsMadeOfAFolderAndGivesItsModels) {
  const test::ScratchFolder folder;
  const std::string set = folder.Path("set.xml");
  std::filesystem::create_directory(folder.Path("in"));
  folder.Write("in/w.RPB", test::FileText(SamplePath("worldview3.RPB")));
  folder.Write("in/bad.txt", "LINE_OFF: 1\n");
  ASSERT_EQ(RunKelvane({"convert", SamplePath("pleiades_1.xml"), folder.Path("in/p_RPC.TXT")}).status, 0);
  const Outcome made = RunKelvane({"convert", folder.Path("in"), set, "--dataset", "--json"});
  EXPECT_EQ(made.status, 1);
  EXPECT_NE(made.err.find("bad.txt: no number for "), std::string::npos) << made.err;
  EXPECT_EQ(json::parse(made.out)["models"], 2);

  json named = Info(set + ":w");
  EXPECT_EQ(named["format"], "dataset");
  EXPECT_EQ(named["name"], "w");
  EXPECT_EQ(named["file"], "w.RPB");
  for (const char* own : {"name", "file"}) named.erase(own);
  named["format"] = "rpb";
  EXPECT_EQ(named, Info(SamplePath("worldview3.RPB")));
  ExpectProblem({"info", set}, "holds 2 models: \"p\", \"w\"; say which as " + set + ":NAME");
  ExpectProblem({"info", set + ":x"}, "no such model but 2 models: \"p\", \"w\"");
  ExpectProblem({"info", folder.Path("in/w.RPB") + ":w"}, "No such file");

  // All of it, to other places and back; one of it; and a plain model as a set of one.
  ASSERT_EQ(RunKelvane({"convert", set, folder.Path("copy.xml"), "--dataset"}).status, 0);
  EXPECT_EQ(test::FileText(folder.Path("copy.xml")), test::FileText(set));
  std::filesystem::create_directory(folder.Path("out"));
  ASSERT_EQ(RunKelvane({"convert", set, folder.Path("out"), "--each", "rpb"}).status, 0);
  EXPECT_EQ(test::FileText(folder.Path("out/w.RPB")), test::FileText(SamplePath("worldview3.RPB")));
  ExpectProblem({"convert", set, folder.Path("out"), "--each", "rpb"}, "p.RPB stands in the folder already");
  ASSERT_EQ(RunKelvane({"convert", set + ":w", folder.Path("w.xml")}).status, 0);
  EXPECT_EQ(Info(folder.Path("w.xml"))["format"], "xml");
  ASSERT_EQ(RunKelvane({"convert", SamplePath("worldview3.RPB"), folder.Path("one.xml"), "--dataset"}).status,
            0);
  EXPECT_EQ(Info(folder.Path("one.xml"))["name"], "worldview3");
  EXPECT_EQ(Info(folder.Path("one.xml"))["LineNum"], named["LineNum"]);
}

TEST(Dataset, WhatItCannotHoldIsRefused) {
  const test::ScratchFolder folder;
  const std::string out = folder.Write("out.xml", "precious");
  const std::string refined =
      "<section key=\"Refinement\"><section key=\"RawToRefined\"><value key=\"LineBias\">4"
      "</value><value key=\"LineDrift\">1</value><value key=\"LineTilt\">0</value>"
      "<value key=\"SampleBias\">0</value><value key=\"SampleDrift\">0</value>"
      "<value key=\"SampleTilt\">1</value></section></section></configuration>";
  folder.Write("r.xml", Replaced(test::FileText(SamplePath("pleiades_1.xml")), "</configuration>", refined));
  std::filesystem::create_directory(folder.Path("empty"));
  ExpectProblem({"convert", folder.Path("r.xml"), out, "--dataset"}, "no place for a refinement");
  ExpectProblem({"convert", folder.Path("empty"), out, "--dataset"}, "no RPB or RPC text");
  ExpectProblem({"convert", SamplePath("pleiades_1.xml"), folder.Path("o.rpb"), "--dataset"}, "ends in .xml");
  ExpectProblem({"convert", SamplePath("pleiades_1.xml"), folder.Path("none"), "--each", "text"},
                "No such file or directory");
  EXPECT_EQ(test::FileText(out), "precious");
  ExpectProblem({"info", folder.Write("e.xml", "<RPCDataset version=\"1\"/>")}, "a dataset without a model");
  ExpectProblem({"info", folder.Write("f.xml", "<RPCDataset version=\"1\"><Model name=\"a\"/></RPCDataset>")},
                "model 1: no LineOffset in Model");
}

}  // namespace
