#include "kelvane/module/module.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "host/runtime.h"
#include "kelvane/module/host/transform.h"

namespace {

bool AffineIsRegistered() {
  return static_cast<bool>(TKa2DTransform::TSerializer::CreateByName("sat_affine"));
}

TEST(Module, OnlyTheOutermostPairDoesWork) {
  ASSERT_EQ(KaModule_Initializer::Instance().ReferenceCount(), 0U);
  Deinit_Kelvane();  // without a start: ignored
  EXPECT_EQ(KaDataContainerUsers(), 0);
  EXPECT_FALSE(AffineIsRegistered());
  for (int round = 0; round < 2; ++round) {
    Init_Kelvane();
    Init_Kelvane();
    EXPECT_EQ(KaDataContainerUsers(), 1);
    Deinit_Kelvane();
    EXPECT_TRUE(AffineIsRegistered());
    EXPECT_EQ(KaDataContainerUsers(), 1);
    Deinit_Kelvane();
    EXPECT_FALSE(AffineIsRegistered());
    EXPECT_EQ(KaDataContainerUsers(), 0);
  }
}

TEST(Module, StartThatFailsLeavesNothingStarted) {
  using TSerializer = TKa2DTransform::TSerializer;
  TSerializer::RegisterName("sat_affine", [] { return var_a<TKa2DTransform*>(); });
  EXPECT_ANY_THROW(Init_Kelvane());
  EXPECT_EQ(KaDataContainerUsers(), 0);
  EXPECT_EQ(KaModule_Initializer::Instance().ReferenceCount(), 0U);
  TSerializer::UnregisterName("sat_affine");
  Init_Kelvane();
  EXPECT_TRUE(AffineIsRegistered());
  Deinit_Kelvane();
}

TEST(Module, FindsItsOwnFile) {
  Init_Kelvane();
  const TKaModuleFile& file = KaModule_Initializer::Instance().File();
  EXPECT_EQ(file.FileName.rfind("libKelvane.so", 0), 0U) << file.Path;
  EXPECT_EQ(file.Directory + file.FileName, file.Path);
  EXPECT_EQ(KaModule_Initializer::Instance().Name(), "Kelvane");
  Deinit_Kelvane();
}

TEST(Module, SplitsItsPath) {
  const struct {
    const char* path;
    const char* directory;
    const char* name;
    const char* extension;
  } cases[] = {
      {"/a/b/libX.so", "/a/b/", "libX.so", "so"},
      {"libX", "", "libX", ""},
      {"/a.b/libX.", "/a.b/", "libX.", ""},
      {"C:\\a\\b\\X.dll", "C:\\a\\b\\", "X.dll", "dll"},
      {"/a\\b/c\\libX.so.1", "/a\\b/c\\", "libX.so.1", "1"},
      {"", "", "", ""},
  };
  for (const auto& c : cases) {
    const TKaModuleFile file = KaSplitModulePath(c.path);
    EXPECT_EQ(file.Path, c.path);
    EXPECT_EQ(file.Directory, c.directory) << c.path;
    EXPECT_EQ(file.FileName, c.name) << c.path;
    EXPECT_EQ(file.Extension, c.extension) << c.path;
  }
}

TEST(Module, DebugMessagesReachTheHost) {
  std::vector<std::string> messages;
  KaSetDbgMsgSink([&](const std::string& text) { messages.push_back(text); });
  KaPrintDbgMsg("one\n");
  EXPECT_THROW(KaPrintDbgMsg(static_cast<const char*>(nullptr)), std::logic_error);
  KaSetDbgMsgSink({});
  EXPECT_EQ(messages, std::vector<std::string>{"one\n"});
}

}  // namespace
