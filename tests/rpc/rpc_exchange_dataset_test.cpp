#include "kelvane/rpc/rpc_exchange_dataset.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <set>
#include <string>

#include "tests/support/files.h"
#include "tests/support/vendor_xml.h"

namespace {

using namespace SatCommonUtils;
using test::Replaced;
using Names = std::vector<std::string>;

TRPCExchangeModel Model(const std::string& name, const TRPCData& data = test::NumberedRecord()) {
  return {name, "", data, {}};
}

TCipherRPCImpExpDataset SetOf(const Names& names) {
  TCipherRPCImpExpDataset set;
  for (const std::string& name : names) EXPECT_TRUE(set.Add(Model(name), nullptr)) << name;
  return set;
}

Names NamesOf(const TCipherRPCImpExpDataset& set) {
  Names names;
  for (const TRPCExchangeModel& model : set.Models()) names.push_back(model.Name);
  return names;
}

std::string DocumentOf(const TCipherRPCImpExpDataset& set) {
  TKaStringStream stream;
  EXPECT_TRUE(set.SaveToDocument(&stream, nullptr));
  return stream.Text();
}

bool ReadDocument(const std::string& text, TCipherRPCImpExpDataset* set, std::string* problem) {
  TKaStringStream stream(text);
  return set->InitializeFromDocument(&stream, problem);
}

TEST(RPCDataset, ComesBackBitForBit) {
  TRPCExchangeModel odd = Model("a \"b\" <&> \xC3\xA9\xC3\xA8/..");
  const double values[] = {-0.0, 0.1, 5e-324, -1.7976931348623155e308, HUGE_VAL, 1e23, 1234567.891};
  std::copy(std::begin(values), std::end(values), odd.Data.SampleNum);
  odd.File = " folder/scene 1.tif";
  odd.Header.SatId = "";
  odd.Header.BandId = " ";
  odd.Header.ErrBias = 0.1;
  TCipherRPCImpExpDataset set = SetOf({"plain"});
  ASSERT_TRUE(set.Add(odd, nullptr));
  TCipherRPCImpExpDataset back = SetOf({"gone"});
  std::string problem;
  ASSERT_TRUE(ReadDocument(DocumentOf(set), &back, &problem)) << problem;
  EXPECT_EQ(NamesOf(back), (Names{"plain", odd.Name}));
  for (const TRPCExchangeModel& model : set.Models()) {
    const TRPCExchangeModel* const read = back.Find(model.Name);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(std::memcmp(&read->Data, &model.Data, sizeof model.Data), 0);
    EXPECT_EQ(read->File, model.File);
    EXPECT_EQ(read->Header.SatId, model.Header.SatId);
    EXPECT_EQ(read->Header.BandId, model.Header.BandId);
    EXPECT_EQ(read->Header.ErrBias, model.Header.ErrBias);
    EXPECT_FALSE(read->Header.ErrRand);
  }
  EXPECT_TRUE(back.Remove("plain"));
  EXPECT_FALSE(back.Remove("plain"));
  back.Clear();
  EXPECT_TRUE(ReadDocument(DocumentOf(back), &set, nullptr));
  EXPECT_FALSE(set);
}

TEST(RPCDataset, RefusesWhatItCouldNotGiveBack) {
  TCipherRPCImpExpDataset set = SetOf({"a"});
  TRPCExchangeModel unset = Model("b");
  unset.Data.LineNum[3] = TRPCData::Unset;
  TRPCExchangeModel zero = Model("b");
  zero.Header.SatId = std::string("a\0b", 3);
  for (const auto& [model, why] : {std::pair{Model("a"), "named \"a\" already"},
                                   {Model(""), "empty"},
                                   {Model("a\nb"), "control characters"},
                                   {unset, "unset"},
                                   {zero, "zero byte"}}) {
    std::string problem;
    EXPECT_FALSE(set.Add(model, &problem));
    EXPECT_NE(problem.find(why), std::string::npos) << problem;
  }
  EXPECT_EQ(NamesOf(set), Names{"a"});
}

TEST(RPCDataset, MalformedDocumentsChangeNothing) {
  const std::string text = DocumentOf(SetOf({"one", "two"}));
  EXPECT_TRUE(ReadDocument(Replaced(text, "<File", "<Unknown/><!-- ? --><File"),
                           std::make_unique<TCipherRPCImpExpDataset>().get(), nullptr));
  const struct {
    std::string text;
    const char* why;
  } cases[] = {
      {"", ""},
      {text.substr(0, text.size() - 1), ""},
      {"<configuration/>", "is no RPCDataset"},
      {Replaced(text, "version=\"1\">", "version=\"2\">"), "version is not 1"},
      {Replaced(text, "\"two\"", "\"one\""), "model 2: there is a model named \"one\" already"},
      {Replaced(text, "name=\"two\"", "title=\"two\""), "model 2: its name is empty"},
      {Replaced(text, "<HeightScale>", "<HeightScale>1 "), "model 1: HeightScale is no number"},
      {Replaced(text, "<LineNum>", "<LineNum>1 "), "model 1: LineNum does not hold 20 numbers"},
      {Replaced(text, "<LineNum>", "<ErrRand/><LineNum>"), "model 1: ErrRand is no number"},
      {Replaced(text, "<LineScale>", "<LineOffset/><LineScale>"), "LineOffset stands more than once"},
      {Replaced(Replaced(text, "<LineScale>", "<X>"), "</LineScale>", "</X>"), "no LineScale in Model"}};
  for (const auto& c : cases) {
    TCipherRPCImpExpDataset set = SetOf({"kept"});
    std::string problem;
    EXPECT_FALSE(ReadDocument(c.text, &set, &problem)) << c.why;
    EXPECT_NE(problem.find(c.why), std::string::npos) << problem;
    EXPECT_EQ(NamesOf(set), Names{"kept"});
  }
}

TEST(RPCDataset, TakesTheModelsOfAFolder) {
  const test::ScratchFolder folder;
  const std::string rpb = test::FileText(test::SamplePath("worldview3.RPB"));
  TKaStringStream text;
  ASSERT_TRUE(test::IdentityRecord().SaveToText(&text, "", ""));
  folder.Write("c_rpc.TXT", text.Text() + "ERR_BIAS: 2.5 meters\r\n");
  folder.Write("b.rPb", rpb);
  folder.Write("b_RPC.txt", text.Text());
  folder.Write("a.rpb", rpb.substr(0, 300));
  folder.Write("readme.md", "");
  std::filesystem::create_directory(folder.Path("d.RPB"));
  TCipherRPCImpExpDataset set;
  std::vector<TRPCFileProblem> problems;
  ASSERT_TRUE(set.ImportFolder(folder.Path(""), &problems, nullptr));
  EXPECT_EQ(NamesOf(set), (Names{"b", "c"}));
  EXPECT_EQ(set.Find("b")->File, "b.rPb");
  EXPECT_EQ(set.Find("b")->Header.SatId, "WV03");
  EXPECT_EQ(set.Find("c")->Header.ErrBias, 2.5);
  ASSERT_EQ(problems.size(), 2U);
  EXPECT_EQ(problems[0].File, "a.rpb");
  EXPECT_NE(problems[0].Problem.find("line "), std::string::npos) << problems[0].Problem;
  EXPECT_EQ(problems[1].File, "b_RPC.txt");
  EXPECT_NE(problems[1].Problem.find("named \"b\" already"), std::string::npos);

  std::string problem;
  EXPECT_FALSE(set.ImportFolder(folder.Path("none"), nullptr, &problem));
  EXPECT_NE(problem.find("No such file"), std::string::npos) << problem;
  EXPECT_TRUE(
      set.ImportVendorXmlFile(folder.Write("RPC_x.XML", test::IsdText(test::IdentityRecord())), &problem));
  EXPECT_EQ(set.Find("RPC_x")->Header.SatId, "WV03");
  EXPECT_FALSE(set.ImportVendorXmlFile(folder.Path("none.xml"), &problem));
}

std::set<std::string> Listing(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

TEST(RPCDataset, GoesIntoAFolderWholeOrNotAtAll) {
  const test::ScratchFolder folder;
  const std::string in = folder.Path("in");
  std::filesystem::create_directory(in);
  TCipherRPCImpExpDataset set = SetOf({"../../x", "..", "a:b", "c d"});
  ASSERT_TRUE(set.ExportToFolder(in, TE_RPCFileForm::RPB, nullptr));
  ASSERT_TRUE(set.ExportToFolder(in, TE_RPCFileForm::Text, nullptr));
  EXPECT_EQ(Listing(in),
            (std::set<std::string>{"_._.._x.RPB", "_..RPB", "a_b.RPB", "c d.RPB", "_._.._x_RPC.TXT",
                                   "_._RPC.TXT", "a_b_RPC.TXT", "c d_RPC.TXT"}));
  EXPECT_EQ(Listing(folder.Path("")), std::set<std::string>{"in"});
  TCipherRPCImpExpDataset back;
  ASSERT_TRUE(back.ImportFolder(in, nullptr, nullptr));
  ASSERT_EQ(back.Models().size(), 4U);
  EXPECT_NEAR(back.Find("a_b")->Data.HeightScale, test::NumberedRecord().HeightScale, 0.006);

  TRPCExchangeModel flat = Model("flat");
  flat.Data.HeightScale = 1e-5;
  TRPCExchangeModel quoted = Model("quoted");
  quoted.Header.BandId = "a\"b";
  const std::string out = folder.Path("out");
  std::filesystem::create_directory(out);
  folder.Write("out/taken.rpb", "precious");
  folder.Write("out/taken.RPB", "precious");
  folder.Write("out/busy.RPB.part", "precious");
  const std::set<std::string> before = Listing(out);
  for (const auto& [bad, why] : {std::pair{flat, "model \"flat\": HeightScale becomes 0"},
                                 {quoted, "model \"quoted\": "},
                                 {Model("taken"), "taken.RPB stands in the folder already"},
                                 {Model("busy"), "busy.RPB.part stands"},
                                 {Model("GOOD"), "two models would be GOOD.RPB"},
                                 {Model(std::string(300, 'n')), "File name too long"}}) {
    TCipherRPCImpExpDataset one = SetOf({"good"});
    ASSERT_TRUE(one.Add(bad, nullptr));
    std::string problem;
    EXPECT_FALSE(one.ExportToFolder(out, TE_RPCFileForm::RPB, &problem)) << why;
    EXPECT_NE(problem.find(why), std::string::npos) << problem;
    EXPECT_EQ(Listing(out), before);
  }
  EXPECT_EQ(test::FileText(folder.Path("out/taken.RPB")), "precious");
  EXPECT_FALSE(set.ExportToFolder(folder.Path("none"), TE_RPCFileForm::Text, nullptr));
}

}  // namespace
