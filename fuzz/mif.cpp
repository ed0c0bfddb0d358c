/// Polygons as MIF and, behind a line "MID:", the text of the MID file: what reads is written so that it
/// reads the same again, or refused.
#include <algorithm>

#include "fuzz/fuzzing.h"
#include "kelvane/geometry/polygon_mif.h"

namespace {

using namespace SatCommonUtils;

struct TTexts {
  std::string Mif;
  std::string Mid;
};

bool Read(const TTexts& texts, bool has_mid, TMIFLayer* layer, std::string* problem) {
  const auto mif = fuzz::StreamOf(texts.Mif);
  const auto mid = fuzz::StreamOf(texts.Mid);
  return ReadMIF(mif.get(), has_mid ? mid.get() : nullptr, layer, problem);
}

/// False where the layer is refused.
bool Write(const TMIFLayer& layer, TTexts* texts) {
  TKaStringStream mif;
  TKaStringStream mid;
  std::string problem;
  const bool written = WriteMIF(layer, &mif, &mid, &problem);
  *texts = {mif.Text(), mid.Text()};
  if (!written) {
    fuzz::RequireReason(problem);
    fuzz::Require(texts->Mif.empty() && texts->Mid.empty(), "what is refused writes nothing");
  }
  return written;
}

bool SameVertices(const TPolygon& a, const TPolygon& b) {
  return std::equal(
      a.Vertices().begin(), a.Vertices().end(), b.Vertices().begin(), b.Vertices().end(),
      [](const xy_d& p, const xy_d& q) { return fuzz::SameNumber(p.x, q.x) && fuzz::SameNumber(p.y, q.y); });
}

void CheckReadBack(const TMIFLayer& layer, const TMIFLayer& back) {
  fuzz::Require(back.Version == layer.Version && back.Charset == layer.Charset &&
                    back.Delimiter == layer.Delimiter && back.CoordSys == layer.CoordSys,
                "the header is read back");
  fuzz::Require(back.Regions.size() == layer.Regions.size(), "all regions are read back");
  const bool numbered = layer.Columns.empty();
  fuzz::Require(back.Columns.size() == std::max<std::size_t>(layer.Columns.size(), 1),
                "all columns are read back");
  for (std::size_t i = 0; i < layer.Columns.size(); ++i) {
    fuzz::Require(
        back.Columns[i].Name == layer.Columns[i].Name && back.Columns[i].Type == layer.Columns[i].Type,
        "a column is read back");
  }
  for (std::size_t i = 0; i < layer.Regions.size(); ++i) {
    const TMIFRegion& region = layer.Regions[i];
    const TMIFRegion& region_back = back.Regions[i];
    fuzz::Require(std::equal(region.Rings.begin(), region.Rings.end(), region_back.Rings.begin(),
                             region_back.Rings.end(), SameVertices),
                  "rings are read back");
    const std::vector<std::string> none(layer.Columns.size());
    const std::vector<std::string>& values = region.Values.empty() ? none : region.Values;
    fuzz::Require(numbered ? region_back.Values.at(0) == std::to_string(i + 1) : region_back.Values == values,
                  "values are read back");
  }
}

/// A layer that is not refused reads back, and is written the same again.
void CheckWriting(const TMIFLayer& layer) {
  TTexts texts;
  if (!Write(layer, &texts)) return;
  TMIFLayer back;
  std::string problem;
  if (!Read(texts, true, &back, &problem)) {
    fuzz::RequireSameText(texts.Mif, problem, "what is written is read");
  }
  CheckReadBack(layer, back);
  TTexts again;
  fuzz::Require(Write(back, &again), "what was read back is written");
  fuzz::RequireSameText(again.Mif, texts.Mif, "the same MIF text");
  fuzz::RequireSameText(again.Mid, texts.Mid, "the same MID text");
}

/// Character set, delimiter, CoordSys clause, then name, type and value of each column.
TMIFLayer LayerOf(std::string_view text) {
  const auto take = [&text] {
    const std::size_t end = std::min(text.find('|'), text.size());
    std::string piece(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return piece;
  };
  TMIFLayer layer;
  layer.Charset = take();
  layer.Delimiter = (take() + '\t')[0];
  layer.CoordSys = take();
  TMIFRegion region;
  region.Rings.push_back(TPolygon({{0.0, 0.0}, {1.0, 0.0}, {1.0, 1.0}}));
  while (!text.empty()) {
    const std::string name = take();
    layer.Columns.push_back({name, take()});
    region.Values.push_back(take());
  }
  layer.Regions.push_back(region);
  return layer;
}

/// Of coordinates for which it is promised.
void CheckGeometry(const TPolygon& polygon) {
  constexpr std::size_t MostVertices = 50;
  const auto usual = [](double value) {
    return value == 0.0 || (std::fabs(value) > 1e-130 && std::fabs(value) < 1e150);
  };
  if (polygon.VertexCount() > MostVertices) return;
  for (const xy_d& vertex : polygon.Vertices()) {
    if (!usual(vertex.x) || !usual(vertex.y)) return;
  }
  const double area = polygon.SignedArea();
  const int sign = (area > 0.0 ? 1 : 0) - (area < 0.0 ? 1 : 0);
  fuzz::Require(polygon.Orientation() == sign, "the orientation is the sign of the area");
  for (const xy_d& vertex : polygon.Vertices()) {
    fuzz::Require(polygon.Locate(vertex) == TE_PointLocation::Boundary, "a vertex lies on the boundary");
    fuzz::Require(polygon.SignedDistance(vertex) == 0.0, "a vertex is no distance from the boundary");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::string_view Divider = "\nMID:\n";
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (text.substr(0, 1) == "|") {
    CheckWriting(LayerOf(std::string_view(text).substr(1)));
    return 0;
  }
  const std::size_t divider = text.find(Divider);
  const bool has_mid = divider != std::string::npos;
  const TTexts texts = {text.substr(0, divider), has_mid ? text.substr(divider + Divider.size()) : ""};

  TMIFLayer layer;
  layer.CoordSys = "untouched";
  std::string problem;
  if (!Read(texts, has_mid, &layer, &problem)) {
    fuzz::RequireReason(problem);
    fuzz::Require(layer.CoordSys == "untouched" && layer.Regions.empty() && layer.Columns.empty(),
                  "a failed read leaves the layer");
    return 0;
  }
  for (const TMIFRegion& region : layer.Regions) {
    fuzz::Require(region.Values.empty() || region.Values.size() == layer.Columns.size(),
                  "a value for each column");
    for (const TPolygon& ring : region.Rings) CheckGeometry(ring);
  }
  CheckWriting(layer);
  return 0;
}
