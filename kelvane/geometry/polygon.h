/// \file
/// A polygon of the plane.
#pragma once

#include <cstddef>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/module/host/transform.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// An ordered list of vertices, in whatever plane coordinates its owner says (a model's margin: x is the
/// sample, y the line, in pixels). The last vertex joins the first; it is not repeated.
class KELVANE_API TPolygon {
 public:
  TPolygon() = default;
  explicit TPolygon(std::vector<xy_d> vertices);
  /// A deep copy. Throws `std::runtime_error` "TPolygon::TPolygon(const TPolygon& src)" when there is no
  /// memory for it.
  TPolygon(const TPolygon& src);
  TPolygon(TPolygon&&) noexcept = default;
  TPolygon& operator=(const TPolygon&) = default;
  TPolygon& operator=(TPolygon&&) noexcept = default;

  /// True when the polygon encloses something at all: at least three vertices.
  explicit operator bool() const { return vertices_.size() >= 3; }
  std::size_t VertexCount() const { return vertices_.size(); }
  const std::vector<xy_d>& Vertices() const { return vertices_; }
  void AddVertex(const xy_d& vertex) { vertices_.push_back(vertex); }
  /// Removes all vertices.
  void Clear() { vertices_.clear(); }

  /// Reads the points named "Vertex" of the reader's current section, in their order. False when one of
  /// them is no point; the polygon then holds the vertices before it. Lets no exception out.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes each vertex as a point named "Vertex"; false at the first that fails.
  bool SaveToXML(TKaXIniWriter* writer) const;

 private:
  std::vector<xy_d> vertices_;
};

}  // namespace SatCommonUtils
