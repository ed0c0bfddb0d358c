/// \file
/// A polygon of the plane.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/module/host/transform.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// Where a point lies as to a polygon.
enum class TE_PointLocation { Outside, Boundary, Inside };

/// An ordered list of vertices, in whatever plane coordinates its owner says (a model's margin: x is the
/// sample, y the line, in pixels). The last vertex joins the first; it is not repeated.
///
/// The figure that it bounds is told by the even-odd rule: a point is inside when a ray from it crosses the
/// edges an odd number of times. A polygon may thus cross itself (a bow-tie is two triangles), and vertices
/// may coincide. "Counter-clockwise" is meant for x to the right and y upwards; in image coordinates, whose
/// y runs down, it looks clockwise.
///
/// The measures below are not checked for vertices that are no finite numbers; their signs and decisions
/// are exact for coordinates that are 0 or between 1e-130 and 1e150 in magnitude.
class KELVANE_API TPolygon {
 public:
  TPolygon() = default;
  /// Takes the vertices in their order; the last is joined to the first and does not repeat it.
  explicit TPolygon(std::vector<xy_d> vertices);
  /// A deep copy. Throws `std::runtime_error` "TPolygon::TPolygon(const TPolygon& src)" when there is no
  /// memory for it.
  TPolygon(const TPolygon& src);
  /// Leaves the source without vertices.
  TPolygon(TPolygon&&) noexcept = default;
  /// A deep copy; `std::bad_alloc` when there is no memory for it, the polygon then as it was.
  TPolygon& operator=(const TPolygon&) = default;
  /// Leaves the source without vertices.
  TPolygon& operator=(TPolygon&&) noexcept = default;

  /// True when the polygon encloses something at all: at least three vertices.
  explicit operator bool() const { return vertices_.size() >= 3; }
  /// In their order, the first not repeated at the end.
  std::size_t VertexCount() const { return vertices_.size(); }
  const std::vector<xy_d>& Vertices() const { return vertices_; }
  /// Puts it behind the last.
  void AddVertex(const xy_d& vertex) { vertices_.push_back(vertex); }
  /// Removes all vertices.
  void Clear() { vertices_.clear(); }

  /// The area between the edges, in square units of the plane: positive when the vertices run
  /// counter-clockwise. Parts that are encircled in opposite senses count against each other (a bow-tie of
  /// two equal triangles has none). Formed from the first vertex, so that large coordinates cost no digits;
  /// its sign is exact, and 0 means that there is no area at all. 0 for fewer than three vertices; not finite
  /// where a coordinate, or the product of two, is not.
  double SignedArea() const;
  /// 1 counter-clockwise, -1 clockwise, 0 neither: the sign of `SignedArea`.
  int Orientation() const;
  /// Writes the least and the greatest x and y; false, and nothing is written, when there is no vertex.
  bool BoundingBox(xy_d* low, xy_d* high) const;

  /// Where the point lies, decided without rounding. Every point of an edge and every vertex is `Boundary`,
  /// be the edge passed over twice or the polygon without area. What is not finite is `Outside`.
  TE_PointLocation Locate(const xy_d& point) const;
  /// True inside and on the boundary.
  bool Contains(const xy_d& point) const { return Locate(point) != TE_PointLocation::Outside; }
  /// Distance from the point to the nearest edge, in units of the plane: positive inside, negative outside,
  /// 0 exactly on the boundary and only there. A polygon of one vertex or two is a point or a line; of one
  /// without vertices everything is infinitely far outside (minus infinity). NaN for a point that is not
  /// finite.
  double SignedDistance(const xy_d& point) const;

  /// Reads the points named "Vertex" of the reader's current section, in their order. False when one of
  /// them is no point; the polygon then holds the vertices before it. Lets no exception out.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes each vertex as a point named "Vertex"; false at the first that fails.
  bool SaveToXML(TKaXIniWriter* writer) const;

  /// Reads the first ring of the first region that has one from a MIF file (polygon_mif.h says which files
  /// are taken, and reads everything in them); its MID file is not looked at. `ringCount`, unless null,
  /// receives the number of rings in the file, by which a caller sees that it holds more. False, with the
  /// reason in `problem` unless that is null, when the file cannot be read whole or the ring has fewer than
  /// three vertices; polygon and count are then unchanged. Lets no exception out.
  bool InitializeFromMIF(const std::string& path, std::size_t* ringCount, std::string* problem);
  /// Writes a MIF file of one region with this ring, and its MID file with a column ID. `coordSys` is the
  /// CoordSys clause without its word; empty for a plane of no place on the Earth, such as an image's. For
  /// failures see `WriteMIFFile`.
  bool SaveToMIF(const std::string& path, const std::string& coordSys, std::string* problem) const;

 private:
  std::vector<xy_d> vertices_;
};

}  // namespace SatCommonUtils
