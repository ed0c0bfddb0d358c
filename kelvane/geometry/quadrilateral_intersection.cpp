#include "kelvane/geometry/quadrilateral_intersection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <tuple>
#include <utility>

#include "kelvane/geometry/exact_sum.h"

namespace SatCommonUtils {

namespace {

/// Whose boundary a segment is: a set of bits.
constexpr unsigned OfA = 1;
constexpr unsigned OfB = 2;
constexpr unsigned OfBoth = OfA | OfB;

struct TSegment {
  xy_d From;
  xy_d To;
  unsigned Owners;
};

bool Same(const xy_d& a, const xy_d& b) { return a.x == b.x && a.y == b.y; }

bool IsBelow(const xy_d& a, const xy_d& b) { return std::tie(a.y, a.x) < std::tie(b.y, b.x); }

/// True when the bounding boxes of two segments come within `tolerance` of each other.
bool BoxesMeet(const TSegment& s, const TSegment& t, double tolerance) {
  const auto meet = [tolerance](double a, double b, double c, double d) {
    return std::max(a, b) + tolerance >= std::min(c, d) && std::max(c, d) + tolerance >= std::min(a, b);
  };
  return meet(s.From.x, s.To.x, t.From.x, t.To.x) && meet(s.From.y, s.To.y, t.From.y, t.To.y);
}

/// True when the segment passes within `tolerance` of the point, but not by an end of its own; with no
/// tolerance, when it exactly runs through it.
bool PassesBy(const TSegment& s, const xy_d& point, double tolerance) {
  if (Same(point, s.From) || Same(point, s.To) || !BoxesMeet(s, {point, point, 0}, tolerance)) return false;
  const double area = Orientation(s.From, s.To, point);
  if (tolerance == 0.0) return area == 0.0;
  const xy_d along = {s.To.x - s.From.x, s.To.y - s.From.y};
  return std::fabs(area) <= tolerance * std::hypot(along.x, along.y) &&
         (point.x - s.From.x) * along.x + (point.y - s.From.y) * along.y > 0.0 &&
         (s.To.x - point.x) * along.x + (s.To.y - point.y) * along.y > 0.0;
}

/// The number nearest to `value` that lies both between `a` and `b` and between `c` and `d`.
double Clamped(double value, double a, double b, double c, double d) {
  return std::clamp(value, std::max(std::min(a, b), std::min(c, d)),
                    std::min(std::max(a, b), std::max(c, d)));
}

/// The point, rounded but within both boxes, in which two segments cross; found along the first.
xy_d Crossing(const TSegment& s, const TSegment& t) {
  TExactSum from;
  TExactSum to;
  from.AddTriangle(t.From, t.To, s.From);
  to.AddTriangle(t.From, t.To, s.To);
  // The signs differ, so that nothing is cancelled.
  const double whole = from.Value() - to.Value();
  const bool from_is_nearer = std::fabs(from.Value()) < std::fabs(to.Value());
  const xy_d& near = from_is_nearer ? s.From : s.To;
  const xy_d& far = from_is_nearer ? s.To : s.From;
  const double part = (from_is_nearer ? from.Value() : -to.Value()) / whole;
  return {Clamped(near.x + part * (far.x - near.x), s.From.x, s.To.x, t.From.x, t.To.x),
          Clamped(near.y + part * (far.y - near.y), s.From.y, s.To.y, t.From.y, t.To.y)};
}

double LongerSide(const TSegment& s) {
  return std::max(std::fabs(s.To.x - s.From.x), std::fabs(s.To.y - s.From.y));
}

bool LieAcross(const TSegment& line, const xy_d& a, const xy_d& b) {
  const double of_a = Orientation(line.From, line.To, a);
  const double of_b = Orientation(line.From, line.To, b);
  return (of_a > 0.0 && of_b < 0.0) || (of_a < 0.0 && of_b > 0.0);
}

bool Cross(const TSegment& s, const TSegment& t) {
  return BoxesMeet(s, t, 0.0) && LieAcross(s, t.From, t.To) && LieAcross(t, s.From, s.To);
}

std::vector<TSegment> Edges(const TPolygon& a, const TPolygon& b) {
  std::vector<TSegment> edges;
  for (const auto& [polygon, owner] : {std::pair(&a, OfA), std::pair(&b, OfB)}) {
    const std::vector<xy_d>& vertices = polygon->Vertices();
    for (std::size_t i = 0; i < vertices.size(); ++i) {
      edges.push_back({vertices[i], vertices[(i + 1) % vertices.size()], owner});
    }
  }
  return edges;
}

/// Points none of which are close together.
class TNodes {
 public:
  explicit TNodes(double separation) : separation_(separation) {}
  /// The node that stands for the point: one that is close to it, or else the point.
  xy_d Of(const xy_d& point) {
    for (const xy_d& node : nodes_) {
      if (std::hypot(node.x - point.x, node.y - point.y) <= separation_) return node;
    }
    nodes_.push_back(point);
    return point;
  }
  const std::vector<xy_d>& All() const { return nodes_; }

 private:
  double separation_;
  std::vector<xy_d> nodes_;
};

/// Leads the edges through their crossings and all vertices that they come close to.
std::vector<TSegment> Routed(const std::vector<TSegment>& edges, double tolerance) {
  // Far enough apart that every part of a divided segment is shorter than the whole.
  TNodes nodes(4.0 * tolerance);
  std::vector<TSegment> pending;
  pending.reserve(2 * edges.size());
  for (const TSegment& s : edges) pending.push_back({nodes.Of(s.From), nodes.Of(s.To), s.Owners});
  for (auto s = edges.begin(); s != edges.end(); ++s) {
    for (auto t = edges.begin(); t != s; ++t) {
      if (Cross(*s, *t)) nodes.Of(LongerSide(*s) <= LongerSide(*t) ? Crossing(*s, *t) : Crossing(*t, *s));
    }
  }
  std::vector<TSegment> routed;
  while (!pending.empty()) {
    const TSegment s = pending.back();
    pending.pop_back();
    const auto node = std::find_if(nodes.All().begin(), nodes.All().end(),
                                   [&](const xy_d& point) { return PassesBy(s, point, tolerance); });
    if (node != nodes.All().end()) {
      pending.push_back({s.From, *node, s.Owners});
      pending.push_back({*node, s.To, s.Owners});
    } else if (!Same(s.From, s.To)) {
      routed.push_back(s);
    }
  }
  return routed;
}

/// Segments that run upwards (level ones to the right), each once, with the owners that pass over it an odd
/// number of times; others bound nothing and are left out.
std::vector<TSegment> Merged(std::vector<TSegment> segments) {
  const auto ends = [](const TSegment& s) { return std::tie(s.From.y, s.From.x, s.To.y, s.To.x); };
  for (TSegment& s : segments) {
    if (IsBelow(s.To, s.From)) std::swap(s.From, s.To);
  }
  std::sort(segments.begin(), segments.end(),
            [&](const TSegment& s, const TSegment& t) { return ends(s) < ends(t); });
  std::vector<TSegment> merged;
  for (const TSegment& s : segments) {
    if (!merged.empty() && ends(merged.back()) == ends(s)) {
      merged.back().Owners ^= s.Owners;
    } else {
      merged.push_back(s);
    }
  }
  merged.erase(std::remove_if(merged.begin(), merged.end(), [](const TSegment& s) { return s.Owners == 0; }),
               merged.end());
  return merged;
}

/// True when segments meet at ends only, or coincide.
bool AreDivided(const std::vector<TSegment>& segments) {
  for (auto s = segments.begin(); s != segments.end(); ++s) {
    for (auto t = segments.begin(); t != s; ++t) {
      const bool run_through = PassesBy(*s, t->From, 0.0) || PassesBy(*s, t->To, 0.0) ||
                               PassesBy(*t, s->From, 0.0) || PassesBy(*t, s->To, 0.0);
      if (run_through || Cross(*s, *t)) return false;
    }
  }
  return true;
}

/// The edges as segments that meet at ends only, or coincide.
std::vector<TSegment> Divided(const std::vector<TSegment>& edges) {
  double greatest = 0.0;
  for (const TSegment& s : edges) greatest = std::max({greatest, std::fabs(s.From.x), std::fabs(s.From.y)});
  // Some times the rounding of a crossing. Where that is too little, more is certainly enough in the end:
  // a single node is left then.
  double tolerance = 0x1p-51 * greatest;
  std::vector<TSegment> segments = Merged(Routed(edges, tolerance));
  while (!AreDivided(segments)) {
    tolerance *= 4.0;
    segments = Merged(Routed(edges, tolerance));
  }
  return segments;
}

/// True when `value` is above the mean of the two others, which is not rounded for it.
bool IsAboveMean(double value, double a, double b) {
  if (value >= std::max(a, b)) return value > std::min(a, b);
  if (value <= std::min(a, b)) return false;
  TExactSum sum;
  sum.Add(value);
  sum.Add(value);
  sum.Add(-a);
  sum.Add(-b);
  return sum.Value() > 0.0;
}

/// True when the middle between `p` and `q`, which is not rounded for it, lies left of the line.
bool MiddleLiesLeft(const xy_d& from, const xy_d& to, const xy_d& p, const xy_d& q) {
  const double of_p = Orientation(from, to, p);
  const double of_q = Orientation(from, to, q);
  if (of_p >= 0.0 && of_q >= 0.0) return of_p > 0.0 || of_q > 0.0;
  if (of_p <= 0.0 && of_q <= 0.0) return false;
  TExactSum sum;
  sum.AddTriangle(from, to, p);
  sum.AddTriangle(from, to, q);
  return sum.Value() > 0.0;
}

/// Whose inside lies beside the middle of a segment that is not level, on its right; the ray runs on from
/// there. Coordinates are swapped on request, so that level segments become upright ones.
unsigned InsideBeside(const TSegment& s, const std::vector<TSegment>& segments, bool swapped) {
  const auto seen = [swapped](const xy_d& p) { return swapped ? xy_d{p.y, p.x} : p; };
  const xy_d p = seen(s.From);
  const xy_d q = seen(s.To);
  unsigned inside = 0;
  for (const TSegment& other : segments) {
    if (&other == &s) continue;
    xy_d low = seen(other.From);
    xy_d high = seen(other.To);
    if (high.y < low.y) std::swap(low, high);
    if (IsAboveMean(high.y, p.y, q.y) == IsAboveMean(low.y, p.y, q.y)) continue;
    if (MiddleLiesLeft(low, high, p, q)) inside ^= other.Owners;
  }
  return inside;
}

/// The segments with both insides on one side only, which then is their left.
std::vector<TSegment> CommonBoundary(const std::vector<TSegment>& segments) {
  std::vector<TSegment> boundary;
  for (const TSegment& s : segments) {
    const bool level = s.From.y == s.To.y;
    // Beyond a level segment lies what is above it, its left.
    const unsigned beside = InsideBeside(s, segments, level);
    const unsigned across = beside ^ s.Owners;
    const bool left = (level ? beside : across) == OfBoth;
    const bool right = (level ? across : beside) == OfBoth;
    if (left && !right) boundary.push_back(s);
    if (right && !left) boundary.push_back({s.To, s.From, s.Owners});
  }
  return boundary;
}

/// True when, coming from `from` to `at`, the way to `a` turns further to the left than that to `b`.
bool TurnsFurtherLeft(const xy_d& from, const xy_d& at, const xy_d& a, const xy_d& b) {
  const auto half = [&](const xy_d& to) {
    const double side = Orientation(from, at, to);
    return side > 0.0 ? 0 : side < 0.0 ? 2 : 1;
  };
  return half(a) != half(b) ? half(a) < half(b) : Orientation(at, b, a) > 0.0;
}

/// Takes the segment out that continues the ring beyond `s` and keeps to the same part: figures that touch
/// at a corner fall apart there.
TSegment TakeNext(const TSegment& s, std::vector<TSegment>* boundary) {
  auto best = boundary->end();
  for (auto next = boundary->begin(); next != boundary->end(); ++next) {
    if (!Same(next->From, s.To)) continue;
    if (best == boundary->end() || TurnsFurtherLeft(s.From, s.To, next->To, best->To)) best = next;
  }
  const TSegment taken = *best;
  boundary->erase(best);
  return taken;
}

/// The ring without vertices in the middle of straight sides.
TPolygon Simplified(std::vector<xy_d> ring) {
  for (std::size_t i = 0, passed = 0; passed < ring.size() && ring.size() >= 3;) {
    const std::size_t n = ring.size();
    i %= n;
    const bool straight = Orientation(ring[(i + n - 1) % n], ring[i], ring[(i + 1) % n]) == 0.0;
    passed = straight ? 0 : passed + 1;
    if (straight) {
      ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(i));
    } else {
      ++i;
    }
  }
  return TPolygon(std::move(ring));
}

std::vector<TPolygon> Rings(std::vector<TSegment> boundary) {
  std::vector<TPolygon> rings;
  while (!boundary.empty()) {
    TSegment s = boundary.back();
    boundary.pop_back();
    std::vector<xy_d> ring = {s.From};
    while (!Same(s.To, ring.front())) {
      ring.push_back(s.To);
      s = TakeNext(s, &boundary);
    }
    TPolygon simplified = Simplified(std::move(ring));
    // The common part of two such figures has no holes, unless rounding makes one.
    if (simplified.Orientation() > 0) rings.push_back(std::move(simplified));
  }
  return rings;
}

/// True when some point is in both figures, edges included.
bool HaveCommonPoint(const TPolygon& a, const TPolygon& b, const std::vector<TSegment>& edges) {
  const auto reaches = [](const TPolygon& from, const TPolygon& into) {
    return std::any_of(from.Vertices().begin(), from.Vertices().end(),
                       [&](const xy_d& vertex) { return into.Contains(vertex); });
  };
  if (reaches(a, b) || reaches(b, a)) return true;
  for (const TSegment& s : edges) {
    for (const TSegment& t : edges) {
      if (s.Owners < t.Owners && Cross(s, t)) return true;
    }
  }
  return false;
}

bool IsUsable(const TPolygon& polygon) {
  // Within these the products of two coordinates are exact sums.
  constexpr double Largest = 1e100;
  constexpr double Smallest = 1e-130;
  const auto is_usable = [=](double v) {
    return v == 0.0 || (std::fabs(v) < Largest && std::fabs(v) >= Smallest);
  };
  const std::vector<xy_d>& vertices = polygon.Vertices();
  return vertices.size() == 4 && std::all_of(vertices.begin(), vertices.end(),
                                             [=](const xy_d& v) { return is_usable(v.x) && is_usable(v.y); });
}

}  // namespace

bool IntersectQuadrilaterals(const TPolygon& a, const TPolygon& b, TQuadrilateralIntersection* result) {
  if (!IsUsable(a) || !IsUsable(b)) return false;
  const std::vector<TSegment> edges = Edges(a, b);
  TQuadrilateralIntersection found;
  if (HaveCommonPoint(a, b, edges)) {
    found.Pieces = Rings(CommonBoundary(Divided(edges)));
    for (const TPolygon& piece : found.Pieces) found.Area += piece.SignedArea();
    found.Contact = found.Pieces.empty() ? TE_PlaneContact::Touching : TE_PlaneContact::Overlapping;
  }
  *result = std::move(found);
  return true;
}

}  // namespace SatCommonUtils
