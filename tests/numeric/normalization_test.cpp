#include "kelvane/numeric/normalization.h"

#include <gtest/gtest.h>

#include <string>

#include "kelvane/module/host/message.h"
#include "kelvane/module/host/string_tree.h"
#include "tests/support/errors.h"

namespace {

using SatCommonUtils::TLinearNormalization;
using SatCommonUtils::TStringTree;

template <class Make>
std::string MessageOf(Make make) {
  return test::ErrorOf<TKaMessage>(make);
}

TEST(LinearNormalization, MapsBothWays) {
  const TLinearNormalization map(10.0, 20.0, -1.0, 1.0);
  EXPECT_EQ(map.Scale(), 5.0);
  EXPECT_EQ(map.Offset(), 15.0);
  EXPECT_EQ(map.Normalized2Initial(-1.0), 10.0);
  EXPECT_EQ(map.Initial2Normalized(20.0), 1.0);
}

TEST(LinearNormalization, RefusesAZeroScale) {
  EXPECT_EQ(MessageOf([] { TLinearNormalization(5.0, -0.0); }),
            "TLinearNormalization::TLinearNormalization(const double&,const double&)");
  const std::string four =
      "TLinearNormalization::TLinearNormalization(const double&, const double&, const double&, const "
      "double&)";
  EXPECT_EQ(MessageOf([] { TLinearNormalization(1.0, 2.0, 3.0, 3.0); }), four);
  EXPECT_EQ(MessageOf([] { TLinearNormalization(2.0, 2.0, 3.0, 4.0); }), four);

  TLinearNormalization map(1.0, 2.0);
  EXPECT_FALSE(map.Reset(7.0, 0.0) || map.Reset(7.0, 8.0, 1.0, 1.0));
  EXPECT_FALSE(map.Reset(1e-300, 0.0, 1e300, 0.0));  // the scale underflows
  EXPECT_EQ(map.Offset(), 1.0);
  EXPECT_EQ(map.Scale(), 2.0);
}

TEST(LinearNormalization, LivesInATree) {
  constexpr int Tag = 7;
  TStringTree tree;
  EXPECT_EQ(MessageOf([&] { TLinearNormalization(&tree, Tag); }),
            "TLinearNormalization::TLinearNormalization(TStringTree *src, int tag)");
  ASSERT_TRUE(TLinearNormalization(3.0, 4.0).WriteToTree(&tree, Tag, "time"));
  EXPECT_EQ(tree.GetName(Tag, 0), "time offset");
  EXPECT_EQ(tree.GetName(Tag, 1), "time scale");
  const TLinearNormalization read(&tree, Tag);
  EXPECT_EQ(read.Offset(), 3.0);
  EXPECT_EQ(read.Scale(), 4.0);

  ASSERT_TRUE(read.WriteToTree(&tree, Tag + 1, nullptr));
  EXPECT_EQ(tree.GetName(Tag + 1, 1), "scale");
  tree.InsertDouble("scale", Tag + 1, 1, 0.0);
  TLinearNormalization kept(1.0, 2.0);
  EXPECT_FALSE(kept.Reset(&tree, Tag + 1) || kept.Reset(&tree, Tag + 2));
  EXPECT_EQ(kept.Scale(), 2.0);
}

}  // namespace
