#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
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
#include "tests/support/allocations.h"
#include "tests/support/failing_ini.h"
#include "tests/support/matrices.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

/// An object of some class, and one of the ways in which it writes and reads itself.
struct Object {
  virtual ~Object() = default;
  virtual bool Save(TKaXIniWriter* writer) const = 0;
  virtual bool Read(TKaXIniReader* reader) = 0;
  /// Whether the constructor that reads makes one; of a class without it, what it would be.
  virtual bool IsMade(TKaXIniReader* reader, bool readable) const = 0;
  /// Empty for a class that is not copied.
  virtual std::unique_ptr<Object> Copy() const = 0;
  virtual void Assign(const Object& other) = 0;

  /// What it writes; empty when it cannot.
  std::string Text() const {
    return test::SavedXml([this](TKaXIniWriter* writer) { return Save(writer); });
  }
};

/// What became of an object that a read went over.
struct Reading {
  bool done;
  bool missed;         ///< the failure was an item that is not found
  std::string state;   ///< what it now writes
  std::string target;  ///< what stood in the document
  std::string before;  ///< what it wrote before
  std::string rest;    ///< what such an object writes of which nothing could be read
};

/// Whether a class may leave that behind when an operation fails.
using Promise = std::function<bool(const Reading&)>;

struct Persistent {
  std::string name;
  std::function<std::unique_ptr<Object>()> make;
  std::function<std::unique_ptr<Object>()> other;  ///< one to read over
  Promise promise;
  std::function<std::unique_ptr<Object>()> rest;  ///< one of which nothing could be read
};

void PrintTo(const Persistent& way, std::ostream* out) { *out << way.name; }

/// In the current section.
struct Here {
  template <class T>
  static auto Save(const T& o, TKaXIniWriter* w) -> decltype(o.SaveToXML(w)) {
    return o.SaveToXML(w);
  }
  template <class T>
  static bool Read(T* o, TKaXIniReader* reader) {
    return o->InitializeFromXML(reader);
  }
  template <class T>
  static auto Make(TKaXIniReader* reader) -> decltype(T(reader)) {
    return T(reader);
  }
};

/// Under a key.
struct Keyed {
  template <class T>
  static auto Save(const T& o, TKaXIniWriter* w) -> decltype(o.SaveToXML(w, "K")) {
    return o.SaveToXML(w, "K");
  }
  template <class T>
  static bool Read(T* o, TKaXIniReader* reader) {
    return o->InitializeFromXML(reader, "K");
  }
  template <class T>
  static auto Make(TKaXIniReader* reader) -> decltype(T(reader, "K")) {
    return T(reader, "K");
  }
};

template <class Way, class T, class = void>
struct Saves : std::false_type {};
template <class Way, class T>
struct Saves<Way, T, std::void_t<decltype(Way::Save(std::declval<T>(), nullptr))>> : std::true_type {};
template <class Way, class T, class = void>
struct Makes : std::false_type {};
template <class Way, class T>
struct Makes<Way, T, std::void_t<decltype(Way::template Make<T>(nullptr))>> : std::true_type {};

template <class Way, class T>
struct ObjectOf : Object {
  template <class Make>
  explicit ObjectOf(const Make& make) : held(make()) {}
  bool Save(TKaXIniWriter* writer) const override { return Way::Save(held, writer); }
  bool Read(TKaXIniReader* reader) override { return Way::Read(&held, reader); }
  bool IsMade(TKaXIniReader* reader, bool readable) const override {
    if constexpr (!Makes<Way, T>::value) return readable;
    try {
      if constexpr (Makes<Way, T>::value) static_cast<void>(Way::template Make<T>(reader));
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }
  std::unique_ptr<Object> Copy() const override {
    if constexpr (std::is_copy_constructible_v<T>) {
      return std::make_unique<ObjectOf>([this] { return T(held); });
    } else {
      return nullptr;
    }
  }
  void Assign(const Object& other) override {
    if constexpr (std::is_copy_assignable_v<T>) held = static_cast<const ObjectOf&>(other).held;
  }
  T held;
};
/// Adds the ways of a class, in the current section and under a key, as far as it has them. `make` gives the
/// object to write, `other` the one to read over, `rest` what stands for what is not read.
template <class Make, class Other, class Rest>
void Add(std::vector<Persistent>* ways, const std::string& name, Make make, Other other, Promise promise,
         Rest rest) {
  using T = std::invoke_result_t<Make>;
  const auto add = [&](auto way, const char* suffix) {
    using Way = decltype(way);
    if constexpr (Saves<Way, T>::value) {
      ways->push_back({name + suffix, [=] { return std::make_unique<ObjectOf<Way, T>>(make); },
                       [=] { return std::make_unique<ObjectOf<Way, T>>(other); }, promise,
                       [=] { return std::make_unique<ObjectOf<Way, T>>(rest); }});
    }
  };
  add(Here(), "");
  add(Keyed(), "Keyed");
}

/// The same of a class that keeps what it does not read.
template <class Make, class Other>
void Add(std::vector<Persistent>* ways, const std::string& name, Make make, Other other, Promise promise) {
  Add(ways, name, make, other, promise, other);
}

using Lines = std::vector<std::string>;

Lines LinesOf(const std::string& text) {
  std::istringstream stream(text);
  Lines lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// Whether all lines stand in the others, in their order.
bool IsWithin(const std::string& lines, const std::string& others) {
  const Lines all = LinesOf(others);
  auto from = all.begin();
  for (const std::string& line : LinesOf(lines)) {
    from = std::find(from, all.end(), line);
    if (from++ == all.end()) return false;
  }
  return true;
}

/// What was read, or what was before.
bool AllOrNothing(const Reading& r) { return r.state == (r.done ? r.target : r.before); }

/// Field by field, up to the one that could not be read; under a key, all of it also where only leaving
/// fails.
bool UpToTheFailure(const Reading& r) {
  const Lines state = LinesOf(r.state);
  const Lines target = LinesOf(r.target);
  const Lines before = LinesOf(r.before);
  if (r.done || state.size() != target.size()) return r.state == r.target;
  const auto failed = std::mismatch(state.begin(), state.end(), target.begin());
  return std::equal(failed.first, state.end(), before.end() - (state.end() - failed.first), before.end());
}

/// What was read, or nothing of it.
bool AllOrTheRest(const Reading& r) { return r.state == (r.done ? r.target : r.rest); }

/// Each line as it was read, or as it is in the rest.
bool IsMixed(const Reading& r) {
  const Lines lines = LinesOf(r.state);
  const Lines read = LinesOf(r.target);
  const Lines others = LinesOf(r.rest);
  if (lines.size() != read.size() || lines.size() != others.size()) return false;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i] != read[i] && lines[i] != others[i]) return false;
  }
  return true;
}

struct AffineParams : T2DAffineParams {
  bool InitializeFromXML(TKaXIniReader* reader) { return SatCommonUtils::InitializeFromXML(reader, this); }
  bool InitializeFromXML(TKaXIniReader* reader, const char* key) {
    return SatCommonUtils::InitializeFromXML(reader, key, this);
  }
  bool SaveToXML(TKaXIniWriter* writer) const { return SatCommonUtils::SaveToXML(*this, writer); }
  bool SaveToXML(TKaXIniWriter* writer, const char* key) const {
    return SatCommonUtils::SaveToXML(*this, writer, key);
  }
};

/// What a factory makes, an empty pointer where it fails.
template <auto Create>
struct FactoryMade {
  bool InitializeFromXML(TKaXIniReader* reader) {
    Made = Create(reader);
    return static_cast<bool>(Made);
  }
  bool SaveToXML(TKaXIniWriter* writer) const { return Made && Made->SaveToXML(writer); }
  decltype(Create(nullptr)) Made;
};

namespace Next = SatCommonUtilsNext;

const TPolygon Triangle({{0.5, -1.0}, {1e300, 2.0}, {0.1, 3.0}});
constexpr T2DAffineParams Skewed = {1.5, -0.25, 100.0, 0.5, 2.0, -7.0};
constexpr TAffineCorrection Correction = {10.0, 1.5, -0.25, -7.0, 0.5, 1.0 / 3.0};
constexpr TRPC1Params FirstOrder = {
    {1, 2, 3, 4}, {5, 6, 7, 8}, {0.1, 5e-324, -0.0, 1e300}, {1e-5, 10, 11, 12}};

/// With margin and approximation, without a raster size, which would make up for a margin not written.
struct Model : TRPC {
  using TRPC::TRPC;
  explicit Model(const TRPCData& data) : TRPC(data, &Triangle) { EnsureApproximation(); }
};

StereopairsByOverlap::TStereopairsByOverlapParams Criteria() {
  StereopairsByOverlap::TStereopairsByOverlapParams params;
  params.MinTimeGap = 0.05;  // left out by default
  return params;
}

/// With a way back of its own, which nothing but reading it gives.
template <class Refinement, class Record>
Refinement WithStoredWayBack() {
  Refinement refinement{Record{Correction}};
  refinement.SetRefinedToRawCoefs(Record{TAffineCorrection{1.0, 2.0, 3.0, 4.0, 5.0, 7.0}});
  return refinement;
}

void AddNumerics(std::vector<Persistent>* ways) {
  Add(
      ways, "Vector",
      [] {
        return test::Vector({1.0 / 3.0, -0.0, 5e-324, 1e300});
      },
      [] { return test::Vector({7}); }, AllOrNothing);
  Add(
      ways, "Matrix", [] { return test::Matrix(2, test::Values(6, 0.1)); },
      [] {
        return test::Matrix(1, {1, 2});
      },
      // A row that is missing is zero, and no failure.
      [](const Reading& r) { return r.done ? IsMixed(r) : r.state == r.before; },
      [] { return TMatrix(2, 3); });
  Add(
      ways, "Polynome", [] { return TPolynome("(1e300;-2;0.1)"); }, [] { return TPolynome("(5)"); },
      AllOrNothing);
}

void AddTransforms(std::vector<Persistent>* ways) {
  Add(
      ways, "AffineParams", [] { return AffineParams{Skewed}; }, [] { return AffineParams(); },
      UpToTheFailure);
  Add(
      ways, "AffineTransform", [] { return T2DAffineTransform(Skewed); }, [] { return T2DAffineTransform(); },
      UpToTheFailure);
  Add(
      ways, "7ParamsTransform",
      [] {
        return T7ParamsTransform(T7Params{1e9, -0.0, 5e-324, 3, 2, 1, 0.1});
      },
      [] { return T7ParamsTransform(); }, AllOrNothing);
  Add(
      ways, "Polygon", [] { return Triangle; },
      [] {
        return TPolygon({{9.0, 9.0}});
      },
      [](const Reading& r) {
        // The vertices before the failure. One that is not found is the end of them.
        if (r.done && !r.missed) return r.state == r.target;
        return r.target.rfind(r.state.substr(0, r.state.rfind('<')), 0) == 0;
      });
}

void AddRefinements(std::vector<Persistent>* ways) {
  const TRPCRefinementDataAffine refinement = {Correction};
  Add(
      ways, "RefinementData", [=] { return refinement; }, [] { return TRPCRefinementDataAffine(); },
      UpToTheFailure);
  // Where the way back cannot be read it is derived.
  Add(
      ways, "Refinement", [] { return WithStoredWayBack<TRPCRefinementAffine, TRPCRefinementDataAffine>(); },
      [] { return TRPCRefinementAffine(); },
      [](const Reading& r) { return AllOrNothing(r) || (r.done && r.state == r.rest); },
      [=] { return TRPCRefinementAffine(refinement); });
  const auto type = [](int kind) {
    Next::TRPCRefinementType made;
    made.Setup(kind);
    return made;
  };
  Add(
      ways, "NextRefinementType", [=] { return type(1); }, [=] { return type(2); }, AllOrTheRest,
      [] { return Next::TRPCRefinementType(); });
  // A record without a kind is affine.
  const auto next = [] { return Next::TRPCRefinementDataAffine(Correction); };
  Add(
      ways, "NextRefinementData", next, [] { return Next::TRPCRefinementDataAffine(); },
      [](const Reading& r) { return r.done ? r.state == r.target : r.state != r.target && IsMixed(r); },
      [] {
        Next::TRPCRefinementDataAffine unset;
        unset.Reset();
        return unset;
      });
  Add(
      ways, "NextRefinement",
      [] { return WithStoredWayBack<Next::TRPCRefinementAffine, Next::TRPCRefinementDataAffine>(); },
      [=] { return Next::TRPCRefinementAffine(next()); },
      [derived = test::XmlOf(Next::TRPCRefinementAffine(next()))](const Reading& r) {
        return AllOrTheRest(r) || (r.done && r.state == derived);
      },
      [] { return Next::TRPCRefinementAffine(); });
  using MadeData = FactoryMade<Next::CreateRefinementDataFromXMLN>;
  Add(
      ways, "NextRefinementDataFactory", [=] { return MadeData{Next::CreateRefinementDataCopyN(next())}; },
      [] { return MadeData(); }, AllOrTheRest);
  using Made = FactoryMade<Next::CreateRefinementFromXMLN>;
  Add(
      ways, "NextRefinementFactory", [=] { return Made{Next::CreateRefinementN(next())}; },
      [] { return Made(); }, AllOrTheRest);
}

void AddModels(std::vector<Persistent>* ways) {
  const auto record = [] { return test::NumberedRecord(); };
  Add(
      ways, "RPCData", record, [] { return test::IdentityRecord(); }, UpToTheFailure);
  // All but the record may be missing, and no failure but one to leave a section is reported of it.
  const auto at_least_the_record = [](const Reading& r) {
    return IsWithin(r.rest, r.state) && IsWithin(r.state, r.target);
  };
  Add(
      ways, "RPC", [=] { return Model(record()); }, [] { return Model(test::IdentityRecord()); },
      [=](const Reading& r) { return (!r.done && r.state == r.before) || at_least_the_record(r); },
      [=] { return Model(record(), nullptr); });
  const TRPCRefinementDataAffine refinement = {Correction};
  Add(
      ways, "AdjustedRPC", [=] { return TAdjustedRPC(record(), &Triangle, &refinement); },
      [=] { return TAdjustedRPC(test::IdentityRecord(), nullptr, &refinement); },
      [=, unrefined = test::XmlOf(test::IdentityRecord())](const Reading& r) {
        return (!r.done && r.state == unrefined) || at_least_the_record(r);
      },
      [=] { return TAdjustedRPC(record(), nullptr, nullptr); });
  Add(
      ways, "RPC1Params", [] { return FirstOrder; }, [] { return TRPC1Params(); }, UpToTheFailure);
  Add(
      ways, "RPC1", [] { return TRPC1(FirstOrder); }, [] { return TRPC1(); }, AllOrNothing);
  // Numbers and flags that may be absent are then the default.
  Add(
      ways, "StereopairsByOverlapParams", Criteria,
      [] { return StereopairsByOverlap::TStereopairsByOverlapParams(); },
      [](const Reading& r) {
        if (r.done) return IsWithin(r.state, r.target);
        return r.state == r.rest || r.state == r.target || r.state == r.before;
      },
      [] {
        StereopairsByOverlap::TStereopairsByOverlapParams invalid;
        invalid.Invalidate();
        return invalid;
      });
}

std::vector<Persistent> EveryWay() {
  std::vector<Persistent> ways;
  for (const auto add : {AddNumerics, AddTransforms, AddRefinements, AddModels}) add(&ways);
  return ways;
}

constexpr test::HostFailure EveryFailure[] = {test::HostFailure::Result, test::HostFailure::Exception,
                                              test::HostFailure::Anything};

class Persistence : public testing::TestWithParam<Persistent> {
 protected:
  /// Whether the object keeps its promise after a read.
  bool IsKept(const Object& object, bool done, bool missed) const {
    return GetParam().promise({done, missed, object.Text(), target, before, rest});
  }

  const std::string target = GetParam().make()->Text();
  const std::string before = GetParam().other()->Text();
  const std::string rest = GetParam().rest()->Text();
};

TEST_P(Persistence, ReadAndWrittenAgainIsTheSameText) {
  ASSERT_NE(target, "");
  TKaXIniStreamReader reader = test::XmlReader(target);
  for (int i = 0; i < 2; ++i) {
    const std::unique_ptr<Object> read = GetParam().other();
    ASSERT_NE(read->Text(), target);
    EXPECT_TRUE(read->Read(&reader)) << "a section has not been left";
    EXPECT_EQ(read->Text(), target);
  }
}

TEST_P(Persistence, AFailingWriteIsTheLastAndIsReported) {
  const std::unique_ptr<Object> object = GetParam().make();
  for (const auto how : EveryFailure) {
    for (int failing = 0;; ++failing) {
      test::FailingWriter writer(failing, how);
      const bool saved = object->Save(&writer);
      ASSERT_EQ(saved, writer.NeverFailed()) << failing;
      if (saved) break;
      ASSERT_TRUE(writer.StoppedThere()) << failing;
    }
  }
}

TEST_P(Persistence, AFailingReadLeavesWhatIsPromised) {
  for (const auto how : EveryFailure) {
    for (int failing = 0;; ++failing) {
      test::FailingReader reader(target, failing, how);
      const std::unique_ptr<Object> object = GetParam().other();
      const bool done = object->Read(&reader);
      ASSERT_TRUE(IsKept(*object, done, reader.Missed())) << failing << ' ' << done << '\n' << object->Text();
      if (reader.NeverFailed()) break;
      // A margin that cannot be read hides what stands behind it.
      const auto& open = reader.Open();
      ASSERT_TRUE(open.empty() || (open.size() == 1 && open[0].second == "Margin")) << failing;
      test::FailingReader again(target, failing, how);
      ASSERT_EQ(object->IsMade(&again, done), done) << failing;
    }
  }
}

TEST_P(Persistence, WithoutMemoryItIsReadWrittenAndCopiedOrPromisesAreKept) {
  const std::unique_ptr<Object> object = GetParam().make();
  test::ForEachFailingAllocation([&](test::FailingAllocation failing) {
    TKaXIniStreamReader reader = test::XmlReader(target);
    const std::unique_ptr<Object> read = GetParam().other();
    bool done = false;
    const test::Outcome outcome = test::Without(failing, [&] { done = read->Read(&reader); });
    EXPECT_FALSE(outcome.threw);
    EXPECT_TRUE(done || outcome.failed);
    EXPECT_TRUE(IsKept(*read, done, false)) << done << '\n' << read->Text();
    return outcome;
  });
  test::ForEachFailingAllocation([&](test::FailingAllocation failing) {
    TKaXIniXmlWriter writer;
    bool done = false;
    const test::Outcome outcome = test::Without(failing, [&] { done = object->Save(&writer); });
    EXPECT_FALSE(outcome.threw);
    EXPECT_NE(done, outcome.failed);
    return outcome;
  });
  if (!object->Copy()) return;
  const std::string copied = object->Copy()->Text();
  test::ForEachFailingAllocation([&](test::FailingAllocation failing) {
    std::unique_ptr<Object> copy;
    const test::Outcome outcome = test::Without(failing, [&] { copy = object->Copy(); });
    EXPECT_TRUE(outcome.failed ? outcome.threw : copy->Text() == copied);
    return outcome;
  });
  test::ForEachFailingAllocation([&](test::FailingAllocation failing) {
    const std::unique_ptr<Object> assigned = GetParam().other();
    const test::Outcome outcome = test::Without(failing, [&] { assigned->Assign(*object); });
    EXPECT_EQ(outcome.failed, outcome.threw);
    EXPECT_EQ(assigned->Text(), outcome.failed ? before : target);
    return outcome;
  });
}

INSTANTIATE_TEST_SUITE_P(Classes, Persistence, testing::ValuesIn(EveryWay()),
                         [](const auto& way) { return way.param.name; });

}  // namespace
