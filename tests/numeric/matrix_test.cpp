#include "kelvane/numeric/matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "tests/support/failing_ini.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using namespace test;

TMatrix Random(std::size_t width, std::size_t height) {
  static std::mt19937_64 random(11);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  return Filled(width, height, [&] { return uniform(random); });
}

/// Two columns, rows of 2, 1 and 3 elements.
TMatrix Ragged() {
  TMatrix m = Matrix(2, {1.0, 2.0, 0.0, 0.0, 0.0, 0.0});
  m.SetRow(1, Vector({3.0}));
  m.SetRow(2, Vector({4.0, 5.0, 6.0}));
  return m;
}

TEST(Matrix, IsMadeAndItsNameStaysWhereItIs) {
  EXPECT_EQ(ValuesOf(TMatrix(2)), (Values{1, 0, 0, 1}));
  EXPECT_EQ(ValuesOf(TMatrix(TVector(1, 2, 3))), (Values{1, 0, 0, 0, 2, 0, 0, 0, 3}));
  EXPECT_NE(TMatrix(0, 0).rows, nullptr);
  TMatrix a("a");
  EXPECT_EQ(a.rows, nullptr);
  EXPECT_EQ(a.width + a.height, 0U);
  EXPECT_NE(TMatrix(a).rows, nullptr);
  a = Ragged();
  EXPECT_EQ(a.name, "a");
  TMatrix b(a);
  EXPECT_EQ(b.name, "");
  b.rows[0][0] = 9.0;
  EXPECT_EQ(a.GetElement(0, 0), 1.0);
  a = *&a;
  EXPECT_EQ(ValuesOf(a), ValuesOf(Ragged()));
  const TMatrix c(std::move(a));
  EXPECT_EQ(c.name, "");
  EXPECT_EQ(a.rows, nullptr);  // NOLINT(bugprone-use-after-move): stated
  EXPECT_EQ(a.width + a.height, 0U);
  EXPECT_EQ(c.rows[2].size, 3U);
}

TEST(Matrix, ColumnComesFirst) {
  TMatrix m = Matrix(3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(m.GetElement(2, 0), 3.0);
  m.SetElement(0, 1, 7.0);
  EXPECT_EQ(ValuesOf(m.GetRow(1)), (Values{7, 5, 6}));
  EXPECT_EQ(ValuesOf(m(1)), (Values{2, 5}));
  m.SwapColomns(0, 2);
  m.SwapRows(0, 1);
  EXPECT_EQ(ValuesOf(m), (Values{6, 5, 7, 3, 2, 1}));
  EXPECT_EQ((!m).width, 2U);
  EXPECT_EQ(ValuesOf(!m), (Values{6, 3, 5, 2, 7, 1}));
  m.InsertSubmatrix(1, 0, Matrix(2, {0, 8, 9, 4}));
  EXPECT_EQ(ValuesOf(m), (Values{6, 0, 8, 3, 9, 4}));
  m.AddToRow(0, TVector(1, 1, 1));
  m.SubtractFromRow(1, m.rows[1]);
  EXPECT_EQ(ValuesOf(m), (Values{7, 1, 9, 0, 0, 0}));
  m.Reset(2, 2);
  m.AddToDiag(TVector(1, 2, 3));
  m.SubtractFromDiag(Vector({4, 1}));
  m.SetColomn(0, m.GetColomn(1));
  EXPECT_EQ(ValuesOf(m), (Values{0, 0, 1, 1}));
}

TEST(Matrix, ShortRowsAreNoticedWhereSaid) {
  TMatrix m = Ragged();
  const Values before = ValuesOf(m);
  EXPECT_EQ(RuntimeErrorOf([&] { m.SetElement(2, 0, 1.0); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { m.GetColomn(1); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { m.SwapColomns(1, 0); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { Random(1, 1) * m; }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { Vector({1.0}) * m; }), IndexError);
  EXPECT_EQ((TMatrix(5, 0) * m).width, 2U);
  EXPECT_EQ(ValuesOf(m), before);
  EXPECT_EQ(RuntimeErrorOf([&] { m.SetColomn(1, TVector(7, 8, 9)); }), IndexError);
  EXPECT_EQ(RuntimeErrorOf([&] { m.AddToDiag(TVector(1, 1, 1)); }), IndexError);
  EXPECT_EQ(ValuesOf(m), (Values{2, 7, 3, 4, 5, 6}));
}

TEST(Matrix, Clips) {
  TMatrix m = Matrix(2, {1, 2, 3, 4});
  EXPECT_FALSE(m.Clip(0, 1) || m.Clip(1, 0) || m.Clip(3, 1) || m.Clip(1, 3));
  EXPECT_EQ(ValuesOf(m), (Values{1, 2, 3, 4}));
  EXPECT_TRUE(m.Clip(1, 2));
  EXPECT_EQ(m.width, 2U);
  EXPECT_FALSE(m.Clip(2, 1));
  EXPECT_EQ(ValuesOf(m), (Values{1, 3}));
  EXPECT_TRUE(m.Clip(1, 1));
  EXPECT_EQ(m.width, 1U);
  EXPECT_EQ(ValuesOf(m), (Values{1}));
}

TEST(Matrix, Calculates) {
  const TMatrix a = Matrix(2, {1, -2, 3, 0});
  const TMatrix b = Matrix(2, {5, 6, 7, 8});
  EXPECT_EQ(ValuesOf(a + b), (Values{6, 4, 10, 8}));
  EXPECT_EQ(ValuesOf(a - b), (Values{-4, -8, -4, -8}));
  EXPECT_EQ(ValuesOf(2.0 * a), (Values{2, -4, 6, 0}));
  EXPECT_EQ(ValuesOf(a * 2.0), (Values{2, -4, 6, 0}));
  EXPECT_EQ((a / 3.0).GetElement(0, 0), 1.0 / 3.0);
  EXPECT_EQ(BitsOf(-a), BitsOf(Matrix(2, {-1, 2, -3, -0.0})));
  EXPECT_EQ(ValuesOf(a * Vector({1, 2})), (Values{-3, 3}));
  EXPECT_EQ(ValuesOf(Vector({1, 2}) * a), (Values{7, -2}));
  EXPECT_EQ(ValuesOf(a * Vector({2})), (Values{2, 6}));
  EXPECT_EQ(ValuesOf(Vector({2}) * a), (Values{2, -4}));
  EXPECT_EQ(a.Norma1(), 3.0);
  EXPECT_EQ(TMatrix(3, 0).Norma1(), -1.0);
  EXPECT_EQ(TMatrix(0, 3).Norma1(), 0.0);
}

TEST(Matrix, ProductHasTheBitsOfItsDotProducts) {
  for (std::size_t size = 0; size < 12; ++size) {
    TMatrix a = Random(size, 11 - size % 5);
    const TMatrix b = Random(size / 2 + 3, size);
    if (size > 2) a.rows[2].Clip(size - 1);
    const TMatrix product = a * b;
    ASSERT_EQ(product.width, b.width);
    ASSERT_EQ(product.height, a.height);
    for (std::size_t i = 0; i < a.height; ++i) {
      for (std::size_t j = 0; j < b.width; ++j) {
        ASSERT_EQ(product.GetElement(j, i), a.rows[i] * b(j)) << size << ' ' << i << ' ' << j;
      }
    }
  }
}

TEST(Matrix, Texts) {
  TMatrix m = Matrix(2, {0, 1, -1, 2.5});
  EXPECT_EQ(m.Output(), "(   0.0000;   1.0000)\n(  -1.0000;   2.5000)\n");
  const auto printed = [&m] { return DebugTextOf([&m] { m.DebugOutput(); }); };
  EXPECT_EQ(printed(), "\n(   0.0000;   1.0000)#\n(  -1.0000;   2.5000)#\n#");
  m.name = "m";
  m.Reset(2, 0);
  EXPECT_EQ(printed(), "m#\n#");

  m = Matrix(6, {0, 1, -1, 2.5, -2.5, NAN});
  const auto portrait = [&m](bool zeros, bool ones, bool signs) {
    const std::string text = DebugTextOf([&] { m.DebugOutputPortrait(zeros, ones, signs); });
    EXPECT_EQ(text.substr(0, 11), "\n========\n#");
    EXPECT_EQ(text.substr(text.size() - 13), "|\n#========\n#");
    return text.substr(11, 8);
  };
  EXPECT_EQ(portrait(false, false, true), "| +-+--|");
  EXPECT_EQ(portrait(false, false, false), "| *****|");
  EXPECT_EQ(portrait(true, true, true), "|01!+--|");
  EXPECT_EQ(portrait(true, true, false), "|01!***|");
}

TEST(Matrix, GoesThroughBuffers) {
  TMatrix m = Ragged();
  const Values full = {1, 2, 3, 0, 4, 5};
  Values buffer(6, 9.0);
  EXPECT_FALSE(TMatrix("m").PutToBuffer(buffer.data()));
  EXPECT_FALSE(TMatrix(0, 2).PutToBuffer(buffer.data()));
  EXPECT_TRUE(m.PutToBuffer(buffer.data()));
  EXPECT_EQ(buffer, full);

  double** const copies = m.Put2Buffer();
  EXPECT_EQ(copies[2][1], 5.0);
  copies[0][1] = copies[1][0] = 8.0;
  m.FillFromBuffer(copies);
  EXPECT_EQ(ValuesOf(m), (Values{1, 8, 8, 4, 5, 6}));
  for (std::size_t r = 0; r < 3; ++r) delete[] copies[r];
  delete[] copies;

  TKaStringStream stream;
  EXPECT_TRUE(Ragged().PutToStream(&stream));
  ASSERT_EQ(stream.Text().size(), 6 * sizeof(double));
  std::memcpy(buffer.data(), stream.Text().data(), 6 * sizeof(double));
  EXPECT_EQ(buffer, full);
  FullStream full_stream(5 * sizeof(double));
  EXPECT_FALSE(Ragged().PutToStream(&full_stream));
}

TEST(Matrix, LivesInXml) {
  const std::string xml = XmlOf(Ragged(), "m");
  EXPECT_NE(xml.find("<value key=\"MatrixHeight\">3<"), std::string::npos);
  EXPECT_NE(xml.find("<value key=\"1\">(3)<"), std::string::npos);
  TMatrix read("name");
  EXPECT_FALSE(ReadXml(xml, &read, "absent"));
  ASSERT_TRUE(ReadXml(xml, &read, "m"));
  EXPECT_EQ(ValuesOf(read), ValuesOf(Ragged()));
  EXPECT_EQ(read.name, "name");

  // Sizes that a damaged file claims, and two rows.
  const auto is_read = [&](const std::string& width, const std::string& height, const std::string& rows) {
    return ReadXml("<configuration><section key=\"m\"><value key=\"MatrixWidth\">" + width +
                       "</value><value key=\"MatrixHeight\">" + height + "</value>" + rows +
                       "</section></configuration>",
                   &read, "m");
  };
  const std::string rows =
      R"(<section key="MatrixRows"><value key="0">(1;2)</value><value key="1">(3)</value></section>)";
  EXPECT_FALSE(is_read("0", "18446744073709551615", ""));
  EXPECT_FALSE(is_read("18446744073709551615", "2", ""));
  EXPECT_FALSE(is_read("5790", "5790", ""));
  EXPECT_FALSE(is_read("1000000000", "1000000000", rows));
  EXPECT_FALSE(is_read("0", "18446744073709551615", rows));
  EXPECT_FALSE(is_read("18446744073709551615", "3", rows));
  EXPECT_EQ(ValuesOf(read), ValuesOf(Ragged())) << "as it was";
  EXPECT_TRUE(is_read("18446744073709551615", "0", ""));
  EXPECT_TRUE(is_read("1000", "1000", ""));
  // Rows that are there need no belief in the width.
  ASSERT_TRUE(is_read("1000000000", "2", rows));
  EXPECT_EQ(read.width, 1000000000);
  EXPECT_EQ(read.rows[0].GetString() + read.rows[1].GetString(), "(1;2)(3)");
}

}  // namespace
