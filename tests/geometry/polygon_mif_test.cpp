#include "kelvane/geometry/polygon_mif.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <utility>

#include "kelvane/module/host/stream.h"
#include "tests/support/files.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

/// The text with single quotes for double ones, as it is easier to write down.
std::string Text(std::string text) {
  for (char& c : text) c = c == '\'' ? '"' : c;
  return text;
}

/// A text with blanks behind it.
class TPaddedText : public TKaStringStream {
 public:
  TPaddedText(const std::string& text, std::size_t size)
      : TKaStringStream(text), blanks_(size - text.size()) {}
  std::size_t Read(void* destination, std::size_t size) override {
    const std::size_t taken = TKaStringStream::Read(destination, size);
    const std::size_t padding = std::min(size - taken, blanks_);
    std::memset(static_cast<char*>(destination) + taken, ' ', padding);
    blanks_ -= padding;
    return taken + padding;
  }

 private:
  std::size_t blanks_;
};

/// What a command prints.
std::string Output(const std::string& command) {
  FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
  std::string text;
  std::array<char, 4096> piece{};
  while (const std::size_t n = std::fread(piece.data(), 1, piece.size(), pipe)) text.append(piece.data(), n);
  EXPECT_EQ(::pclose(pipe), 0) << command << "\n" << text;
  return text;
}

/// All shapes of a file as GDAL reads them, bit for bit: WKB as hexadecimal digits.
std::string SeenByGdal(const std::string& path, const std::string& layer) {
  return Output(OGRINFO " -q " + path + " -dialect sqlite -sql 'SELECT hex(ST_AsBinary(geometry)) FROM " +
                layer + "'");
}

/// A ring's coordinates, closed, as they stand in WKB.
std::string Hexadecimal(const TPolygon& ring) {
  std::vector<xy_d> closed = ring.Vertices();
  closed.push_back(closed.front());
  const auto* const bytes = reinterpret_cast<const unsigned char*>(closed.data());
  std::string text;
  for (std::size_t i = 0; i < closed.size() * sizeof(xy_d); ++i) {
    for (const int digit : {bytes[i] / 16, bytes[i] % 16}) text += "0123456789ABCDEF"[digit];
  }
  return text;
}

void ExpectAllIn(const std::string& seen, const TMIFLayer& layer) {
  for (const TMIFRegion& region : layer.Regions) {
    for (const TPolygon& ring : region.Rings) EXPECT_NE(seen.find(Hexadecimal(ring)), std::string::npos);
  }
}

bool Read(const std::string& mif, const std::string& mid, TMIFLayer* layer, std::string* problem) {
  TKaStringStream mif_stream(Text(mif));
  TKaStringStream mid_stream(Text(mid));
  return ReadMIF(&mif_stream, mid.empty() ? nullptr : &mid_stream, layer, problem);
}

/// A file with everything in it that the form has to bear.
TMIFLayer FullLayer() {
  std::mt19937_64 random(12);
  TPolygon many;
  for (int i = 0; i < 3000; ++i) {
    const double x = std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 120) - 120);
    many.AddVertex({x, static_cast<double>(random()) * -1e-13});
  }
  TMIFLayer layer;
  layer.Delimiter = ';';
  layer.CoordSys = "Earth Projection 8, 104, \"m\", 39, 0, 0.9996, 500000, 0";
  layer.Columns = {{"ID", "Integer"}, {"Name", "char(40)"}, {"Value", "Float"}};
  layer.Regions = {
      {{many}, {"1", "a \"quoted\" text; \xC3\xA4", "0.5"}},
      {{TPolygon({{0, 0}, {9, 0}, {9, 9}, {0, 9}}), TPolygon({{1, 1}, {1, 2}, {2, 2}})}, {"2", "\"", ""}},
      {{TPolygon({{0, 0}, {1, 0}, {0, 1}}), TPolygon({{5, 5}, {6, 5}, {5, 6}})}, {"3", ";\";", "1e300"}},
      {{}, {"4", "", "-1"}}};
  return layer;
}

TEST(PolygonMif, WhatIsWrittenIsReadByUsAndByGdalBitForBit) {
  const test::ScratchFolder folder;
  const TMIFLayer layer = FullLayer();
  std::string problem;
  ASSERT_TRUE(WriteMIFFile(folder.Path("full.mif"), layer, &problem)) << problem;
  TMIFLayer back;
  ASSERT_TRUE(ReadMIFFile(folder.Path("full.mif"), &back, &problem)) << problem;
  EXPECT_EQ(back.Charset, "Neutral");
  EXPECT_EQ(back.CoordSys, layer.CoordSys);
  ASSERT_EQ(back.Columns.size(), 3U);
  EXPECT_EQ(back.Columns[1].Name + " " + back.Columns[1].Type, "Name char(40)");
  ASSERT_EQ(back.Regions.size(), layer.Regions.size());
  for (std::size_t i = 0; i < layer.Regions.size(); ++i) {
    EXPECT_EQ(back.Regions[i].Values, layer.Regions[i].Values);
    ASSERT_EQ(back.Regions[i].Rings.size(), layer.Regions[i].Rings.size());
    for (std::size_t k = 0; k < layer.Regions[i].Rings.size(); ++k) {
      EXPECT_EQ(Hexadecimal(back.Regions[i].Rings[k]), Hexadecimal(layer.Regions[i].Rings[k]));
    }
  }
  ExpectAllIn(SeenByGdal(folder.Path("full.mif"), "full"), layer);
  const std::string printed = Output(OGRINFO " -al -q " + folder.Path("full.mif"));
  EXPECT_NE(printed.find("Name (String) = a \"quoted\" text; \xC3\xA4\n"), std::string::npos);
  EXPECT_NE(printed.find("Name (String) = \"\n"), std::string::npos);

  TMIFLayer marked;
  marked.CoordSys = MIFGeographicWgs84;
  marked.Columns = {{"Mark", "Date"}};
  marked.Regions = {{{}, {"\xEF\xBB\xBF 1"}}};
  ASSERT_TRUE(WriteMIFFile(folder.Path("marked.mif"), marked, &problem)) << problem;
  ASSERT_TRUE(ReadMIFFile(folder.Path("marked.mif"), &back, &problem)) << problem;
  EXPECT_EQ(back.Regions[0].Values, marked.Regions[0].Values);
}

TEST(PolygonMif, WhatGdalWritesIsRead) {
  const test::ScratchFolder folder;
  const std::string path = folder.Path("out.mif");
  Output(OGR2OGR " -f 'MapInfo File' -dsco FORMAT=MIF -a_srs EPSG:4326 " + path + " " +
         folder.Write("in.csv", Text(R"(name,WKT
'a, ''b'' c','POLYGON((12.5 41.25,13.123456789 41.25,13.1 42,12.5 41.25),(12.7 41.3,12.9 41.5,12.9 41.3,12.7 41.3))'
p,POINT(1 2)
l,'LINESTRING(1 2,3 4,5 6)'
n,
m,'MULTIPOLYGON(((0 0,1 0,1 1,0 0)),((5 5,6 5,6 6,5 5)))'
)")));
  TMIFLayer layer;
  std::string problem;
  ASSERT_TRUE(ReadMIFFile(path, &layer, &problem)) << problem;
  EXPECT_EQ(layer.CoordSys, MIFGeographicWgs84);
  EXPECT_EQ(layer.OtherObjects, 2U);
  ASSERT_EQ(layer.Regions.size(), 3U);
  EXPECT_EQ(layer.Regions[0].Values[0], "a, \"b\" c");
  EXPECT_EQ(layer.Regions[2].Values[0], "m");
  ExpectAllIn(SeenByGdal(path, "out"), layer);
  TPolygon first;
  std::size_t rings = 0;
  ASSERT_TRUE(first.InitializeFromMIF(path, &rings, nullptr));
  EXPECT_EQ(rings, 4U);
  EXPECT_EQ(Hexadecimal(first), Hexadecimal(layer.Regions[0].Rings[0]));
}

TEST(PolygonMif, VariantsThatProgramsWrite) {
  const std::string triangle = "\n3\n0 0\n1 0\n1 2\n";
  const struct {
    std::string mif;
    std::size_t others;
    xy_d last;  // vertex of the last ring
  } cases[] = {
      {"Data\nRegion 1\n3\n0 0\n1 0\n1 2", 0, {1, 2}},
      {"\xEF\xBB\xBFVERSION 450\r\nCHARSET 'WindowsLatin1'\r\nUNIQUE 1\r\nINDEX 1,2\r\nCOLUMNS "
       "0\r\nDATA\r\n\r\n"
       "REGION 1\r\n  4\r\n0 0\r\n1 0\r\n1 2\r\n0 0\r\n  PEN (1,2,0)\r\n  CENTER 0.5 0.5\r\n",
       0,
       {1, 2}},
      {"version 300\rcoordsys earth\r  projection 1, 104\rdata\rregion 1\r3\r0 0\r1 0\r+1 .2e1\rpen(1,2,0)",
       0,
       {1, 2}},
      {"Transform -2, 0,10 0.5\nData\nRegion 1" + triangle, 0, {8, 2.5}},
      {"Data\nRect 1 2 3 4\n  Pen (1,2,0)\n", 0, {1, 4}},
      {"Data\nRegion 2\n0\n2\n5 6\n7 8\n", 0, {7, 8}},
      {"Data\nPoint 1 2\n  Symbol (34,0,12)\nLine 1 2 3 4\nPline Multiple 1\n2\n1 2\n3 4\nSmooth\nArc 1 2 3 "
       "4\n 0 90\n"
       "Text 'Region 1'\n  1 2 3 4\nRoundrect 1 2 3 4 1\nEllipse 1 2 3 4\nNone\nMultipoint 2\n1 2\n3 "
       "4\nCollection 2\n"
       "Region 1" +
           triangle + "Point 4 5\n",
       9,
       {1, 2}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mif);
    TMIFLayer layer;
    ASSERT_TRUE(Read(c.mif, "", &layer, nullptr));
    const std::vector<xy_d>& vertices = layer.Regions.back().Rings.back().Vertices();
    EXPECT_EQ(std::pair(vertices.back().x, vertices.back().y), std::pair(c.last.x, c.last.y));
    EXPECT_EQ(layer.OtherObjects, c.others);
  }
  // Rows count objects of every kind, and a collection once; quotes are doubled, or not.
  TMIFLayer layer;
  const std::string mif =
      "Delimiter ','\nCoordSys a\n b\nColumns 2\n a Char(9)\n b Integer\nData\nPoint 1 2\n";
  ASSERT_TRUE(Read(mif + "Collection 2\nPoint 1 2\nRect 1 2 3 4\nRect 5 6 7 8\n",
                   "'p',1\r\n'5'' of 6' x',\r\nbare,3", &layer, nullptr));
  EXPECT_EQ(layer.CoordSys, "a b");
  EXPECT_EQ(layer.Regions[0].Values, std::vector<std::string>({"5\" of 6\" x", ""}));
  EXPECT_EQ(layer.Regions[1].Values, std::vector<std::string>({"bare", "3"}));
}

TEST(PolygonMif, WhatIsWrongIsSaidWithItsLine) {
  const std::string columns =
      "Delimiter ','\nColumns 2\n a Char(9)\n b Integer\nData\nRect 1 2 3 4\nRect 5 6 7 8\n";
  std::string collection = "Delimiter ','\nColumns 2\n a Char(9)\n b Integer\nData\nCollection 1000\n";
  for (int i = 0; i < 1000; ++i) collection += "None\n";
  const struct {
    std::string mif;
    std::string mid;
    const char* problem;
  } cases[] = {
      {"Version 300\n", "", "MIF: line 1: the text ends too early"},
      {"RIFF", "", "MIF: line 1: 'RIFF' is no clause of a MIF file"},
      {std::string("Data\n\0", 6), "", "MIF: it holds zero bytes: this is no text"},
      {"Delimiter ,\nData\n", "", "MIF: line 1: the delimiter is not one character in quotes"},
      {"Version 1\nTransform 1,2,3\nData\n", "", "MIF: line 2: Transform has not four numbers"},
      {"Columns 1\na\nData\n", "", "MIF: line 2: column a has no type"},
      {"Columns 99999999\na b\nData\n", "", "MIF: line 1: no room for 99999999"},
      {"Data\nSquare 1\n", "", "MIF: line 2: 'SQUARE' does not belong here"},
      {"Data\n\r\n\rRegion x\n", "", "MIF: line 4: 'x' is no count"},
      {"Data\nRegion 1\n 99999999999999999999999\n0 0\n", "",
       "MIF: line 3: no room for 99999999999999999999999"},
      {"Data\nRegion 1\n 4000000000\n0 0\n", "", "MIF: line 3: no room for 4000000000"},
      {"Data\nRegion 1\n 3\n0 0\n1,5 0\n2 2\n", "", "MIF: line 5: '1,5' is no number"},
      {"Data\nRegion 1\n 3\n0 0\n1 +-5\n2 2\n", "", "MIF: line 5: '+-5' is no number"},
      {"Data\nCollection 2\nRect 1 2 3 4\n  Pen (1,2,0)\n", "", "MIF: line 4: a collection lacks objects: 1"},
      {"Data\nCollection 2\nRect 1 2 3 4\nCollection 1\n", "",
       "MIF: line 4: a collection within a collection"},
      {collection, std::string(300000, 'x') + ",1\n",
       "MID: line 1: collections repeat more than 256 MiB of values"},
      {"Data\nRegion 1\n 3\n0 0\n1 1e999\n2 2\n", "", "MIF: line 5: '1e999' is no number"},
      {"Data\nRegion 1\n 3\n0 0\n1 1\n2 2\n3 3\n", "", "MIF: line 7: '3' does not belong here"},
      {"Transform 1e300,1,0,0\nData\nRect 1 2 1e300 4", "", "MIF: line 3: Transform leads out of range"},
      {columns, "'a',1\n", "MID: line 1: the text ends too early"},
      {columns, "'a',1\nb\n", "MID: line 2: 1 values for 2 columns"},
      {columns, "'a',1\n'b,2\n", "MID: line 2: a quote is not closed"},
      {columns, "'a',1\n'b',2\n\n'c',3\n", "MID: line 4: more rows than objects"},
  };
  for (const auto& c : cases) {
    TMIFLayer layer;
    layer.Version = 7;
    std::string problem;
    EXPECT_FALSE(Read(c.mif, c.mid, &layer, &problem));
    EXPECT_EQ(problem, Text(c.problem));
    EXPECT_EQ(layer.Version, 7);
  }
  // As long as may be, and a byte more.
  TMIFLayer layer;
  std::string problem;
  constexpr std::size_t Most = std::size_t{1} << 28;
  TPaddedText longest("Data\nSquare 1\n", Most);
  EXPECT_FALSE(ReadMIF(&longest, nullptr, &layer, &problem));
  EXPECT_EQ(problem, "MIF: line 2: \"SQUARE\" does not belong here");
  TPaddedText longer("", Most + 1);
  EXPECT_FALSE(ReadMIF(&longer, nullptr, &layer, &problem));
  EXPECT_EQ(problem, "MIF: it holds more than 256 MiB");
  TPolygon polygon({{1, 2}});
  for (const char* path : {"/dev/zero", "/dev/null", "/nowhere/x.mif", "/tmp"}) {
    EXPECT_FALSE(polygon.InitializeFromMIF(path, nullptr, &problem)) << path;
    EXPECT_FALSE(std::exchange(problem, "").empty());
  }
  const test::ScratchFolder folder;
  EXPECT_FALSE(
      polygon.InitializeFromMIF(folder.Write("a.mif", "Data\nRegion 1\n1\n5 6\n"), nullptr, &problem));
  EXPECT_EQ(problem, "its first ring has fewer than three vertices");
  EXPECT_EQ(polygon.VertexCount(), 1U);
}

TEST(PolygonMif, WhatWouldNotBeReadBackIsNotWritten) {
  const auto spoil = [](void (*change)(TMIFLayer*)) {
    TMIFLayer layer = FullLayer();
    change(&layer);
    TKaStringStream mif;
    TKaStringStream mid;
    std::string problem;
    EXPECT_FALSE(WriteMIF(layer, &mif, &mid, &problem));
    EXPECT_EQ(mif.Text() + mid.Text(), "");
    return problem;
  };
  const std::string misplaced = " holds characters that have no place there";
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Version = 0; }), "there is no such version");
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Version = 1000001; }), "there is no such version");
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Delimiter = '"'; }), "the delimiter" + misplaced);
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Columns[0].Type = " Integer"; }),
            "a column's type is empty or has white space around it");
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->CoordSys = "a\nData"; }), "the CoordSys clause" + misplaced);
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Columns[0].Name = "a b"; }), "a column's name" + misplaced);
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Regions[0].Values[1] = "a\rb"; }), "a value" + misplaced);
  const std::string few = "a ring has fewer than three vertices";
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Regions[1].Rings[1].Clear(); }), few);
  EXPECT_EQ(spoil([](TMIFLayer* l) {
              l->Regions[0].Rings[0].AddVertex({0, NAN});
            }),
            "a vertex is not finite");
  EXPECT_EQ(spoil([](TMIFLayer* l) { l->Regions[1].Values = {""}; }), "region 2 has 1 values for 3 columns");
}

TEST(PolygonMif, OnePolygonIsWrittenWholeOrNotAtAll) {
  namespace fs = std::filesystem;
  const test::ScratchFolder folder;
  const std::string path = folder.Path("m.MIF");
  const TPolygon margin({{0.1 + 0.2, -7.25}, {1e22, 1.0 / 3.0}, {0x1p-1074, -1e-7}, {0.1 + 0.2, -7.25}});
  std::string problem;
  ASSERT_TRUE(margin.SaveToMIF(path, "", &problem)) << problem;
  TPolygon back;
  ASSERT_TRUE(back.InitializeFromMIF(path, nullptr, &problem)) << problem;
  EXPECT_EQ(Hexadecimal(back), Hexadecimal(margin));
  EXPECT_NE(SeenByGdal(path, "m").find(Hexadecimal(margin)), std::string::npos);
  const std::string before = test::FileText(path);
  // A disk that fills up: no file may grow beyond a limit.
  rlimit limit = {};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit tight = {1000, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &tight);
  EXPECT_FALSE(WriteMIFFile(path, FullLayer(), &problem));
  ::setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(problem, path + ": " + std::strerror(EFBIG));
  EXPECT_FALSE(margin.SaveToMIF(folder.Path("m.txt"), "", &problem));
  EXPECT_EQ(problem, folder.Path("m.txt") + ": the name does not end in .mif");
  EXPECT_FALSE(margin.SaveToMIF(folder.Path("none/m.mif"), "", &problem));
  EXPECT_EQ(problem, folder.Path("none/m.mif") + ": " + std::strerror(ENOENT));
  EXPECT_EQ(test::FileText(path), before);
}

TEST(PolygonMif, TheMidFileIsTheOneInTheSameLetters) {
  const test::ScratchFolder folder;
  const std::string text = "Delimiter \"1\"\nColumns 1\n a Char(9)\nData\nNone\n";
  const auto value = [&](const char* mif) {
    TMIFLayer layer;
    std::string problem;
    const bool read = ReadMIFFile(folder.Write(mif, text), &layer, &problem);
    return !read ? problem : layer.Regions[0].Values.empty() ? "none" : layer.Regions[0].Values[0];
  };
  EXPECT_EQ(value("a.mif"), "none");
  folder.Write("a.MID", "capital\n");
  EXPECT_EQ(value("a.mif"), "capital");
  folder.Write("a.mid", "small\n");
  EXPECT_EQ(value("a.mif") + value("a.MIF"), "smallcapital");
  std::filesystem::create_directory(folder.Path("b.mid"));
  EXPECT_TRUE(test::Contains(value("b.mif"), "cannot open " + folder.Path("b.mid")));
  // A delimiter that stands in the numbers of the rows.
  TMIFLayer layer;
  layer.Delimiter = '1';
  layer.Regions.resize(11);
  ASSERT_TRUE(WriteMIFFile(folder.Path("c.mif"), layer, nullptr));
  ASSERT_TRUE(ReadMIFFile(folder.Path("c.mif"), &layer, nullptr));
  EXPECT_EQ(layer.Regions[10].Values[0], "11");
}

}  // namespace
