// TMatrix outside the process: texts, buffers, streams, XML.
#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/ini_sections.h"
#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {

namespace {

constexpr char WidthKey[] = "MatrixWidth";
constexpr char HeightKey[] = "MatrixHeight";
constexpr char RowsSection[] = "MatrixRows";

/// The row with exactly `width` elements.
void PutRow(const TVector& row, std::size_t width, double* dst) {
  const std::size_t length = std::min(width, row.size);
  std::fill_n(std::copy_n(row.data, length, dst), width - length, 0.0);
}

char Picture(double element, bool show_zeros, bool show_ones, bool show_signs) {
  if (element == 0.0) return show_zeros ? '0' : ' ';
  if (show_ones && element == 1.0) return '1';
  if (show_ones && element == -1.0) return '!';
  if (!show_signs) return '*';
  return element > 0.0 ? '+' : '-';
}

/// How many rows of zeros may stand for rows that are not there: the sizes in a damaged file claim any
/// amount.
std::size_t MostZeroRows(std::size_t width) {
  constexpr std::size_t RowItself = 64;  // in numbers: each is looked for before it is known to be missing
  constexpr std::size_t Most = TMatrix::LargestMissing / sizeof(double);
  return width < Most ? Most / (width + RowItself) : 0;
}

/// False, `*row` unchanged, when the row is missing or unreadable. Only the lack of memory is thrown: zeros
/// would hide it.
bool ReadRow(TKaXIniReader* reader, std::size_t number, TVector* row) try {
  // Not by an exception: a matrix may lack half a million rows.
  const unsigned long item = reader->FindF(std::to_string(number), 0);
  if (item == TKaXIniReader::NoItem) return false;
  *row = TVector(reader->ReadE<std::string>(item));
  return true;
} catch (const std::bad_alloc&) {
  throw;
} catch (...) {
  return false;
}

/// Takes the rows as they come: only those that are there show that a size is meant.
bool ReadRows(TKaXIniReader* reader, std::size_t width, std::size_t height, std::vector<TVector>* rows) {
  std::size_t zero_rows = 0;
  while (rows->size() < height) {
    TVector row;
    if (!ReadRow(reader, rows->size(), &row)) {
      if (++zero_rows > MostZeroRows(width)) return false;
      row.Reset(width);
    }
    rows->push_back(std::move(row));
  }
  return true;
}

/// Reads from the matrix's own section.
bool ReadContent(TKaXIniReader* reader, TMatrix* m) {
  const auto width = reader->ReadE<unsigned long>(reader->FindFE(WidthKey, 0));
  const auto height = reader->ReadE<unsigned long>(reader->FindFE(HeightKey, 0));
  const unsigned long section = reader->EnterSectionS(RowsSection);
  if (section == 0) {
    if (height > MostZeroRows(width)) return false;
    m->Reset(width, height);
    return true;
  }
  std::vector<TVector> rows;
  if (!ReadEnteredSection(reader, section, [&] { return ReadRows(reader, width, height, &rows); }))
    return false;
  m->Reset(0, height);
  std::move(rows.begin(), rows.end(), m->rows);
  m->width = width;
  return true;
}

bool WriteRows(const TMatrix& m, TKaXIniWriter* writer) {
  for (std::size_t r = 0; r < m.height; ++r) {
    if (!m.rows[r].SaveToXML(writer, std::to_string(r))) return false;
  }
  return true;
}

bool WriteContent(const TMatrix& m, TKaXIniWriter* writer) {
  if (!writer->WriteS<unsigned long>(WidthKey, m.width)) return false;
  if (!writer->WriteS<unsigned long>(HeightKey, m.height)) return false;
  const unsigned long section = writer->BeginSection(RowsSection);
  if (section == 0) return false;
  const bool written = WriteRows(m, writer);
  return writer->EndSection(section) && written;
}

}  // namespace

std::string TMatrix::Output() const {
  std::string text;
  for (std::size_t r = 0; r < height; ++r) text += rows[r].Output() + '\n';
  return text;
}

void TMatrix::DebugOutput() const {
  if (!name.empty()) KaPrintDbgMsg(name);
  for (std::size_t r = 0; r < height; ++r) KaPrintDbgMsg('\n' + rows[r].Output());
  KaPrintDbgMsg(std::string("\n"));
}

void TMatrix::DebugOutputPortrait(bool showZeros, bool showOnes, bool showSigns) const {
  const std::string border = std::string(width + 2, '=') + '\n';
  KaPrintDbgMsg('\n' + border);
  for (std::size_t r = 0; r < height; ++r) {
    std::string line = "|";
    for (std::size_t c = 0; c < rows[r].size; ++c) {
      line += Picture(rows[r].data[c], showZeros, showOnes, showSigns);
    }
    KaPrintDbgMsg(line + "|\n");
  }
  KaPrintDbgMsg(border);
}

bool TMatrix::PutToBuffer(double* dst) const {
  if (rows == nullptr || width == 0 || height == 0) return false;
  for (std::size_t r = 0; r < height; ++r) PutRow(rows[r], width, dst + r * width);
  return true;
}

double** TMatrix::Put2Buffer() const try {
  std::vector<std::unique_ptr<double[]>> copies(height);
  for (std::size_t r = 0; r < height; ++r) {
    copies[r].reset(new double[width]);
    PutRow(rows[r], width, copies[r].get());
  }
  auto** const result = new double*[height];
  std::transform(copies.begin(), copies.end(), result,
                 [](std::unique_ptr<double[]>& copy) { return copy.release(); });
  return result;
} catch (const std::bad_alloc&) {
  return nullptr;
}

void TMatrix::FillFromBuffer(double** src) {
  for (std::size_t r = 0; r < height; ++r) {
    std::copy_n(src[r], std::min(width, rows[r].size), rows[r].data);
  }
}

bool TMatrix::PutToStream(TKaStream* s) const {
  std::vector<double> line(width);
  const std::size_t bytes = width * sizeof(double);
  for (std::size_t r = 0; r < height; ++r) {
    PutRow(rows[r], width, line.data());
    if (s->Write(line.data(), bytes) != bytes) return false;
  }
  return true;
}

bool TMatrix::InitializeFromXML(TKaXIniReader* reader, std::string key) try {
  TMatrix read{std::string()};
  if (!ReadSection(reader, key, [&] { return ReadContent(reader, &read); })) return false;
  *this = std::move(read);
  return true;
} catch (...) {
  return false;
}

bool TMatrix::SaveToXML(TKaXIniWriter* writer, std::string key) const try {
  const unsigned long section = writer->BeginSection(key);
  if (section == 0) return false;
  const bool written = WriteContent(*this, writer);
  return writer->EndSection(section) && written;
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
