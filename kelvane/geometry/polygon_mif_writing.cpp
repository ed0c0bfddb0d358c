/// Writing the MapInfo interchange form.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <exception>
#include <string_view>
#include <utility>

#include "kelvane/geometry/mif_form.h"
#include "kelvane/geometry/polygon_mif.h"
#include "kelvane/geometry/text_scanner.h"
#include "kelvane/module/file_replacement.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/problem.h"

namespace SatCommonUtils {

namespace {

void AppendNumber(double value, std::string* text) {
  std::array<char, 32> digits;
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  text->append(static_cast<const char*>(digits.data()), end);
}

/// Refuses what would not be read back as a part of one line.
const std::string& OneLine(const std::string& text, const char* what, std::string_view besides = {}) {
  const bool broken = text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
  if (broken || text.find_first_of(besides) != std::string::npos) {
    throw TKaMessage(std::string(what) + " holds characters that have no place there");
  }
  return text;
}

const std::string& Clause(const std::string& text, const char* what, std::string_view besides = {}) {
  if (text.empty() || Trimmed(text) != text) {
    throw TKaMessage(std::string(what) + " is empty or has white space around it");
  }
  return OneLine(text, what, besides);
}

std::string Header(const TMIFLayer& layer, const std::vector<TMIFColumn>& columns) {
  const std::string delimiter(1, layer.Delimiter);
  if (layer.Version < 1 || layer.Version > GreatestMIFVersion) throw TKaMessage("there is no such version");
  std::string text = "Version " + std::to_string(layer.Version);
  text += "\nCharset \"" + OneLine(layer.Charset, "the character set", "\"");
  text += "\"\nDelimiter \"" + OneLine(delimiter, "the delimiter", "\"") + "\"\n";
  if (!layer.CoordSys.empty()) text += "CoordSys " + Clause(layer.CoordSys, "the CoordSys clause") + "\n";
  text += "Columns " + std::to_string(columns.size()) + "\n";
  for (const TMIFColumn& column : columns) {
    text += "  " + Clause(column.Name, "a column's name", " \t\v\f(");
    text += " " + Clause(column.Type, "a column's type") + "\n";
  }
  return text + "Data\n\n";
}

void AppendVertex(const xy_d& vertex, std::string* text) {
  if (!std::isfinite(vertex.x) || !std::isfinite(vertex.y)) throw TKaMessage("a vertex is not finite");
  AppendNumber(vertex.x, text);
  *text += ' ';
  AppendNumber(vertex.y, text);
  *text += '\n';
}

void AppendRegion(const std::vector<TPolygon>& rings, std::string* text) {
  if (rings.empty()) {
    *text += "None\n";
    return;
  }
  *text += "Region " + std::to_string(rings.size()) + "\n";
  for (const TPolygon& ring : rings) {
    if (!ring) throw TKaMessage("a ring has fewer than three vertices");
    *text += "  " + std::to_string(ring.VertexCount() + 1) + "\n";
    for (const xy_d& vertex : ring.Vertices()) AppendVertex(vertex, text);
    AppendVertex(ring.Vertices().front(), text);
  }
  *text += "    Pen (1,2,0)\n    Brush (1,0,16777215)\n";
}

std::string Quoted(const std::string& value) {
  std::string text = "\"";
  for (const char c : value) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + "\"";
}

std::string Row(const std::vector<TMIFColumn>& columns, const std::vector<std::string>& values,
                char delimiter) {
  std::string text;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) text += delimiter;
    const std::string value = values.empty() ? std::string() : OneLine(values[i], "a value");
    const bool is_text = toupper(columns[i].Type.substr(0, 4)) == "CHAR";
    const bool needs_quotes = value.find(delimiter) != std::string::npos || value.substr(0, 1) == "\"" ||
                              value.substr(0, ByteOrderMark.size()) == ByteOrderMark;
    text += is_text || needs_quotes ? Quoted(value) : value;
  }
  return text + "\n";
}

struct TMIFTexts {
  std::string Mif;
  std::string Mid;
};

TMIFTexts Compose(const TMIFLayer& layer) {
  const bool numbered = layer.Columns.empty();
  const std::vector<TMIFColumn> columns =
      numbered ? std::vector<TMIFColumn>{{"ID", "Integer"}} : layer.Columns;
  TMIFTexts texts = {Header(layer, columns), {}};
  for (std::size_t i = 0; i < layer.Regions.size(); ++i) {
    const TMIFRegion& region = layer.Regions[i];
    if (!region.Values.empty() && region.Values.size() != layer.Columns.size()) {
      throw TKaMessage("region " + std::to_string(i + 1) + " has " + std::to_string(region.Values.size()) +
                       " values for " + std::to_string(layer.Columns.size()) + " columns");
    }
    AppendRegion(region.Rings, &texts.Mif);
    const std::vector<std::string> number = {std::to_string(i + 1)};
    texts.Mid += Row(columns, numbered ? number : region.Values, layer.Delimiter);
  }
  return texts;
}

bool WriteText(TKaStream* stream, const std::string& text) {
  return stream->Write(text.data(), text.size()) == text.size();
}

/// The MID file of a MIF file.
std::string MidPath(const std::string& path) {
  const std::string suffix = path.substr(CutFileExt(path).size());
  if (toupper(suffix) != ".MIF") throw TKaMessage(path + ": the name does not end in .mif");
  return ChangeFileExt(path, MidSuffixes(path).front());
}

}  // namespace

bool WriteMIF(const TMIFLayer& layer, TKaStream* mif, TKaStream* mid, std::string* problem) try {
  const TMIFTexts texts = Compose(layer);
  if (!WriteText(mif, texts.Mif) || !WriteText(mid, texts.Mid)) {
    return Fail(problem, "the stream does not take it");
  }
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot write it");
}

bool WriteMIFFile(const std::string& path, const TMIFLayer& layer, std::string* problem) try {
  const TMIFTexts texts = Compose(layer);
  const std::string mid_path = MidPath(path);
  TFileReplacement mif(path, texts.Mif, TE_FilePlace::Any);
  TFileReplacement mid(mid_path, texts.Mid, TE_FilePlace::Any);
  mid.TakePlace();
  mif.TakePlace();
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot write it");
}

bool TPolygon::SaveToMIF(const std::string& path, const std::string& coordSys, std::string* problem) const
    try {
  TMIFLayer layer;
  layer.Delimiter = ',';
  layer.CoordSys = coordSys;
  layer.Regions.push_back({{*this}, {}});
  xy_d low;
  xy_d high;
  if (coordSys.empty() && BoundingBox(&low, &high)) {
    std::string& clause = layer.CoordSys = "NonEarth Units \"m\" Bounds (";
    AppendNumber(low.x, &clause);
    AppendNumber(low.y, &(clause += ", "));
    AppendNumber(high.x, &(clause += ") ("));
    AppendNumber(high.y, &(clause += ", "));
    clause += ")";
  }
  return WriteMIFFile(path, layer, problem);
} catch (...) {
  return Fail(problem, "there is no memory for it");
}

}  // namespace SatCommonUtils
