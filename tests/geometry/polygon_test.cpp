#include "kelvane/geometry/polygon.h"

#include <gtest/gtest.h>

#include "tests/support/failing_ini.h"

namespace {

using SatCommonUtils::TPolygon;

const TPolygon Triangle({{0.5, -1.0}, {1e300, 2.0}, {0.1, 3.0}});

TEST(Polygon, KeepsItsVerticesThroughXml) {
  const std::string xml = test::SavedXml([](TKaXIniWriter* writer) {
    return writer->WriteS<double>("other", 1.0) && Triangle.SaveToXML(writer);
  });
  TKaXIniStreamReader reader = test::XmlReader(xml);
  TPolygon read({{9.0, 9.0}});
  ASSERT_TRUE(read.InitializeFromXML(&reader));
  ASSERT_EQ(read.VertexCount(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(read.Vertices()[i].x, Triangle.Vertices()[i].x);
    EXPECT_EQ(read.Vertices()[i].y, Triangle.Vertices()[i].y);
  }
  EXPECT_TRUE(read);
  EXPECT_FALSE(TPolygon({{0.0, 0.0}, {1.0, 1.0}}));
}

TEST(Polygon, AVertexThatIsNoPointFailsTheRead) {
  const std::string xml = test::SavedXml([](TKaXIniWriter* writer) {
    return writer->WritePoint("Vertex", {1.0, 2.0}) && writer->WriteS<double>("Vertex", 3.0);
  });
  TKaXIniStreamReader reader = test::XmlReader(xml);
  TPolygon polygon;
  EXPECT_FALSE(polygon.InitializeFromXML(&reader));
  EXPECT_EQ(polygon.VertexCount(), 1U);
  test::FailingWriter writer(2);
  EXPECT_FALSE(Triangle.SaveToXML(&writer));
}

}  // namespace
