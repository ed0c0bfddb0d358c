/// Reading the MapInfo interchange form.
#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <filesystem>
#include <memory>
#include <numeric>
#include <string_view>
#include <utility>

#include "kelvane/geometry/mif_form.h"
#include "kelvane/geometry/polygon_mif.h"
#include "kelvane/geometry/text_scanner.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/problem.h"
#include "kelvane/numeric/split.h"

namespace SatCommonUtils {

namespace {

/// Of a text, and of the values that collections repeat.
constexpr std::size_t LargestSize = std::size_t{1} << 28;

std::string ReadWhole(TKaStream* stream) {
  constexpr std::size_t Piece = std::size_t{1} << 16;
  std::string text;
  for (std::size_t taken = Piece; taken == Piece;) {
    const std::size_t length = text.size();
    text.resize(length + Piece);
    taken = stream->Read(&text[length], Piece);
    text.resize(length + taken);
    if (text.size() > LargestSize) throw TKaMessage("it holds more than 256 MiB");
    // Otherwise a device that gives zeros for ever would be read up to the limit.
    if (text.find('\0', length) != std::string::npos)
      throw TKaMessage("it holds zero bytes: this is no text");
  }
  if (!stream->IsReady()) throw TKaMessage("the stream cannot be read");
  if (text.compare(0, ByteOrderMark.size(), ByteOrderMark) == 0) text.erase(0, ByteOrderMark.size());
  return text;
}

bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

std::string Keyword(TTextScanner* scanner) { return toupper(std::string(scanner->Word("("))); }

/// The Transform clause: a factor and a shift for each coordinate.
struct TMIFTransform {
  bool Given = false;
  std::array<double, 4> Terms{};  // factors of x and y, shifts of x and y

  double Apply(double value, std::size_t axis) const {
    if (!Given) return value;
    // A factor of zero stands for one that is left out.
    const double factor = Terms[axis] == 0.0 ? 1.0 : Terms[axis];
    return value * factor + Terms[axis + 2];
  }
};

class TMIFReader {
 public:
  explicit TMIFReader(std::string_view text) : scanner_(text) {}

  TMIFLayer Read() {
    ReadHeader();
    ReadObjects();
    return std::move(layer_);
  }
  /// For each region, the row of the MID file that belongs to it.
  const std::vector<std::size_t>& Rows() const { return rows_; }
  std::size_t RowCount() const { return row_count_; }

 private:
  /// Bytes that things take at least.
  static constexpr std::size_t VertexBytes = 4;  // "0 0\n"
  static constexpr std::size_t RingBytes = 2;    // "0\n"
  static constexpr std::size_t ColumnBytes = 4;  // "a b\n"

  std::string RestOfClause() { return std::string(Trimmed(scanner_.RestOfLine())); }

  void ReadHeader() {
    std::string previous;
    for (;;) {
      const std::string word(scanner_.Word());
      const std::string key = toupper(word);
      if (key == "DATA") return;
      if (key == "VERSION") {
        ReadVersion();
      } else if (key == "CHARSET") {
        ReadCharset();
      } else if (key == "DELIMITER") {
        ReadDelimiter();
      } else if (key == "COORDSYS") {
        layer_.CoordSys = RestOfClause();
      } else if (key == "TRANSFORM") {
        ReadTransform();
      } else if (key == "COLUMNS") {
        ReadColumns();
      } else if (IsOneOf(key, {"UNIQUE", "INDEX"})) {
        scanner_.RestOfLine();
      } else if (previous == "COORDSYS") {
        // The one clause that is long enough to be broken into lines.
        constexpr std::size_t Longest = 65536;
        if (layer_.CoordSys.size() > Longest) scanner_.Refuse("a CoordSys clause of more than 64 KiB");
        layer_.CoordSys += " " + word + std::string(scanner_.RestOfLine());
        layer_.CoordSys = std::string(Trimmed(layer_.CoordSys));
        continue;
      } else {
        scanner_.Refuse("\"" + TTextScanner::Excerpt(word) + "\" is no clause of a MIF file");
      }
      previous = key;
    }
  }

  void ReadVersion() {
    const double version = scanner_.Number();
    if (!(version >= 1.0 && version <= GreatestMIFVersion)) scanner_.Refuse("there is no such version");
    layer_.Version = static_cast<int>(version);
  }

  void ReadCharset() {
    const std::string text = RestOfClause();
    const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    layer_.Charset = quoted ? text.substr(1, text.size() - 2) : text;
  }

  void ReadDelimiter() {
    const std::string text = RestOfClause();
    if (text.size() != 3 || text[0] != '"' || text[2] != '"') {
      scanner_.Refuse("the delimiter is not one character in quotes");
    }
    layer_.Delimiter = text[1];
  }

  void ReadTransform() {
    constexpr char Delimiters[] = ", \t";
    const std::string text = RestOfClause();
    std::array<double, 4>& terms = transform_.Terms;
    transform_.Given = Split(text.c_str(), Delimiters, nullptr, 0, false) == terms.size();
    if (transform_.Given) Split(text.c_str(), Delimiters, terms.data(), terms.size(), false);
    const bool finite =
        std::all_of(terms.begin(), terms.end(), [](double term) { return std::isfinite(term); });
    if (!transform_.Given || !finite) scanner_.Refuse("Transform has not four numbers");
  }

  void ReadColumns() {
    layer_.Columns.clear();
    for (std::size_t left = scanner_.Count(ColumnBytes); left > 0; --left) {
      TMIFColumn column;
      column.Name = scanner_.Word("(");
      column.Type = RestOfClause();
      if (column.Type.empty())
        scanner_.Refuse("column " + TTextScanner::Excerpt(column.Name) + " has no type");
      layer_.Columns.push_back(std::move(column));
    }
  }

  void ReadObjects() {
    std::string object;
    while (!scanner_.AtEnd()) {
      const std::string word = Keyword(&scanner_);
      if (IsObject(word)) {
        CountRow(word);
        object = word;
        ReadObject(object);
      } else {
        // Of objects that are not kept, lines of every kind are passed over.
        const bool is_kept = IsOneOf(object, {"", "REGION", "RECT", "NONE", "COLLECTION"});
        if (is_kept && !IsOneOf(word, {"PEN", "BRUSH", "CENTER"})) {
          scanner_.Refuse("\"" + TTextScanner::Excerpt(word) + "\" does not belong here");
        }
        scanner_.RestOfLine();
      }
    }
    if (collected_ > 0) scanner_.Refuse("a collection lacks objects: " + std::to_string(collected_));
  }

  static bool IsObject(std::string_view word) {
    return IsOneOf(word, {"REGION", "RECT", "NONE", "COLLECTION", "POINT", "LINE", "PLINE", "MULTIPOINT",
                          "ARC", "TEXT", "ROUNDRECT", "ELLIPSE"});
  }

  /// The objects of a collection share its row.
  void CountRow(std::string_view object) {
    if (collected_ > 0) {
      if (object == "COLLECTION") scanner_.Refuse("a collection within a collection");
      --collected_;
    } else {
      ++row_count_;
    }
  }

  void ReadObject(const std::string& object) {
    if (object == "REGION") {
      std::vector<TPolygon> rings;
      for (std::size_t left = scanner_.Count(RingBytes); left > 0; --left) rings.push_back(ReadRing());
      AddRegion(std::move(rings));
    } else if (object == "RECT") {
      AddRegion({ReadRectangle()});
    } else if (object == "NONE") {
      AddRegion({});
    } else if (object == "COLLECTION") {
      collected_ = scanner_.Count(RingBytes);
    } else {
      ++layer_.OtherObjects;
      scanner_.RestOfLine();
    }
  }

  void AddRegion(std::vector<TPolygon> rings) {
    layer_.Regions.push_back({std::move(rings), {}});
    rows_.push_back(row_count_ - 1);
  }

  xy_d ReadPoint() {
    const double x = scanner_.Number();
    const double y = scanner_.Number();
    const xy_d point = {transform_.Apply(x, 0), transform_.Apply(y, 1)};
    if (!std::isfinite(point.x) || !std::isfinite(point.y)) scanner_.Refuse("Transform leads out of range");
    return point;
  }

  TPolygon ReadRing() {
    const std::size_t count = scanner_.Count(VertexBytes);
    std::vector<xy_d> vertices;
    vertices.reserve(count);
    for (std::size_t i = 0; i < count; ++i) vertices.push_back(ReadPoint());
    if (count > 1 && vertices.front().x == vertices.back().x && vertices.front().y == vertices.back().y) {
      vertices.pop_back();
    }
    return TPolygon(std::move(vertices));
  }

  TPolygon ReadRectangle() {
    const xy_d a = ReadPoint();
    const xy_d b = ReadPoint();
    return TPolygon({a, {b.x, a.y}, b, {a.x, b.y}});
  }

  TTextScanner scanner_;
  TMIFLayer layer_;
  TMIFTransform transform_;
  std::size_t collected_ = 0;
  std::size_t row_count_ = 0;
  std::vector<std::size_t> rows_;
};

/// Takes a value in quotes off a row. A quote within is doubled; one that is not is taken as it stands,
/// unless the value ends with it.
bool TakeQuoted(std::string_view* row, char delimiter, std::string* value) {
  for (std::size_t i = 1; i < row->size(); ++i) {
    const char c = (*row)[i];
    if (c == '"') {
      const char next = i + 1 < row->size() ? (*row)[i + 1] : delimiter;
      if (next == delimiter) {
        row->remove_prefix(i + 1);
        return true;
      }
      if (next == '"') ++i;
    }
    *value += c;
  }
  return false;
}

std::vector<std::string> ReadRow(TTextScanner* scanner, char delimiter) {
  if (scanner->BytesLeft() == 0) scanner->Refuse("the text ends too early");
  std::string_view row = scanner->RestOfLine();
  std::vector<std::string> values;
  for (bool more = true; more;) {
    std::string value;
    if (row.substr(0, 1) == "\"") {
      if (!TakeQuoted(&row, delimiter, &value)) scanner->Refuse("a quote is not closed");
    } else {
      const std::size_t length = std::min(row.find(delimiter), row.size());
      value = row.substr(0, length);
      row.remove_prefix(length);
    }
    more = !row.empty();
    if (more) row.remove_prefix(1);
    values.push_back(std::move(value));
  }
  return values;
}

/// What values take in memory.
std::size_t SizeOf(const std::vector<std::string>& values) {
  return std::accumulate(
      values.begin(), values.end(), std::size_t{0},
      [](std::size_t size, const auto& value) { return size + sizeof value + value.size(); });
}

void ReadRows(std::string_view text, const TMIFReader& mif, TMIFLayer* layer) {
  TTextScanner scanner(text);
  std::size_t repeated = 0;
  auto region = layer->Regions.begin();
  auto row_of_region = mif.Rows().begin();
  for (std::size_t row = 0; row < mif.RowCount(); ++row) {
    const std::vector<std::string> values = ReadRow(&scanner, layer->Delimiter);
    if (values.size() != layer->Columns.size()) {
      scanner.Refuse(std::to_string(values.size()) + " values for " + std::to_string(layer->Columns.size()) +
                     " columns");
    }
    const auto end = std::find_if(row_of_region, mif.Rows().end(), [row](std::size_t r) { return r != row; });
    const auto sharers = static_cast<std::size_t>(end - row_of_region);
    if (sharers > 1) repeated += (sharers - 1) * SizeOf(values);
    if (repeated > LargestSize) scanner.Refuse("collections repeat more than 256 MiB of values");
    for (; row_of_region != end; ++row_of_region, ++region) region->Values = values;
  }
  if (!scanner.AtEnd()) {
    scanner.Word();
    scanner.Refuse("more rows than objects");
  }
}

/// Adds to the message of what goes wrong in `read` which of the two files it is.
template <class TRead>
void InFile(const char* file, TRead read) {
  try {
    read();
  } catch (const TKaMessage& failure) {
    throw TKaMessage(std::string(file) + ": " + failure.what());
  }
}

TMIFLayer ReadLayer(TKaStream* mif, TKaStream* mid) {
  TMIFLayer layer;
  std::string text;
  InFile("MIF", [&] { text = ReadWhole(mif); });
  TMIFReader reader(text);
  InFile("MIF", [&] { layer = reader.Read(); });
  if (mid != nullptr && !layer.Columns.empty()) {
    InFile("MID", [&] { ReadRows(ReadWhole(mid), reader, &layer); });
  }
  return layer;
}

}  // namespace

bool ReadMIF(TKaStream* mif, TKaStream* mid, TMIFLayer* layer, std::string* problem) try {
  *layer = ReadLayer(mif, mid);
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot read it");
}

bool ReadMIFFile(const std::string& path, TMIFLayer* layer, std::string* problem) try {
  TKaFileStream mif(TKaPath(path), kaOpenRead, kaShareAll);
  std::unique_ptr<TKaFileStream> mid;
  for (const char* suffix : MidSuffixes(path)) {
    const std::string mid_path = ChangeFileExt(path, suffix);
    std::error_code ignored;
    // One that cannot be opened is not the same as none.
    if (!std::filesystem::exists(std::filesystem::symlink_status(mid_path, ignored))) continue;
    mid = std::make_unique<TKaFileStream>(TKaPath(mid_path), kaOpenRead, kaShareAll);
    break;
  }
  return ReadMIF(&mif, mid.get(), layer, problem);
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot read it");
}

bool TPolygon::InitializeFromMIF(const std::string& path, std::size_t* ringCount, std::string* problem) try {
  TKaFileStream mif(TKaPath(path), kaOpenRead, kaShareAll);
  TMIFLayer layer;
  if (!ReadMIF(&mif, nullptr, &layer, problem)) return false;
  std::size_t count = 0;
  TPolygon* first = nullptr;
  for (TMIFRegion& region : layer.Regions) {
    if (first == nullptr && !region.Rings.empty()) first = &region.Rings.front();
    count += region.Rings.size();
  }
  if (first == nullptr) return Fail(problem, "it holds no region");
  if (!*first) return Fail(problem, "its first ring has fewer than three vertices");
  *this = std::move(*first);
  if (ringCount != nullptr) *ringCount = count;
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot read it");
}

}  // namespace SatCommonUtils
