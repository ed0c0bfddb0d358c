/// Types, records and transforms of the second generation.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelvane/refinement/affine_correction_xml.h"
#include "kelvane/refinement/refinement_transform.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtilsNext;
using SatCommonUtils::TAffineCorrection;

constexpr double Max = 1.7976931348623157e308;
constexpr TAffineCorrection Skewed = {5.0, 1.0 + 1e-7, -1.0 / 3.0, -0.0, 5e-324, 2.0};
constexpr TAffineCorrection Flat = {1.0, 2.0, 1.0, 1.0, 4.0, 2.0};

template <class Object>
std::string Xml(const Object& object) {
  return test::SavedXml([&](TKaXIniWriter* writer) { return object.SaveToXML(writer); });
}

template <class Object>
bool Read(const std::string& xml, Object* object) {
  TKaXIniStreamReader reader = test::XmlReader(xml);
  return object->InitializeFromXML(&reader);
}

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
      {4, false, "Unknown", {}},
      {7, false, "Unknown", {}},
      {2, true, "Affine", {"A1", "A2", "A3", "B1", "B2", "B3"}},
  };
  for (const auto& c : cases) {
    const TRPCRefinementType type = Type(c.value);
    EXPECT_EQ(type.GetDebugName(), c.name);
    EXPECT_EQ(type.GetUserName(), c.name);
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(type.GetParametersNames(&names), c.parameters.size());
    EXPECT_EQ(names, c.parameters);
    EXPECT_EQ(type.GetParametersCount(), c.parameters.size());

    TRPCRefinementType set = Type(2);
    EXPECT_EQ(set.Setup(c.value), c.is_kind) << c.value;
    EXPECT_EQ(set.Value, c.is_kind ? c.value : -1) << c.value;
    // What no host should have written reads as no kind.
    const std::string xml = Xml(type);
    EXPECT_EQ(xml.empty(), c.value == -1);
    set = Type(2);
    EXPECT_EQ(!xml.empty() && Read(xml, &set), c.is_kind) << c.value;
    if (c.is_kind) {
      EXPECT_EQ(Xml(set), xml);
    }
  }
  TRPCRefinementType type;
  EXPECT_FALSE(type.InitializeFromXML(nullptr));
  EXPECT_FALSE(Type(2).SaveToXML(nullptr));
}

TEST(RefinementData, IsUsableWhenItIsAffineAndSet) {
  TRPCRefinementDataAffine data;
  EXPECT_TRUE(data && data.IsUnity());
  data.LineBias = 1e-300;
  EXPECT_TRUE(data && !data.IsUnity());
  for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
    data.InitializeUnity();
    EXPECT_TRUE(data && data.IsUnity());
    data.*field.Value = Max;
    EXPECT_FALSE(data) << field.Key;
  }
  std::vector<double> values = {9.0};
  EXPECT_EQ(data.GetParametersValues(&values), 0U);
  EXPECT_TRUE(values.empty());
  data = TRPCRefinementDataAffine({1.0, 2.0, 3.0, 4.0, 5.0, 6.0});
  EXPECT_EQ(data.GetParametersValues(&values), 6U);
  EXPECT_EQ(values, (std::vector<double>{2.0, 3.0, 1.0, 5.0, 6.0, 4.0}));
}

TEST(RefinementData, ReadsByItsKind) {
  const std::string xml = Xml(TRPCRefinementDataAffine(Skewed));
  EXPECT_EQ(test::ReportedWrites(
                [](TKaXIniWriter* writer) { return TRPCRefinementDataAffine(Skewed).SaveToXML(writer); }),
            8);
  const struct {
    std::string xml;
    bool usable;  // as an affine record
    bool made;    // by the factory
    int type;     // of the affine record
    double bias;
  } cases[] = {
      {xml, true, true, 2, 5.0},
      {WithoutKind(xml), true, false, 2, 5.0},
      {OfKind(xml, "7"), true, false, 2, 5.0},
      {OfKind(xml, "two"), true, false, 2, 5.0},
      {OfKind(xml, "1"), false, false, 1, Max},
      {test::Replaced(xml, "SampleDrift", "Other"), false, false, 2, 5.0},
      {test::Replaced(xml, "\"LineBias\">5", "\"LineBias\">five"), false, false, 2, Max},
  };
  for (const auto& c : cases) {
    TRPCRefinementDataAffine data;
    EXPECT_EQ(Read(c.xml, &data), c.usable) << c.xml;
    EXPECT_EQ(static_cast<bool>(data), c.usable) << c.xml;
    EXPECT_EQ(data.GetType().Value, c.type) << c.xml;
    EXPECT_EQ(data.LineBias, c.bias) << c.xml;
    if (c.usable) {
      EXPECT_EQ(Xml(data), xml);
    }
    TKaXIniStreamReader reader = test::XmlReader(c.xml);
    const var_a<TRPCRefinementData*> made = CreateRefinementDataFromXMLN(&reader);
    EXPECT_EQ(static_cast<bool>(made), c.made) << c.xml;
    if (made) {
      EXPECT_EQ(Xml(*made), xml);
    }
    EXPECT_EQ(static_cast<bool>(CreateRefinementDataCopyN(data)), c.type == 2);
  }
  TRPCRefinementDataAffine data;
  EXPECT_FALSE(data.InitializeFromXML(nullptr));
  EXPECT_FALSE(data);
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
  EXPECT_EQ(test::DebugTextOf([&] { data.DebugOutput(); }).substr(44, 46),
            "LineBias      1#LineDrift     2.5#LineTilt    ");
}

TEST(Refinement, IsUsableOnceItWasRead) {
  TRPCRefinementAffine built{TRPCRefinementDataAffine(Skewed)};
  EXPECT_FALSE(built);
  EXPECT_FALSE(built.GetRefinementData());
  TRPCRefinementDataAffine data;
  EXPECT_FALSE(built.GetRefinementData(&data));
  EXPECT_TRUE(data.IsUnity());
  double line = 0.0;
  double sample = 0.0;
  built.RawToRefined(3.0, 4.0, &line, &sample);
  EXPECT_EQ(sample, 8.0);
  built.RefinedToRaw(line, sample, &line, &sample);
  EXPECT_DOUBLE_EQ(line, 3.0);
  EXPECT_EQ(sample, 4.0);

  const std::string xml = Xml(built);
  EXPECT_EQ(test::ReportedWrites([&](TKaXIniWriter* writer) { return built.SaveToXML(writer); }), 22);
  TRPCRefinementAffine read;
  ASSERT_TRUE(Read(xml, &read));
  EXPECT_TRUE(read);
  EXPECT_FALSE(read.GetRefinementData(nullptr));
  EXPECT_EQ(Xml(*read.GetRefinementData()), Xml(TRPCRefinementDataAffine(Skewed)));
  EXPECT_EQ(Xml(read), xml);
  // A copy has the coefficients of what was read, and nothing of what was built.
  const TRPCRefinementAffine copy(read);
  EXPECT_FALSE(copy);
  EXPECT_EQ(Xml(copy), xml);
  EXPECT_EQ(Xml(TRPCRefinementAffine(built)), Xml(TRPCRefinementAffine()));
}

TEST(Refinement, ReadsByItsKindAndDerivesAMissingInverse) {
  TRPCRefinementAffine odd{TRPCRefinementDataAffine(Skewed)};
  odd.SetRefinedToRawCoefs(TRPCRefinementDataAffine(Flat));
  const std::string xml = Xml(odd);
  const std::string derived = Xml(TRPCRefinementAffine(TRPCRefinementDataAffine(Skewed)));
  TRPCRefinementAffine flat;
  flat.SetRawToRefinedCoefs(TRPCRefinementDataAffine(Flat));
  flat.SetRefinedToRawCoefs(TRPCRefinementDataAffine(Skewed));
  const std::string without_inverse = test::Replaced(xml, "RefinedToRaw", "Other");
  const struct {
    std::string xml;
    std::string read;  ///< empty: it is not usable
    bool made;         ///< by the factory
  } cases[] = {
      {xml, xml, true},
      {WithoutKind(xml), xml, false},
      {OfKind(xml, "0"), "", false},
      {without_inverse, derived, true},
      {test::Replaced(xml, "\"LineBias\">1<", "\"LineBias\">one<"), derived, true},
      {test::Replaced(xml, "RawToRefined", "Other"), "", false},
      {test::Replaced(xml, "LineTilt", "Other"), "", false},
      {Xml(flat), Xml(flat), true},
      {test::Replaced(Xml(flat), "RefinedToRaw", "Other"), "", false},
  };
  for (const auto& c : cases) {
    TRPCRefinementAffine read{TRPCRefinementDataAffine(Skewed)};
    EXPECT_EQ(Read(c.xml, &read), !c.read.empty()) << c.xml;
    EXPECT_EQ(static_cast<bool>(read), !c.read.empty());
    EXPECT_EQ(Xml(read), c.read.empty() ? Xml(TRPCRefinementAffine()) : c.read);
    TKaXIniStreamReader reader = test::XmlReader(c.xml);
    EXPECT_EQ(static_cast<bool>(CreateRefinementFromXMLN(&reader)), c.made) << c.xml;
  }
  TRPCRefinementAffine read;
  EXPECT_FALSE(read.InitializeFromXML(nullptr));
}

TEST(Refinement, FactoriesThrowOrReturnNothing) {
  const TRPCRefinementType shift = Type(1);
  const Stranger stranger;
  const TRPCRefinementDataAffine flat(Flat);
  const struct {
    std::string expected;
    std::string thrown;
    bool made;
  } cases[] = {
      {"var_a<TRPCRefinementData*> CreateE(const TRPCRefinementType& src)",
       test::RuntimeErrorOf([&] { CreateRefinementDataE(shift); }),
       static_cast<bool>(CreateRefinementDataN(shift))},
      {"var_a<TRPCRefinementData*> CreateRefinementDataCopyE(const TRPCRefinementData&)",
       test::RuntimeErrorOf([&] { CreateRefinementDataCopyE(stranger); }),
       static_cast<bool>(CreateRefinementDataCopyN(stranger))},
      {"var_a<TRPCRefinementData*> CreateFromXMLE(TKaXIniReader* XML_reader)",
       test::RuntimeErrorOf([] { CreateRefinementDataFromXMLE(nullptr); }),
       static_cast<bool>(CreateRefinementDataFromXMLN(nullptr))},
      {"TRPCRefinementDataBase::CreateCopyE", test::RuntimeErrorOf([&] { stranger.CreateCopyE(); }),
       static_cast<bool>(stranger.CreateCopyN())},
      {"var_a<TRPCRefinementBase*> CreateRefinementE(TRPCRefinementType::TType type)",
       test::RuntimeErrorOf([&] { CreateRefinementE(shift); }), static_cast<bool>(CreateRefinementN(shift))},
      {"var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementData& src)",
       test::RuntimeErrorOf([&] { CreateRefinementE(stranger); }),
       static_cast<bool>(CreateRefinementN(stranger))},
      {"TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine&)",
       test::RuntimeErrorOf([&] { CreateRefinementE(flat); }), static_cast<bool>(CreateRefinementN(flat))},
      {"var_a<TRPCRefinementBase*> CreateRefinementFromXMLE(TKaXIniReader* from_xml)",
       test::RuntimeErrorOf([] { CreateRefinementFromXMLE(nullptr); }),
       static_cast<bool>(CreateRefinementFromXMLN(nullptr))},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.thrown, c.expected);
    EXPECT_FALSE(c.made) << c.expected;
  }
  EXPECT_TRUE(CreateRefinementDataE(TRPCRefinementType::Affine)->IsUnity());
  EXPECT_FALSE(*CreateRefinementE(Type(2)));
  EXPECT_TRUE(CreateRefinementN(TRPCRefinementDataAffine(Skewed)));
  EXPECT_FALSE(*CreateRefinementCopyE(TRPCRefinementAffine()));
}

}  // namespace
