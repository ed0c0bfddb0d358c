#include "kelvane/geometry/polygon.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "kelvane/geometry/exact_sum.h"
#include "kelvane/module/host/ini.h"

namespace SatCommonUtils {

namespace {

constexpr char VertexKey[] = "Vertex";

std::vector<xy_d> CopyVertices(const std::vector<xy_d>& vertices) try {
  return vertices;
} catch (const std::bad_alloc&) {
  throw std::runtime_error("TPolygon::TPolygon(const TPolygon& src)");
}

/// Calls `visit(from, to)` for every edge, the one that closes the polygon first.
template <class TVisit>
void ForEachEdge(const std::vector<xy_d>& vertices, TVisit visit) {
  for (std::size_t i = 0; i < vertices.size(); ++i)
    visit(vertices[i == 0 ? vertices.size() - 1 : i - 1], vertices[i]);
}

double DistanceToEdge(const xy_d& a, const xy_d& b, const xy_d& point) {
  const xy_d edge = {b.x - a.x, b.y - a.y};
  const double ahead = (point.x - a.x) * edge.x + (point.y - a.y) * edge.y;
  const double behind = (b.x - point.x) * edge.x + (b.y - point.y) * edge.y;
  // With one of them beyond its end, that end is the nearest point; an edge without length is both.
  if (!(ahead > 0.0)) return std::hypot(point.x - a.x, point.y - a.y);
  if (!(behind > 0.0)) return std::hypot(point.x - b.x, point.y - b.y);
  return std::fabs(SatCommonUtils::Orientation(a, b, point)) / std::hypot(edge.x, edge.y);
}

}  // namespace

TPolygon::TPolygon(std::vector<xy_d> vertices) : vertices_(std::move(vertices)) {}

TPolygon::TPolygon(const TPolygon& src) : vertices_(CopyVertices(src.vertices_)) {}

double TPolygon::SignedArea() const {
  if (vertices_.size() < 3) return 0.0;
  const xy_d& origin = vertices_.front();
  double twice = 0.0;
  double magnitude = 0.0;
  ForEachEdge(vertices_, [&](const xy_d& from, const xy_d& to) {
    const double left = (from.x - origin.x) * (to.y - origin.y);
    const double right = (from.y - origin.y) * (to.x - origin.x);
    twice += left - right;
    magnitude += std::fabs(left) + std::fabs(right);
  });
  // Every term has at most four roundings and takes part in as many additions as there are edges.
  const double bound = static_cast<double>(vertices_.size() + 8) * std::numeric_limits<double>::epsilon();
  if (std::fabs(twice) > bound * magnitude) return twice / 2.0;
  TExactSum exact;
  ForEachEdge(vertices_, [&](const xy_d& from, const xy_d& to) {
    exact.AddProduct(from.x, to.y);
    exact.AddProduct(-from.y, to.x);
  });
  return exact.Value() / 2.0;
}

int TPolygon::Orientation() const {
  const double area = SignedArea();
  return area > 0.0 ? 1 : area < 0.0 ? -1 : 0;
}

bool TPolygon::BoundingBox(xy_d* low, xy_d* high) const {
  if (vertices_.empty()) return false;
  xy_d least = vertices_.front();
  xy_d greatest = least;
  for (const xy_d& vertex : vertices_) {
    least = {std::min(least.x, vertex.x), std::min(least.y, vertex.y)};
    greatest = {std::max(greatest.x, vertex.x), std::max(greatest.y, vertex.y)};
  }
  *low = least;
  *high = greatest;
  return true;
}

TE_PointLocation TPolygon::Locate(const xy_d& point) const {
  if (!std::isfinite(point.x) || !std::isfinite(point.y)) return TE_PointLocation::Outside;
  bool inside = false;
  bool on_edge = false;
  // Counts the edges that a ray to the right crosses; an edge owns its lower end and not its upper one.
  ForEachEdge(vertices_, [&](const xy_d& from, const xy_d& to) {
    if ((from.y > point.y) != (to.y > point.y)) {
      const double side = SatCommonUtils::Orientation(from, to, point);
      if (side == 0.0) on_edge = true;
      if ((side > 0.0) == (to.y > from.y)) inside = !inside;
    } else if (to.y == point.y) {
      const bool level = from.y == point.y;
      const bool between = (from.x <= point.x && point.x <= to.x) || (to.x <= point.x && point.x <= from.x);
      if (to.x == point.x || (level && between)) on_edge = true;
    }
  });
  return on_edge ? TE_PointLocation::Boundary : inside ? TE_PointLocation::Inside : TE_PointLocation::Outside;
}

double TPolygon::SignedDistance(const xy_d& point) const {
  if (!std::isfinite(point.x) || !std::isfinite(point.y)) return std::numeric_limits<double>::quiet_NaN();
  const TE_PointLocation location = Locate(point);
  if (location == TE_PointLocation::Boundary) return 0.0;
  double distance = std::numeric_limits<double>::infinity();
  ForEachEdge(vertices_, [&](const xy_d& from, const xy_d& to) {
    distance = std::min(distance, DistanceToEdge(from, to, point));
  });
  return location == TE_PointLocation::Inside ? distance : -distance;
}

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
