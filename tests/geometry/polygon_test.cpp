#include "kelvane/geometry/polygon.h"

#include <gtest/gtest.h>

#include "tests/support/failing_ini.h"

namespace {

using SatCommonUtils::TPolygon;

TEST(Polygon, EnclosesSomethingFromThreeVerticesOn) {
  EXPECT_TRUE(TPolygon({{0.5, -1.0}, {2.0, 2.0}, {0.1, 3.0}}));
  EXPECT_FALSE(TPolygon({{0.0, 0.0}, {1.0, 1.0}}));
}

TEST(Polygon, AVertexThatIsNoPointFailsTheRead) {
  const std::string xml = test::SavedXml([](TKaXIniWriter* writer) {
    return writer->WritePoint("Vertex", {1.0, 2.0}) && writer->WriteS<double>("Vertex", 3.0);
  });
  TKaXIniStreamReader reader = test::XmlReader(xml);
  TPolygon polygon({{9.0, 9.0}});
  EXPECT_FALSE(polygon.InitializeFromXML(&reader));
  EXPECT_EQ(polygon.VertexCount(), 1U);
}

}  // namespace
