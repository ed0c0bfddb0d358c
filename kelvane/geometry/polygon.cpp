#include "kelvane/geometry/polygon.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "kelvane/module/host/ini.h"

namespace SatCommonUtils {

namespace {

constexpr char VertexKey[] = "Vertex";

std::vector<xy_d> CopyVertices(const std::vector<xy_d>& vertices) try {
  return vertices;
} catch (const std::bad_alloc&) {
  throw std::runtime_error("TPolygon::TPolygon(const TPolygon& src)");
}

}  // namespace

TPolygon::TPolygon(std::vector<xy_d> vertices) : vertices_(std::move(vertices)) {}

TPolygon::TPolygon(const TPolygon& src) : vertices_(CopyVertices(src.vertices_)) {}

bool TPolygon::InitializeFromXML(TKaXIniReader* reader) try {
  enum TPointResult { PointRead = 0, ListEnd = 2 };
  Clear();
  unsigned long position = 0;
  for (;;) {
    xy_d vertex;
    const int result = reader->ReadPoint(reader->FindFP(VertexKey, &position), &vertex);
    if (result == ListEnd) return true;
    if (result != PointRead) return false;
    AddVertex(vertex);
  }
} catch (...) {
  return false;
}

bool TPolygon::SaveToXML(TKaXIniWriter* writer) const try {
  for (const xy_d& vertex : vertices_) {
    if (!writer->WritePoint(VertexKey, vertex)) return false;
  }
  return true;
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
