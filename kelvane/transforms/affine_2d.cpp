#include "kelvane/transforms/affine_2d.h"

#include <algorithm>
#include <cmath>

#include "kelvane/module/ini_sections.h"
#include "kelvane/numeric/linear_solvers.h"

namespace SatCommonUtils {

namespace {

struct TField {
  const char* Key;
  double T2DAffineParams::*Value;
};

constexpr TField Fields[] = {
    {"A1", &T2DAffineParams::A1}, {"A2", &T2DAffineParams::A2}, {"A3", &T2DAffineParams::A3},
    {"B1", &T2DAffineParams::B1}, {"B2", &T2DAffineParams::B2}, {"B3", &T2DAffineParams::B3},
};

}  // namespace

bool InitializeFromXML(TKaXIniReader* reader, T2DAffineParams* params) try {
  ReadNumbersE(reader, Fields, params);
  return true;
} catch (...) {
  return false;
}

bool InitializeFromXML(TKaXIniReader* reader, std::string key, T2DAffineParams* params) try {
  return ReadSection(reader, key, [&] { return InitializeFromXML(reader, params); });
} catch (...) {
  return false;
}

bool SaveToXML(const T2DAffineParams& params, TKaXIniWriter* writer) try {
  return WriteNumbers(writer, Fields, params);
} catch (...) {
  return false;
}

bool SaveToXML(const T2DAffineParams& params, TKaXIniWriter* writer, std::string key) try {
  return WriteSection(writer, key, [&] { return SaveToXML(params, writer); });
} catch (...) {
  return false;
}

bool Invert2DAffineParams(const T2DAffineParams& src, T2DAffineParams* dst) {
  constexpr double SmallestDeterminant = 1e-20;
  const T2DAffineParams s = src;
  // Minus the usual determinant.
  const double d = s.A2 * s.B1 - s.A1 * s.B2;
  if (std::fabs(d) <= SmallestDeterminant) return false;
  dst->A1 = -s.B2 / d;
  dst->A2 = s.A2 / d;
  dst->A3 = (s.B2 * s.A3 - s.A2 * s.B3) / d;
  dst->B1 = s.B1 / d;
  dst->B2 = -s.A1 / d;
  dst->B3 = (s.A1 * s.B3 - s.B1 * s.A3) / d;
  return true;
}

void Combine2DAffineParams(const T2DAffineParams& first, const T2DAffineParams& second,
                           T2DAffineParams* result) {
  const T2DAffineParams f = first;
  const T2DAffineParams s = second;
  result->A1 = s.A1 * f.A1 + s.A2 * f.B1;
  result->A2 = s.A1 * f.A2 + s.A2 * f.B2;
  result->A3 = s.A1 * f.A3 + s.A2 * f.B3 + s.A3;
  result->B1 = s.B1 * f.A1 + s.B2 * f.B1;
  result->B2 = s.B1 * f.A2 + s.B2 * f.B2;
  result->B3 = s.B1 * f.A3 + s.B2 * f.B3 + s.B3;
}

bool Calculate2DAffineParams(const std::vector<T2DTransformParamsSourceDataItem>& points,
                             T2DAffineParams* params) {
  constexpr std::size_t Unknowns = 3;
  const std::size_t n = points.size();
  if (n < Unknowns) return false;
  TMatrix design(Unknowns, n);
  TVector x_to(n);
  TVector y_to(n);
  for (std::size_t i = 0; i < n; ++i) {
    const double row[Unknowns] = {points[i].Xfrom, points[i].Yfrom, 1.0};
    std::copy_n(row, Unknowns, design.rows[i].data);
    x_to[i] = points[i].Xto;
    y_to[i] = points[i].Yto;
  }
  TVector a;
  TVector b;
  TOverdefinedLinearSystem(design, x_to).Solution(a);
  TOverdefinedLinearSystem(design, y_to).Solution(b);
  *params = {a[0], a[1], a[2], b[0], b[1], b[2]};
  return true;
}

}  // namespace SatCommonUtils
