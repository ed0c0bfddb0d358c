#include "kelvane/rpc/rpc_exchange_dataset.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <tuple>

#include "tests/support/files.h"
#include "tests/support/vendor_xml.h"

namespace {

using namespace SatCommonUtils;
using test::Replaced;
using Names = std::vector<std::string>;
using Files = std::set<std::string>;

TRPCExchangeModel Model(const std::string& name) { return {name, "", test::NumberedRecord(), {}}; }

TCipherRPCImpExpDataset SetOf(const std::vector<TRPCExchangeModel>& models) {
  TCipherRPCImpExpDataset set;
  for (const TRPCExchangeModel& model : models) EXPECT_TRUE(set.Add(model, nullptr)) << model.Name;
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
  odd.Header = {false, "", " ", 0.1, std::nullopt};
  TCipherRPCImpExpDataset set = SetOf({Model("plain"), odd});
  TCipherRPCImpExpDataset back = SetOf({Model("gone")});
  std::string problem;
  ASSERT_TRUE(ReadDocument(DocumentOf(set), &back, &problem)) << problem;
  ASSERT_EQ(NamesOf(back), (Names{"plain", odd.Name}));
  const TRPCExchangeModel& read = *back.Find(odd.Name);
  EXPECT_EQ(std::memcmp(&read.Data, &odd.Data, sizeof odd.Data), 0);
  const auto told = [](const TRPCExchangeModel& m) {
    return std::tie(m.File, m.Header.SatId, m.Header.BandId, m.Header.ErrBias, m.Header.ErrRand);
  };
  EXPECT_TRUE(told(read) == told(odd));
  EXPECT_TRUE(back.Remove("plain") && !back.Remove("plain") && back.Find(odd.Name)->Name == odd.Name);
  EXPECT_TRUE(back.Remove(odd.Name));
  EXPECT_TRUE(ReadDocument(DocumentOf(back), &set, nullptr) && !set);
}

TEST(RPCDataset, RefusesWhatItCouldNotGiveBack) {
  TCipherRPCImpExpDataset set = SetOf({Model("a")});
  TRPCExchangeModel unset = Model("b");
  unset.Data.LineNum[3] = TRPCData::Unset;
  TRPCExchangeModel zero = Model("b");
  zero.Header.SatId = std::string("a\0b", 3);
  const std::pair<TRPCExchangeModel, const char*> bad[] = {{Model("a"), "named \"a\" already"},
                                                           {Model(""), "empty"},
                                                           {Model("a\nb"), "control characters"},
                                                           {unset, "unset"},
                                                           {zero, "zero byte"}};
  std::string problem;
  for (const auto& [model, why] : bad) {
    EXPECT_FALSE(set.Add(model, &problem));
    EXPECT_NE(problem.find(why), std::string::npos) << problem;
  }
  TRPCExchangeModel bell = Model("bell");
  bell.File = "a\ab";
  for (const TRPCExchangeModel& model : {bell, Model("\xE9t\xE9"), Model("\xC0\xAF"), Model("\xED\xA0\x80"),
                                         Model("\xF4\x90\x80\x80"), Model("\xE2\x82q")}) {
    TKaStringStream stream;
    EXPECT_FALSE(SetOf({Model("good"), model}).SaveToDocument(&stream, &problem));
    EXPECT_TRUE(test::Contains(problem, "is no UTF-8 text without control characters") &&
                stream.Text().empty());
  }
  const std::string text = DocumentOf(SetOf({Model("one"), Model("two")}));
  const std::pair<std::string, const char*> malformed[] = {
      {text.substr(0, text.size() - 1), "line "},
      {"<configuration/>", "is no RPCDataset"},
      {Replaced(text, "version=\"1\">", "version=\"2\">"), "version is not 1"},
      {Replaced(text, "\"two\"", "\"one\""), "model 2: there is a model named \"one\" already"},
      {Replaced(text, "name=\"two\"", "title=\"two\""), "model 2: its name is empty"},
      {Replaced(text, "<HeightScale>", "<HeightScale>1 "), "model 1: HeightScale is no number"},
      {Replaced(text, "<LineNum>", "<LineNum>1 "), "model 1: LineNum does not hold 20 numbers"},
      {Replaced(text, "<LineNum>", "<ErrRand/><LineNum>"), "model 1: ErrRand is no number"},
      {Replaced(text, "<LineScale>", "<LineOffset/><LineScale>"), "LineOffset stands more than once"}};
  for (const auto& [document, why] : malformed) {
    EXPECT_FALSE(ReadDocument(document, &set, &problem)) << why;
    EXPECT_NE(problem.find(why), std::string::npos) << problem;
  }
  EXPECT_EQ(NamesOf(set), Names{"a"});
  EXPECT_TRUE(ReadDocument(Replaced(text, "<File", "<Unknown/><!-- ? --><File"), &set, nullptr));
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
  folder.Write("d_RPC.RPB", rpb);
  folder.Write("e.txt", Replaced(text.Text(), "LAT_OFF: ", "LAT_OFF: 1.5D-03 "));
  std::filesystem::create_directory(folder.Path("d.RPB"));
  TCipherRPCImpExpDataset set;
  std::vector<TRPCFileProblem> problems;
  ASSERT_TRUE(set.ImportFolder(folder.Path(""), &problems, nullptr));
  EXPECT_EQ(NamesOf(set), (Names{"b", "c", "d_RPC"}));
  EXPECT_EQ(set.Find("b")->File, "b.rPb");
  EXPECT_EQ(set.Find("b")->Header.SatId, "WV03");
  EXPECT_EQ(set.Find("c")->Header.ErrBias, 2.5);
  ASSERT_EQ(problems.size(), 3U);
  EXPECT_EQ(problems[0].File + problems[1].File + problems[2].File, "a.rpbb_RPC.txte.txt");
  EXPECT_NE(problems[1].Problem.find("named \"b\" already"), std::string::npos);
  EXPECT_EQ(problems[2].Problem, "LAT_OFF: \"1.5D-03\" is no number");

  EXPECT_FALSE(set.ImportFolder(folder.Path("none"), nullptr, nullptr));
  const std::string isd = folder.Write("RPC_x.XML", test::IsdText(test::IdentityRecord()));
  EXPECT_TRUE(set.ImportVendorXmlFile(isd, nullptr) && set.Find("RPC_x") != nullptr);
  EXPECT_FALSE(set.ImportVendorXmlFile(folder.Path("none.xml"), nullptr));
  std::string problem;
  const std::string far = folder.Path(std::string(5000, 'n'));
  EXPECT_FALSE(set.ExportToFolder(far, TE_RPCFileForm::RPB, TE_FilePlace::Any, &problem));
  EXPECT_NE(problem.find(std::strerror(ENAMETOOLONG)), std::string::npos) << problem;
  set.Clear();
  EXPECT_FALSE(set || set.Find("b") != nullptr);
}

Files Listing(const std::string& folder) {
  Files names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

TEST(RPCDataset, GoesIntoAFolderWholeOrNotAtAll) {
  const test::ScratchFolder folder;
  const std::string in = folder.Path("in");
  std::filesystem::create_directory(in);
  const TCipherRPCImpExpDataset set = SetOf({Model("../../x"), Model(".."), Model("a:b"), Model("a:b_rpc")});
  const auto place = TE_FilePlace::Free;
  ASSERT_TRUE(set.ExportToFolder(in, TE_RPCFileForm::RPB, place, nullptr));
  ASSERT_TRUE(set.ExportToFolder(in, TE_RPCFileForm::Text, place, nullptr));
  EXPECT_EQ(Listing(in), (Files{"_._.._x.RPB", "_..RPB", "a_b.RPB", "a_b_rpc.RPB", "_._.._x_RPC.TXT",
                                "_._RPC.TXT", "a_b_RPC.TXT", "a_b_rpc_RPC.TXT"}));
  TCipherRPCImpExpDataset back;
  std::vector<TRPCFileProblem> problems;
  ASSERT_TRUE(back.ImportFolder(in, &problems, nullptr));
  EXPECT_EQ(problems.size(), 4U) << "the same models in the other form";
  EXPECT_TRUE(back.Find("a_b_rpc") != nullptr);
  EXPECT_NEAR(back.Find("a_b")->Data.HeightScale, test::NumberedRecord().HeightScale, 0.006);

  TRPCExchangeModel flat = Model("flat");
  flat.Data.HeightScale = 1e-5;
  TRPCExchangeModel quoted = Model("quoted");
  quoted.Header.BandId = "a\"b";
  folder.Write("taken.RPB", "precious");
  const std::pair<TRPCExchangeModel, std::string> bad[] = {
      {flat, "model \"flat\": HeightScale becomes 0"},
      {quoted, "model \"quoted\": "},
      {Model("taken"), std::strerror(EEXIST)},
      {Model("GOOD"), "two models would be GOOD.RPB"},
      {Model(std::string(300, 'n')), std::strerror(ENAMETOOLONG)}};
  for (const auto& [model, why] : bad) {
    std::string problem;
    EXPECT_FALSE(
        SetOf({Model("good"), model}).ExportToFolder(folder.Path(""), TE_RPCFileForm::RPB, place, &problem));
    EXPECT_NE(problem.find(why), std::string::npos) << problem;
  }
  EXPECT_EQ(Listing(folder.Path("")), (Files{"in", "taken.RPB"}));
  // What a process that was stopped left behind is in nobody's way.
  folder.Write(".kelvane-0", "");
  EXPECT_TRUE(SetOf({Model("taken")})
                  .ExportToFolder(folder.Path(""), TE_RPCFileForm::RPB, TE_FilePlace::Any, nullptr));
  EXPECT_NE(test::FileText(folder.Path("taken.RPB")), "precious");
  EXPECT_FALSE(set.ExportToFolder(folder.Path("taken.RPB"), TE_RPCFileForm::RPB, place, nullptr));
}

}  // namespace
