#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/program.h"
#include "tests/support/vendor_xml.h"

namespace {

using nlohmann::json;
using test::Outcome;
using test::Replaced;
using test::RunKelvane;
using test::SamplePath;

/// What `info` tells, without what only some forms have.
json Info(const std::string& model, const std::vector<const char*>& without = {"format"}) {
  const Outcome outcome = RunKelvane({"info", model, "--json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  json report = json::parse(outcome.out, nullptr, false);
  for (const char* key : without) report.erase(key);
  return report;
}

void ExpectProblem(const std::vector<std::string>& arguments, const std::string& why) {
  const Outcome outcome = RunKelvane(arguments);
  EXPECT_EQ(outcome.status, 2) << why;
  EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
}

TEST(VendorXml, IsAModelForEveryCommand) {
  const test::ScratchFolder folder;
  const SatCommonUtils::TRPCData data = test::SampleRecord("worldview3.RPB");
  const std::string ephemeris = "<EPH>" + std::string(std::size_t{5} << 20, '7') + "</EPH></isd>";
  folder.Write("scene.XML", Replaced(test::IsdText(data), "</isd>", ephemeris));
  const std::string dimap = folder.Write("RPC_x.XML", test::DimapText(data));
  const json expected = Info(SamplePath("worldview3.RPB"), {"format", "errBias", "errRand"});
  EXPECT_EQ(Info(dimap), expected);
  EXPECT_EQ(Info(folder.Path("scene.tif"), {"format", "errBias"}), expected);
  ExpectProblem({"info", folder.Write("a.xml", Replaced(test::DimapText(data), "RPC00B", "RPC00A"))},
                "read as dimap: RESOURCE_ID is not RPC00B");
}

TEST(Dataset, IsMadeOfAFolderAndGivesItsModels) {
  const test::ScratchFolder folder;
  const std::string set = folder.Path("set.xml");
  const std::string rpb = SamplePath("worldview3.RPB");
  std::filesystem::create_directory(folder.Path("in"));
  std::filesystem::create_directory(folder.Path("out"));
  folder.Write("in/w.RPB", test::FileText(rpb));
  folder.Write("in/bad.txt", "LINE_OFF: 1\n");
  ASSERT_EQ(RunKelvane({"convert", SamplePath("pleiades_1.xml"), folder.Path("in/p_RPC.TXT")}).status, 0);
  const Outcome made = RunKelvane({"convert", folder.Path("in"), set, "--dataset", "--json"});
  EXPECT_EQ(made.status, 1);
  EXPECT_NE(made.err.find("bad.txt: is no RPC model: read as text: no number for "), std::string::npos)
      << made.err;
  EXPECT_EQ(json::parse(made.out)["models"], 2);
  EXPECT_EQ(Info(set + ":w", {"format", "name", "file"}), Info(rpb));
  EXPECT_EQ(Info(set + ":w", {})["file"], "w.RPB");
  ExpectProblem({"info", set}, "holds several models: \"p\", \"w\"; say which as " + set + ":NAME");
  ExpectProblem({"info", set + ":x"}, "no such model; there are: \"p\", \"w\"");
  ExpectProblem({"info", rpb + ":w"}, "is no dataset of models");

  // All of it, to other places; one of it; and a plain model as a set of one.
  ASSERT_EQ(RunKelvane({"convert", set, folder.Path("copy.xml"), "--dataset"}).status, 0);
  EXPECT_EQ(test::FileText(folder.Path("copy.xml")), test::FileText(set));
  ASSERT_EQ(RunKelvane({"convert", set, folder.Path("out"), "--each", "rpb"}).status, 0);
  EXPECT_EQ(test::FileText(folder.Path("out/w.RPB")), test::FileText(rpb));
  ExpectProblem({"convert", set, folder.Path("out"), "--each", "rpb"}, "p.RPB stands in the folder already");
  ASSERT_EQ(RunKelvane({"convert", set + ":w", folder.Path("w.xml")}).status, 0);
  EXPECT_EQ(Info(folder.Path("w.xml")), Info(rpb));
  const std::string one = folder.Path("one.xml");
  ASSERT_EQ(RunKelvane({"convert", rpb, one, "--dataset"}).status, 0);
  EXPECT_EQ(Info(one, {})["name"], "worldview3");

  // What a set cannot hold leaves the target alone.
  const std::string before = test::FileText(one);
  const std::string refined = folder.Path("refined.xml");
  ASSERT_EQ(RunKelvane(
                {"refine", rpb, "-p", SamplePath("worldview3_control.txt"), "--kind", "shift", "-o", refined})
                .status,
            0);
  ExpectProblem({"convert", refined, one, "--dataset"}, "no place for a refinement");
  ExpectProblem({"convert", rpb, folder.Path("o.rpb"), "--dataset"}, "ends in .xml");
  EXPECT_EQ(test::FileText(one), before);
  ExpectProblem({"info", folder.Write("e.xml", "<RPCDataset version=\"1\"/>")}, "a dataset without a model");
}

}  // namespace
