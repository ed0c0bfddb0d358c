/// Types, records and transforms of the second generation.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "kelvane/refinement/affine_correction_xml.h"
#include "kelvane/refinement/refinement_transform.h"
#include "tests/refinement/refinement_testing.h"

namespace {

using namespace SatCommonUtilsNext;
using test::ReadXml;
using test::XmlOf;

const TRPCRefinementDataAffine Skewed(test::Skewed);
const TRPCRefinementDataAffine Flat(test::Flat);

/// The document with another kind in place of the first.
std::string OfKind(const std::string& xml, const std::string& kind) {
  return test::Replaced(xml, "\"RPCRefinementType\">2", "\"RPCRefinementType\">" + kind);
}
std::string WithoutKind(const std::string& xml) {
  return test::Replaced(xml, "\"RPCRefinementType\"", "\"Other\"");
}

TRPCRefinementType Type(int value) {
  return TRPCRefinementType(static_cast<TRPCRefinementType::TType>(value));
}

/// A kind of record that the library does not know, though it says that it is affine.
class Stranger : public TRPCRefinementData {
 public:
  Stranger() : TRPCRefinementData(TRPCRefinementType::Affine) {}
  void InitializeUnity() override {}
  explicit operator bool() const override { return type_.Value == TRPCRefinementType::Shift; }
  bool IsUnity() const override { return false; }
  std::size_t GetParametersValues(std::vector<double>* values) const override {
    *values = {1.5, -2.0};
    return 2;
  }
};

TEST(RefinementType, HasNamesAndParameters) {
  const std::tuple<int, bool, std::string, std::vector<std::string>> cases[] = {
      {-2, false, "Unknown", {}},
      {-1, false, "Undefined", {}},
      {0, true, "Auto", {}},
      {3, true, "None", {}},
      {1, true, "Shift", {"dL", "dS"}},
      {7, false, "Unknown", {}},
      {2, true, "Affine", {"A1", "A2", "A3", "B1", "B2", "B3"}},
  };
  for (const auto& [value, is_kind, name, parameters] : cases) {
    const TRPCRefinementType type = Type(value);
    EXPECT_EQ(type.GetDebugName(), name);
    EXPECT_EQ(type.GetUserName(), name);
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(type.GetParametersNames(&names), type.GetParametersCount());
    EXPECT_EQ(names, parameters);

    TRPCRefinementType set = Type(2);
    EXPECT_EQ(set.Setup(value), is_kind) << value;
    EXPECT_EQ(set.Value, is_kind ? value : -1) << value;
    // What no host should have written reads as no kind.
    const std::string xml = XmlOf(type);
    EXPECT_EQ(xml.empty(), value == -1);
    set = Type(2);
    EXPECT_EQ(!xml.empty() && ReadXml(xml, &set), is_kind) << value;
  }
  EXPECT_FALSE(TRPCRefinementType().InitializeFromXML(nullptr));
  EXPECT_FALSE(Type(2).SaveToXML(nullptr));
}

TEST(RefinementData, IsUsableWhenAllIsSet) {
  for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
    TRPCRefinementDataAffine data;
    EXPECT_TRUE(data && data.IsUnity());
    data.*field.Value = test::Max;
    EXPECT_FALSE(data || data.IsUnity()) << field.Key;
  }
  std::vector<double> values = {9.0};
  EXPECT_EQ(TRPCRefinementDataAffine({1.0, 2.0, 3.0, 4.0, 5.0, 6.0}).GetParametersValues(&values), 6U);
  EXPECT_EQ(values, (std::vector<double>{2.0, 3.0, 1.0, 5.0, 6.0, 4.0}));
}

TEST(RefinementData, ReadsByItsKind) {
  const std::string xml = XmlOf(Skewed);
  // What is read, whether as an affine record it is usable, whether the factory makes it, the record's type
  // and bias.
  const std::tuple<std::string, bool, bool, int, double> cases[] = {
      {xml, true, true, 2, 5.0},
      {WithoutKind(xml), true, false, 2, 5.0},
      {OfKind(xml, "7"), true, false, 2, 5.0},
      {OfKind(xml, "two"), true, false, 2, 5.0},
      {OfKind(xml, "1"), false, false, 1, test::Max},
      {test::Replaced(xml, "SampleDrift", "Other"), false, false, 2, 5.0},
      {test::Replaced(xml, "\"LineBias\">5", "\"LineBias\">five"), false, false, 2, test::Max},
  };
  for (const auto& [text, usable, made, type, bias] : cases) {
    TRPCRefinementDataAffine data;
    EXPECT_EQ(ReadXml(text, &data), usable) << text;
    EXPECT_EQ(XmlOf(data) == xml, usable) << text;
    EXPECT_EQ(data.GetType().Value, type) << text;
    EXPECT_EQ(data.LineBias, bias) << text;
    TKaXIniStreamReader reader = test::XmlReader(text);
    const var_a<TRPCRefinementData*> object = CreateRefinementDataFromXMLN(&reader);
    EXPECT_EQ(object && XmlOf(*object) == xml, made) << text;
    EXPECT_EQ(static_cast<bool>(CreateRefinementDataCopyN(data)), type == 2);
  }
  EXPECT_FALSE(TRPCRefinementDataAffine().InitializeFromXML(nullptr));
  Stranger stranger;
  EXPECT_FALSE(ReadXml(xml, &stranger));
  EXPECT_TRUE(ReadXml(OfKind(xml, "1"), &stranger));
  EXPECT_FALSE(ReadXml(OfKind(xml, "4"), &stranger));
  EXPECT_EQ(stranger.GetType().Value, -1);
}

TEST(RefinementData, PrintsItself) {
  const std::string frame(60, '-');
  const TRPCRefinementDataAffine data({1.0, 2.5, 3.0, 4.0, 5.0, 6.0});
  EXPECT_EQ(
      test::DebugTextOf([&] { data.TRPCRefinementData::DebugOutput(); }),
      frame +
          "\n#RPC refinement type: Affine\n#\nParameters:\n#\tA1 = 2.5\n#\tA2 = 3\n#\tA3 = 1\n#\tB1 = 5\n#" +
          "\tB2 = 6\n#\tB3 = 4\n#" + frame + "\n#");
  EXPECT_EQ(
      test::DebugTextOf([] { Stranger().DebugOutput(); }),
      frame +
          "\n#The refinement data ara INCORRECT!!!\n#RPC refinement type: Affine\n#\nParameters names:\n#" +
          "\tA1\n#\tA2\n#\tA3\n#\tB1\n#\tB2\n#\tB3\n#\nParameters values:\n#\t1.5\n#\t-2\n#" + frame + "\n#");
}

TEST(Refinement, IsUsableOnceItWasRead) {
  const TRPCRefinementAffine built(Skewed);
  TRPCRefinementDataAffine data;
  EXPECT_FALSE(built || built.GetRefinementData() || built.GetRefinementData(&data));
  EXPECT_TRUE(data.IsUnity());
  double at[] = {3.0, 4.0};
  built.RawToRefined(at[0], at[1], &at[0], &at[1]);
  EXPECT_EQ(at[1], 8.0);
  built.RefinedToRaw(at[0], at[1], &at[0], &at[1]);
  EXPECT_DOUBLE_EQ(at[0], 3.0);

  const std::string xml = XmlOf(built);
  TRPCRefinementAffine read;
  ASSERT_TRUE(ReadXml(xml, &read) && read);
  EXPECT_FALSE(read.GetRefinementData(nullptr));
  EXPECT_EQ(XmlOf(*read.GetRefinementData()), XmlOf(Skewed));
  ASSERT_TRUE(read.GetRefinementData(&data));
  EXPECT_EQ(XmlOf(data), XmlOf(Skewed));
  read.GetRefinedToRawCoefs(&data);
  EXPECT_FALSE(data.IsUnity() || read.IsUnity());
  data.InitializeUnity();
  EXPECT_TRUE(data.IsUnity() && Skewed.CreateCopyE()->GetType().Value == TRPCRefinementType::Affine);
  // A copy has the coefficients of what was read, and nothing of what was built.
  const TRPCRefinementAffine copy(read);
  EXPECT_FALSE(copy);
  EXPECT_EQ(XmlOf(copy), xml);
  EXPECT_EQ(XmlOf(TRPCRefinementAffine(built)), XmlOf(TRPCRefinementAffine()));
}

TEST(Refinement, ReadsByItsKindAndDerivesAMissingInverse) {
  TRPCRefinementAffine odd(Skewed);
  odd.SetRefinedToRawCoefs(Flat);
  const std::string xml = XmlOf(odd);
  const std::string derived = XmlOf(TRPCRefinementAffine(Skewed));
  const std::string unset = XmlOf(TRPCRefinementAffine());
  TRPCRefinementAffine flat;
  flat.SetRawToRefinedCoefs(Flat);
  flat.SetRefinedToRawCoefs(Skewed);
  // What is read, what the object then writes, and whether the factory makes it.
  const std::tuple<std::string, std::string, bool> cases[] = {
      {xml, xml, true},
      {WithoutKind(xml), xml, false},
      {OfKind(xml, "0"), unset, false},
      {test::Replaced(xml, "\"LineBias\">1<", "\"LineBias\">one<"), derived, true},
      {XmlOf(flat), XmlOf(flat), true},
      {test::Replaced(XmlOf(flat), "RefinedToRaw", "Other"), unset, false},
  };
  for (const auto& [text, written, made] : cases) {
    TRPCRefinementAffine read(Skewed);
    EXPECT_EQ(ReadXml(text, &read), written != unset) << text;
    EXPECT_EQ(static_cast<bool>(read), written != unset);
    EXPECT_EQ(XmlOf(read), written);
    TKaXIniStreamReader reader = test::XmlReader(text);
    EXPECT_EQ(static_cast<bool>(CreateRefinementFromXMLN(&reader)), made) << text;
  }
  EXPECT_FALSE(TRPCRefinementAffine().InitializeFromXML(nullptr));
}

TEST(Refinement, FactoriesThrowOrReturnNothing) {
  const TRPCRefinementType shift = Type(1);
  const Stranger stranger;
  const std::string thrown[][2] = {
      {test::RuntimeErrorOf([&] { CreateRefinementDataE(shift); }),
       "var_a<TRPCRefinementData*> CreateE(const TRPCRefinementType& src)"},
      {test::RuntimeErrorOf([&] { CreateRefinementDataCopyE(stranger); }),
       "var_a<TRPCRefinementData*> CreateRefinementDataCopyE(const TRPCRefinementData&)"},
      {test::RuntimeErrorOf([] { CreateRefinementDataFromXMLE(nullptr); }),
       "var_a<TRPCRefinementData*> CreateFromXMLE(TKaXIniReader* XML_reader)"},
      {test::RuntimeErrorOf([&] { stranger.CreateCopyE(); }), "TRPCRefinementDataBase::CreateCopyE"},
      {test::RuntimeErrorOf([&] { CreateRefinementE(shift); }),
       "var_a<TRPCRefinementBase*> CreateRefinementE(TRPCRefinementType::TType type)"},
      {test::RuntimeErrorOf([&] { CreateRefinementE(stranger); }),
       "var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementData& src)"},
      {test::RuntimeErrorOf([] { CreateRefinementE(Flat); }),
       "TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine&)"},
      {test::RuntimeErrorOf([] { CreateRefinementFromXMLE(nullptr); }),
       "var_a<TRPCRefinementBase*> CreateRefinementFromXMLE(TKaXIniReader* from_xml)"},
  };
  for (const auto& [text, expected] : thrown) EXPECT_EQ(text, expected);
  EXPECT_FALSE(CreateRefinementDataN(shift) || CreateRefinementDataCopyN(stranger) || stranger.CreateCopyN());
  EXPECT_FALSE(CreateRefinementN(shift) || CreateRefinementN(stranger) || CreateRefinementN(Flat));
  EXPECT_FALSE(CreateRefinementDataFromXMLN(nullptr) || CreateRefinementFromXMLN(nullptr));
  EXPECT_TRUE(CreateRefinementDataE(TRPCRefinementType::Affine)->IsUnity());
  EXPECT_FALSE(*CreateRefinementE(Type(2)));
  EXPECT_TRUE(CreateRefinementN(Skewed));
  EXPECT_FALSE(*CreateRefinementCopyE(TRPCRefinementAffine()));
  EXPECT_TRUE(CreateRefinementCopyN(TRPCRefinementAffine()));
  const std::string xml = XmlOf(TRPCRefinementAffine(Skewed));
  TKaXIniStreamReader reader = test::XmlReader(xml);
  EXPECT_EQ(XmlOf(*CreateRefinementFromXMLE(&reader)), xml);
  TKaXIniStreamReader data_reader = test::XmlReader(XmlOf(Skewed));
  EXPECT_EQ(XmlOf(*CreateRefinementDataFromXMLE(&data_reader)), XmlOf(Skewed));
}

}  // namespace
