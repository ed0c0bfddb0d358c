/// Types, records and transforms of the second generation.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelvane/refinement/affine_correction_xml.h"
#include "kelvane/refinement/refinement_transform.h"
#include "tests/refinement/refinement_testing.h"

namespace {

using namespace SatCommonUtilsNext;
using test::Read;
using test::Xml;

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
  const struct {
    int value;
    bool is_kind;
    std::string name;
    std::vector<std::string> parameters;
  } cases[] = {
      {-2, false, "Unknown", {}},
      {-1, false, "Undefined", {}},
      {0, true, "Auto", {}},
      {3, true, "None", {}},
      {1, true, "Shift", {"dL", "dS"}},
      {7, false, "Unknown", {}},
      {2, true, "Affine", {"A1", "A2", "A3", "B1", "B2", "B3"}},
  };
  for (const auto& c : cases) {
    const TRPCRefinementType type = Type(c.value);
    EXPECT_EQ(type.GetDebugName(), c.name);
    EXPECT_EQ(type.GetUserName(), c.name);
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(type.GetParametersNames(&names), type.GetParametersCount());
    EXPECT_EQ(names, c.parameters);

    TRPCRefinementType set = Type(2);
    EXPECT_EQ(set.Setup(c.value), c.is_kind) << c.value;
    EXPECT_EQ(set.Value, c.is_kind ? c.value : -1) << c.value;
    // What no host should have written reads as no kind.
    const std::string xml = Xml(type);
    EXPECT_EQ(xml.empty(), c.value == -1);
    set = Type(2);
    EXPECT_EQ(!xml.empty() && Read(xml, &set), c.is_kind) << c.value;
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
  const std::string xml = Xml(Skewed);
  EXPECT_EQ(test::Writes(Skewed), 8);
  const struct {
    std::string xml;
    bool usable;  ///< as an affine record
    bool made;    ///< by the factory
    int type;     ///< of the affine record
    double bias;
  } cases[] = {
      {xml, true, true, 2, 5.0},
      {WithoutKind(xml), true, false, 2, 5.0},
      {OfKind(xml, "7"), true, false, 2, 5.0},
      {OfKind(xml, "two"), true, false, 2, 5.0},
      {OfKind(xml, "1"), false, false, 1, test::Max},
      {test::Replaced(xml, "SampleDrift", "Other"), false, false, 2, 5.0},
      {test::Replaced(xml, "\"LineBias\">5", "\"LineBias\">five"), false, false, 2, test::Max},
  };
  for (const auto& c : cases) {
    TRPCRefinementDataAffine data;
    EXPECT_EQ(Read(c.xml, &data), c.usable) << c.xml;
    EXPECT_EQ(Xml(data) == xml, c.usable) << c.xml;
    EXPECT_EQ(data.GetType().Value, c.type) << c.xml;
    EXPECT_EQ(data.LineBias, c.bias) << c.xml;
    TKaXIniStreamReader reader = test::XmlReader(c.xml);
    const var_a<TRPCRefinementData*> made = CreateRefinementDataFromXMLN(&reader);
    EXPECT_EQ(made && Xml(*made) == xml, c.made) << c.xml;
    EXPECT_EQ(static_cast<bool>(CreateRefinementDataCopyN(data)), c.type == 2);
  }
  EXPECT_FALSE(TRPCRefinementDataAffine().InitializeFromXML(nullptr));
  Stranger stranger;
  EXPECT_FALSE(Read(xml, &stranger));
  EXPECT_TRUE(Read(OfKind(xml, "1"), &stranger));
  EXPECT_FALSE(Read(OfKind(xml, "4"), &stranger));
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

  const std::string xml = Xml(built);
  EXPECT_EQ(test::Writes(built), 22);
  TRPCRefinementAffine read;
  ASSERT_TRUE(Read(xml, &read) && read);
  EXPECT_FALSE(read.GetRefinementData(nullptr));
  EXPECT_EQ(Xml(*read.GetRefinementData()), Xml(Skewed));
  // A copy has the coefficients of what was read, and nothing of what was built.
  const TRPCRefinementAffine copy(read);
  EXPECT_FALSE(copy);
  EXPECT_EQ(Xml(copy), xml);
  EXPECT_EQ(Xml(TRPCRefinementAffine(built)), Xml(TRPCRefinementAffine()));
}

TEST(Refinement, ReadsByItsKindAndDerivesAMissingInverse) {
  TRPCRefinementAffine odd(Skewed);
  odd.SetRefinedToRawCoefs(Flat);
  const std::string xml = Xml(odd);
  const std::string derived = Xml(TRPCRefinementAffine(Skewed));
  const std::string unset = Xml(TRPCRefinementAffine());
  TRPCRefinementAffine flat;
  flat.SetRawToRefinedCoefs(Flat);
  flat.SetRefinedToRawCoefs(Skewed);
  const struct {
    std::string xml;
    std::string read;
    bool made;  ///< by the factory
  } cases[] = {
      {xml, xml, true},
      {WithoutKind(xml), xml, false},
      {OfKind(xml, "0"), unset, false},
      {test::Replaced(xml, "RefinedToRaw", "Other"), derived, true},
      {test::Replaced(xml, "\"LineBias\">1<", "\"LineBias\">one<"), derived, true},
      {test::Replaced(xml, "RawToRefined", "Other"), unset, false},
      {test::Replaced(xml, "LineTilt", "Other"), unset, false},
      {Xml(flat), Xml(flat), true},
      {test::Replaced(Xml(flat), "RefinedToRaw", "Other"), unset, false},
  };
  for (const auto& c : cases) {
    TRPCRefinementAffine read(Skewed);
    EXPECT_EQ(Read(c.xml, &read), c.read != unset) << c.xml;
    EXPECT_EQ(static_cast<bool>(read), c.read != unset);
    EXPECT_EQ(Xml(read), c.read);
    TKaXIniStreamReader reader = test::XmlReader(c.xml);
    EXPECT_EQ(static_cast<bool>(CreateRefinementFromXMLN(&reader)), c.made) << c.xml;
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
}

}  // namespace
