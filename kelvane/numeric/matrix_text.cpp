// TMatrix outside the process: texts, buffers, streams, XML.
#include <algorithm>
#include <memory>
#include <new>
#include <string>
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

/// Whether rows of zeros may be made before any is seen: the sizes in a damaged file claim any amount.
bool AreBelievable(std::size_t width, std::size_t height) {
  constexpr std::size_t RowItself = 8;  // in numbers, with what the allocator takes
  constexpr std::size_t Most = TMatrix::LargestRead / sizeof(double);
  return height == 0 || (width <= Most && height <= Most / (width + RowItself));
}

/// Reads from the matrix's own section.
bool ReadContent(TKaXIniReader* reader, TMatrix* m) {
  const auto width = reader->ReadE<unsigned long>(reader->FindFE(WidthKey, 0));
  const auto height = reader->ReadE<unsigned long>(reader->FindFE(HeightKey, 0));
  if (!AreBelievable(width, height)) return false;
  m->Reset(width, height);
  const unsigned long section = reader->EnterSectionS(RowsSection);
  if (section == 0) return true;
  return ReadEnteredSection(reader, section, [&] {
    for (std::size_t r = 0; r < m->height; ++r) m->rows[r].InitializeFromXML(reader, std::to_string(r));
    return true;
  });
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
  return ReadSection(reader, key, [&] { return ReadContent(reader, this); });
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
