/// \file
/// GEOS as an independent oracle.
#pragma once

#include <geos_c.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "kelvane/geometry/polygon.h"

namespace test {

/// Random vertices: on a coarse grid, where points meet edges and vertices all the time, or anywhere; both
/// far from the origin on request.
class Shapes {
 public:
  Shapes(unsigned seed, bool on_grid, double offset) : random_(seed), on_grid_(on_grid), offset_(offset) {}
  xy_d Point() { return {Coordinate(), Coordinate()}; }
  SatCommonUtils::TPolygon Polygon(int vertices) {
    SatCommonUtils::TPolygon polygon;
    for (int i = 0; i < vertices; ++i) polygon.AddVertex(Point());
    return polygon;
  }

 private:
  double Coordinate() {
    return offset_ + (on_grid_ ? static_cast<double>(whole_(random_)) : anywhere_(random_));
  }
  std::mt19937 random_;
  std::uniform_int_distribution<int> whole_{0, 7};
  std::uniform_real_distribution<double> anywhere_{0.0, 7.0};
  bool on_grid_;
  double offset_;
};

/// GEOS must have been started: `initGEOS`.
using GeosShape = std::unique_ptr<GEOSGeometry, void (*)(GEOSGeometry*)>;

inline GeosShape Owned(GEOSGeometry* shape) {
  EXPECT_NE(shape, nullptr) << "GEOS failed";
  return {shape, GEOSGeom_destroy};
}
inline GeosShape GeosPoint(const xy_d& p) { return Owned(GEOSGeom_createPointFromXY(p.x, p.y)); }
inline GeosShape GeosRing(const SatCommonUtils::TPolygon& polygon) {
  std::vector<xy_d> closed = polygon.Vertices();
  closed.push_back(closed.front());
  const auto size = static_cast<unsigned>(closed.size());
  return Owned(GEOSGeom_createLinearRing(GEOSCoordSeq_copyFromBuffer(&closed.front().x, size, 0, 0)));
}
inline GeosShape GeosPolygon(const SatCommonUtils::TPolygon& polygon) {
  return Owned(GEOSGeom_createPolygon(GeosRing(polygon).release(), nullptr, 0));
}
/// By the even-odd rule, with the lines that a polygon without area, or in part without, consists of.
inline GeosShape GeosFigure(const SatCommonUtils::TPolygon& polygon) {
  GeosShape shape = GeosPolygon(polygon);
  return GEOSisValid(shape.get()) == 1 ? std::move(shape) : Owned(GEOSMakeValid(shape.get()));
}
inline GeosShape GeosCommon(const GeosShape& a, const GeosShape& b) {
  return Owned(GEOSIntersection(a.get(), b.get()));
}
inline double Area(const GeosShape& shape) {
  double area = -1.0;
  EXPECT_EQ(GEOSArea(shape.get(), &area), 1);
  return area;
}
inline double Distance(const GeosShape& a, const GeosShape& b) {
  double distance = -1.0;
  EXPECT_EQ(GEOSDistance(a.get(), b.get(), &distance), 1);
  return distance;
}

}  // namespace test
