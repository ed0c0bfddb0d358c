#include <sched.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include "host/runtime.h"
#include "host_testing.h"
#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/string_tree.h"
#include "kelvane/module/host/transform.h"

namespace {

/// Adds 1 to x; what the base class offers is left as it is.
class TShift : public TKa2DTransform {
 public:
  var_a<TKa2DTransform*> CreateCopy() const override { return new_a<TShift>(); }
  var_a<TKa2DTransform*> CreateInverseTransform() const override { return nullptr; }
  xy_d GetTraCoord(const xy_d& from) const override { return {from.x + 1, from.y}; }
  xy_d GetInverseTraCoord(const xy_d& to) const override { return {to.x - 1, to.y}; }
  const char* GetContentName() const override { return "Shift"; }
  void SaveContent(TKaXIniWriter*) const override {}
  void LoadContent(TKaXIniReader*) override {}
};

/// A factory that asks the registry for the part that it is made of.
var_a<TKa2DTransform*> MakeFromPart() { return TKa2DTransform::TSerializer::CreateByName("Shift"); }

TEST(Transforms, RegistryMakesByName) {
  using TSerializer = TKa2DTransform::TSerializer;
  TSerializer::RegisterName("Shift", &TKa2DTransform::TRegistrator<TShift>::CreateNewT);
  TSerializer::RegisterName("Whole", &MakeFromPart);
  EXPECT_TRUE(Contains(MessageOf([] { TSerializer::RegisterName("Shift", &MakeFromPart); }), "Shift"));
  EXPECT_STREQ(TSerializer::CreateByName("Whole")->GetContentName(), "Shift");
  EXPECT_FALSE(TSerializer::CreateByName("shift"));
  InFourThreads([](int thread) {
    const std::string name = "T" + std::to_string(thread);
    for (int k = 0; k < 500; ++k) {
      TSerializer::RegisterName(name.c_str(), &MakeFromPart);
      EXPECT_TRUE(TSerializer::CreateByName(name.c_str()));
      TSerializer::UnregisterName(name.c_str());
    }
  });
  for (const char* name : {"Whole", "Shift", "Shift"}) TSerializer::UnregisterName(name);
  EXPECT_FALSE(TSerializer::CreateByName("Shift"));
}

TEST(Transforms, BaseMapsArraysInPlaceWhateverTheSteps) {
  const TShift shift;
  for (const std::size_t from_step : {1U, 3U}) {
    const std::size_t to_step = 4 - from_step;
    std::vector<xy_d> points(10);
    for (unsigned i = 0; i < 4; ++i) points[i * from_step].x = 10 * i;
    shift.GetTraCoordM(points.data(), 4, from_step, points.data(), to_step);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(points[i * to_step].x, 10 * i + 1);
    shift.GetInverseTraCoordM(points.data(), 4, to_step, points.data(), from_step);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(points[i * from_step].x, 10 * i);
  }
  EXPECT_EQ(shift.GetTransformFlags(), TKa2DTransform::HasDirect | TKa2DTransform::HasInverse);
  EXPECT_FALSE(shift.GetMatrix(nullptr) || shift.GetInverseMatrix(nullptr));
  xy_d to;
  EXPECT_TRUE(shift.GetTraCoordB({1, 2}, to));
  EXPECT_EQ(to.x, 2.0);
  EXPECT_FALSE(shift.GetInverseTraCoordB({1, NAN}, to));
  EXPECT_EQ(to.x, 0.0) << "written all the same";
}

TEST(StringTree, NumbersAreFoundByTagAndIndex) {
  SatCommonUtils::TStringTree tree;
  EXPECT_TRUE(tree.InsertDouble("first", 2, 5, 1.5) && tree.InsertDouble("again", 2, 5, 2.5));
  EXPECT_TRUE(tree.InsertDouble("last", 2, INT_MAX, 3.5) && tree.InsertDouble("other", 3, 0, 4.5));
  EXPECT_FALSE(tree.InsertDouble("no", 2, -1, 1.0));
  double value = 9.0;
  EXPECT_FALSE(tree.GetDouble(2, 4, &value) || value != 9.0);
  EXPECT_TRUE(tree.GetDouble(2, 5, &value) && value == 2.5);
  EXPECT_EQ(tree.GetName(2, 5) + tree.GetName(2, 6), "again");
  EXPECT_EQ(tree.Count(2) + tree.Count(4), 2);
}

TEST(Runtime, ThreadsCountComesFromTheProgramTheEnvironmentOrTheProcessors) {
  cpu_set_t processors;
  ASSERT_EQ(sched_getaffinity(0, sizeof processors, &processors), 0);
  for (const char* text : {"", "0", "-3", "4x", " 4", "99999999999999999999"}) {
    setenv("KELVANE_THREADS", text, 1);
    EXPECT_EQ(KaGetThreadsCount(), CPU_COUNT(&processors)) << text;
  }
  setenv("KELVANE_THREADS", "77", 1);
  EXPECT_EQ(KaGetThreadsCount(), 77);
  KaSetThreadsCount(3);
  EXPECT_EQ(KaGetThreadsCount(), 3);
  KaSetThreadsCount(0);
  EXPECT_EQ(KaGetThreadsCount(), 77);
  unsetenv("KELVANE_THREADS");
}

TEST(Runtime, DebugMessagesGoToTheSinkOneAtATime) {
  std::string seen;
  KaSetDbgMsgSink([&seen](const std::string& text) { seen += text; });
  InFourThreads([](int) {
    for (int k = 0; k < 1000; ++k) KaPrintDbgMsg("ab\n");
  });
  KaSetDbgMsgSink(nullptr);
  EXPECT_EQ(seen.size(), 12000U);
  setenv("KELVANE_DEBUG", "1", 1);
  testing::internal::CaptureStderr();
  KaPrintDbgMsg("to standard error\n");
  unsetenv("KELVANE_DEBUG");
  KaPrintDbgMsg("dropped\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "to standard error\n");
  EXPECT_EQ(seen.size(), 12000U);
}

}  // namespace
