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
json InfoWithout(const std::string& model, const std::vector<const char*>& without = {"format"}) {
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
  const json expected = InfoWithout(SamplePath("worldview3.RPB"), {"format", "errBias", "errRand"});
  EXPECT_EQ(InfoWithout(dimap), expected);
  EXPECT_EQ(InfoWithout(folder.Path("scene.tif"), {"format", "errBias"}), expected);
  const std::string declared = "<!DOCTYPE a [ <!ENTITY b \"c>'\"> <!-- ]>\nLINE_OFF: ' --> ]>\n<!--" +
                               std::string(std::size_t{1} << 17, '\n') + "LINE_OFF: 1\n--><Dimap_";
  EXPECT_EQ(InfoWithout(folder.Write("d.xml", Replaced(test::DimapText(data), "<Dimap_", declared))),
            expected);
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
  folder.Write("in/readme.txt", "nothing\n");
  const Outcome listed = RunKelvane({"info", folder.Path("in"), "--json"});
  EXPECT_EQ(listed.status, 1);
  const json in_folder = json::parse(listed.out);
  EXPECT_EQ(in_folder["unread"], 1);
  EXPECT_EQ(in_folder["models"].size(), 2U);
  EXPECT_EQ(in_folder["models"][0]["file"], "p_RPC.TXT");
  EXPECT_EQ(InfoWithout(set + ":w", {"format", "name", "file"}), InfoWithout(rpb));
  EXPECT_EQ(InfoWithout(set + ":w", {})["file"], "w.RPB");
  ExpectProblem({"project", set}, "holds several models: \"p\", \"w\"; say which as " + set + ":NAME");
  const json both = InfoWithout(set, {});
  EXPECT_EQ(both["models"][1], InfoWithout(set + ":w", {}));
  EXPECT_TRUE(both["format"] == "dataset" && both["models"].size() == 2);
  EXPECT_TRUE(test::Contains(RunKelvane({"info", set}).out, "41.8791 12.5798"));
  ExpectProblem({"info", set + ":x"}, "no such model; there are: \"p\", \"w\"");
  ExpectProblem({"info", rpb + ":w"}, "is no dataset of models");
  // Colons in either part; and a dataset that lies beside an image.
  const std::string colons = Replaced(test::FileText(set), "name=\"w\"", "name=\"a:b\"");
  folder.Write("scene:1.xml", colons);
  folder.Write("scene", "no model\n");
  EXPECT_EQ(InfoWithout(folder.Path("scene:1.xml:a:b"), {"format", "name", "file"}), InfoWithout(rpb));
  EXPECT_EQ(InfoWithout(folder.Path("scene:1.tif:a:b"), {"format", "name", "file"}), InfoWithout(rpb));

  // All of it, to other places; one of it; and a plain model as a set of one.
  ASSERT_EQ(RunKelvane({"convert", set, folder.Path("copy.xml"), "--dataset"}).status, 0);
  EXPECT_EQ(test::FileText(folder.Path("copy.xml")), test::FileText(set));
  folder.Write("out/p.RPB", "old");
  const Outcome each = RunKelvane({"convert", set, folder.Path("out"), "--each", "rpb", "--json"});
  ASSERT_EQ(each.status, 0) << each.err;
  EXPECT_EQ(test::FileText(folder.Path("out/w.RPB")), test::FileText(rpb));
  EXPECT_TRUE(test::Contains(each.err, "p.RPB: the form rpb asks for errBias"));
  const Outcome alone = RunKelvane({"convert", set + ":p", folder.Path("p.rpb"), "--json"});
  for (const char* key : {"rounded", "maxDifference"}) {
    EXPECT_EQ(json::parse(each.out)["files"][0][key], json::parse(alone.out)[key]);
  }
  EXPECT_EQ(test::FileText(folder.Path("out/p.RPB")), test::FileText(folder.Path("p.rpb")));
  test::RunOptions full_disk;
  full_disk.largest_file = 1000;
  EXPECT_EQ(RunKelvane({"convert", set, folder.Path("out"), "--each", "text"}, full_disk).status, 2);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("out")), {}), 2);
  ExpectProblem({"convert", set, folder.Path("none"), "--each", "rpb"}, "none: no such folder");
  ExpectProblem({"convert", set, rpb, "--each", "rpb"}, "is no folder");
  ASSERT_EQ(RunKelvane({"convert", set + ":w", folder.Path("w.xml")}).status, 0);
  EXPECT_EQ(InfoWithout(folder.Path("w.xml")), InfoWithout(rpb));
  const std::string one = folder.Path("one.xml");
  ASSERT_EQ(RunKelvane({"convert", rpb, one, "--dataset"}).status, 0);
  EXPECT_EQ(InfoWithout(one, {})["name"], "worldview3");

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
  const std::string empty = folder.Write("e.xml", "<RPCDataset version=\"1\"/>");
  ExpectProblem({"info", empty}, "a dataset without a model");
  ExpectProblem({"convert", empty, one, "--dataset"}, "a dataset without a model");
}

}  // namespace
