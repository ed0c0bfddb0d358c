#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "kelvane/geometry/polygon.h"
#include "kelvane/numeric/polynomial.h"
#include "kelvane/refinement/refinement_transform.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc1.h"
#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"
#include "kelvane/transforms/affine_transform_2d.h"
#include "kelvane/transforms/similarity_3d.h"
#include "tests/support/failing_ini.h"
#include "tests/support/matrices.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

/// One way in which a class writes and reads itself.
struct Persistent {
  std::string name;
  std::function<bool(TKaXIniWriter*)> save;
  std::function<std::string(TKaXIniReader*)> read_and_saved;  ///< what the object read writes, or ""
};

void PrintTo(const Persistent& way, std::ostream* out) { *out << way.name; }

/// Adds the ways of a class, in the current section and under a key, as far as it has them. `make` gives the
/// object to write; the one to read into is made of `blank`.
template <class Make, class... Blank>
void Add(std::vector<Persistent>* ways, const std::string& name, Make make, const Blank&... blank) {
  using T = std::invoke_result_t<Make>;
  const auto add = [&](const char* way, auto save, auto read) {
    const auto read_and_saved = [=](TKaXIniReader* reader) {
      T object(blank...);
      const auto save_object = [&](TKaXIniWriter* writer) { return save(object, writer); };
      return read(&object, reader) ? test::SavedXml(save_object) : std::string();
    };
    ways->push_back(
        {name + way, [=](TKaXIniWriter* writer) { return save(make(), writer); }, read_and_saved});
  };
  const auto here = [](const auto& o, auto* w) -> decltype(o.SaveToXML(w)) { return o.SaveToXML(w); };
  const auto keyed = [](const auto& o, auto* w) -> decltype(o.SaveToXML(w, "K")) {
    return o.SaveToXML(w, "K");
  };
  if constexpr (std::is_invocable_v<decltype(here), const T&, TKaXIniWriter*>) {
    add("", here, [](T* o, auto* reader) { return o->InitializeFromXML(reader); });
  }
  if constexpr (std::is_invocable_v<decltype(keyed), const T&, TKaXIniWriter*>) {
    add("Keyed", keyed, [](T* o, auto* reader) { return o->InitializeFromXML(reader, "K"); });
  }
}

struct AffineParams : T2DAffineParams {
  bool InitializeFromXML(TKaXIniReader* reader) { return SatCommonUtils::InitializeFromXML(reader, this); }
  bool SaveToXML(TKaXIniWriter* writer) const { return SatCommonUtils::SaveToXML(*this, writer); }
};

const TPolygon Triangle({{0.5, -1.0}, {1e300, 2.0}, {0.1, 3.0}});
constexpr T2DAffineParams Skewed = {1.5, -0.25, 100.0, 0.5, 2.0, -7.0};
constexpr TRPC1Params FirstOrder = {
    {1, 2, 3, 4}, {5, 6, 7, 8}, {0.1, 5e-324, -0.0, 1e300}, {1e-5, 10, 11, 12}};

/// With margin and approximation, without a raster size, which would make up for a margin not written.
struct Model : TRPC {
  Model() = default;
  explicit Model(const TRPCData& data) : TRPC(data, &Triangle) { EnsureApproximation(); }
};

StereopairsByOverlap::TStereopairsByOverlapParams Criteria() {
  StereopairsByOverlap::TStereopairsByOverlapParams params;
  params.MinTimeGap = 0.05;  // left out by default
  return params;
}

std::vector<Persistent> EveryWay() {
  std::vector<Persistent> ways;
  Add(&ways, "Vector", [] { return test::Vector({1.0 / 3.0, -0.0, 5e-324, 1e300}); });
  Add(
      &ways, "Matrix", [] { return test::Matrix(2, test::Values(6, 0.1)); }, "");
  Add(
      &ways, "Polynome", [] { return TPolynome("(1e300;-2;0.1)"); }, 0, nullptr);
  Add(&ways, "Polygon", [] { return Triangle; });
  Add(&ways, "AffineParams", [] { return AffineParams{Skewed}; });
  Add(&ways, "AffineTransform", [] { return T2DAffineTransform(Skewed); });
  Add(&ways, "7ParamsTransform", [] { return T7ParamsTransform(T7Params{1e9, -0.0, 5e-324, 3, 2, 1, 0.1}); });
  Add(&ways, "RPCData", [] { return test::NumberedRecord(); });
  Add(&ways, "RPC", [] { return Model(test::NumberedRecord()); });
  const TAffineCorrection correction = {10.0, 1.5, -0.25, -7.0, 0.5, 1.0 / 3.0};
  const TRPCRefinementDataAffine refinement = {correction};
  namespace Next = SatCommonUtilsNext;
  Add(&ways, "RefinementData", [=] { return refinement; });
  Add(&ways, "Refinement", [=] { return TRPCRefinementAffine(refinement); });
  Add(
      &ways, "AdjustedRPC", [=] { return TAdjustedRPC(test::NumberedRecord(), nullptr, &refinement); },
      test::NumberedRecord(), nullptr, nullptr);
  Add(&ways, "NextRefinementType", [] {
    Next::TRPCRefinementType type;
    type.Setup(1);
    return type;
  });
  Add(&ways, "NextRefinementData", [=] { return Next::TRPCRefinementDataAffine(correction); });
  Add(&ways, "NextRefinement",
      [=] { return Next::TRPCRefinementAffine(Next::TRPCRefinementDataAffine(correction)); });
  Add(&ways, "RPC1Params", [] { return FirstOrder; });
  Add(&ways, "RPC1", [] { return TRPC1(FirstOrder); });
  Add(&ways, "StereopairsByOverlapParams", Criteria);
  return ways;
}

class Persistence : public testing::TestWithParam<Persistent> {};

TEST_P(Persistence, ReadAndWrittenAgainIsTheSameText) {
  const std::string xml = test::SavedXml(GetParam().save);
  ASSERT_NE(xml, "");
  TKaXIniStreamReader reader = test::XmlReader(xml);
  EXPECT_EQ(GetParam().read_and_saved(&reader), xml);
  EXPECT_EQ(GetParam().read_and_saved(&reader), xml) << "a section has not been left";
}

TEST_P(Persistence, AFailingWriteIsTheLastAndIsReported) {
  for (int failing = 0;; ++failing) {
    test::FailingWriter writer(failing);
    const bool saved = GetParam().save(&writer);
    ASSERT_EQ(saved, writer.NeverFailed()) << failing;
    if (saved) break;
    ASSERT_TRUE(writer.StoppedThere()) << failing;
  }
}

INSTANTIATE_TEST_SUITE_P(Classes, Persistence, testing::ValuesIn(EveryWay()),
                         [](const auto& way) { return way.param.name; });

}  // namespace
