#include "kelvane/transforms/similarity_3d.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kelvane/geometry/principal_axes.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/ini_sections.h"
#include "kelvane/numeric/rounded.h"
#include "kelvane/numeric/symmetric_eigen.h"
#include "kelvane/orientation/quaternion.h"
#include "kelvane/orientation/rzyx_rotation.h"

namespace SatCommonUtils {

namespace {

struct TField {
  const char* Key;
  double T7Params::*Value;
};

constexpr TField Fields[] = {
    {"ShiftX", &T7Params::ShiftX}, {"ShiftY", &T7Params::ShiftY}, {"ShiftZ", &T7Params::ShiftZ},
    {"Alpha", &T7Params::Alpha},   {"Beta", &T7Params::Beta},     {"Gamma", &T7Params::Gamma},
    {"Scale", &T7Params::Scale},
};

/// Rows.
using TRotation = std::array<T3DPoint, 3>;
using TPairs = std::vector<T7ParamsSourceDataItem>;

TRotation Rows(const TMatrix& m) {
  const auto row = [&m](std::size_t r) {
    return T3DPoint{m.GetElement(0, r), m.GetElement(1, r), m.GetElement(2, r)};
  };
  return {row(0), row(1), row(2)};
}

TRotation RotationOf(const T7Params& params) {
  TMatrix R(3, 3);
  RzyxGetR(params.Alpha, params.Beta, params.Gamma, &R);
  return Rows(R);
}

TRotation Transposed(const TRotation& R) {
  return {{{R[0].X, R[1].X, R[2].X}, {R[0].Y, R[1].Y, R[2].Y}, {R[0].Z, R[1].Z, R[2].Z}}};
}

T3DPoint operator*(const TRotation& R, const T3DPoint& v) {
  return {Dot(R[0], v), Dot(R[1], v), Dot(R[2], v)};
}

TRotation operator*(const TRotation& a, const TRotation& b) {
  const TRotation columns = Transposed(b);
  return Transposed({a * columns[0], a * columns[1], a * columns[2]});
}

/// Arc sines tell an angle near ±pi/2 to 2e-8 only, and near the pole of Beta no choice of Alpha is exact:
/// each angle is found by its arc tangent in what the ones before it leave, so that they make up for it.
void SetAngles(const TRotation& R, T7Params* params) {
  params->Alpha = rounded::atan2(-R[1].Z, R[2].Z);
  const double c = rounded::cos(params->Alpha);
  const double s = rounded::sin(params->Alpha);
  params->Beta = rounded::atan2(R[0].Z, c * R[2].Z - s * R[1].Z);
  params->Gamma = rounded::atan2(c * R[1].X + s * R[2].X, c * R[1].Y + s * R[2].Y);
}

T3DPoint ShiftOf(const T7Params& params) { return {params.ShiftX, params.ShiftY, params.ShiftZ}; }

void SetShift(const T3DPoint& shift, T7Params* params) {
  params->ShiftX = shift.X;
  params->ShiftY = shift.Y;
  params->ShiftZ = shift.Z;
}

bool IsUsable(const T7Params& params) {
  return std::all_of(std::begin(Fields), std::end(Fields),
                     [&](const TField& field) { return std::isfinite(params.*field.Value); }) &&
         params.Scale > 0.0;
}

std::vector<T3DPoint> PointsOf(const TPairs& pairs, T3DPoint T7ParamsSourceDataItem::*member) {
  std::vector<T3DPoint> points;
  points.reserve(pairs.size());
  for (const T7ParamsSourceDataItem& pair : pairs) points.push_back(pair.*member);
  return points;
}

/// The paper's matrix N, of the sums of products of source and target coordinates.
void SumHornMatrix(const TPairs& pairs, const TPrincipalAxes& source, const TPrincipalAxes& target,
                   double (&N)[4][4]) {
  T3DPoint x;
  T3DPoint y;
  T3DPoint z;
  for (const T7ParamsSourceDataItem& pair : pairs) {
    const T3DPoint from = source.FromCentroid(pair.From);
    const T3DPoint to = target.FromCentroid(pair.To);
    x = x + from.X * to;
    y = y + from.Y * to;
    z = z + from.Z * to;
  }
  const double upper[4][4] = {
      {x.X + y.Y + z.Z, y.Z - z.Y, z.X - x.Z, x.Y - y.X},
      {0.0, x.X - y.Y - z.Z, x.Y + y.X, z.X + x.Z},
      {0.0, 0.0, y.Y - x.X - z.Z, y.Z + z.Y},
      {0.0, 0.0, 0.0, z.Z - x.X - y.Y},
  };
  for (std::size_t i = 0; i < 4; ++i) {
    for (std::size_t j = i; j < 4; ++j) N[i][j] = N[j][i] = upper[i][j];
  }
}

std::size_t Farthest(const TPairs& points, double (*distance)(const T3DPoint&, const T3DPoint&),
                     const T3DPoint& from, const T3DPoint& along) {
  std::size_t farthest = 0;
  double largest = -1.0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double found = distance(points[i].From - from, along);
    if (!(found > largest)) continue;
    largest = found;
    farthest = i;
  }
  return farthest;
}

}  // namespace

bool InitializeFromXML(TKaXIniReader* reader, T7Params* params) try {
  T7Params read;
  ReadNumbersE(reader, Fields, &read);
  *params = read;
  return true;
} catch (...) {
  return false;
}

bool InitializeFromXML(TKaXIniReader* reader, std::string key, T7Params* params) try {
  return ReadSection(reader, key, [&] { return InitializeFromXML(reader, params); });
} catch (...) {
  return false;
}

bool SaveToXML(const T7Params& params, TKaXIniWriter* writer) try {
  return WriteNumbers(writer, Fields, params);
} catch (...) {
  return false;
}

bool SaveToXML(const T7Params& params, TKaXIniWriter* writer, std::string key) try {
  const unsigned long section = writer->BeginSection(key);
  if (section == 0) return false;
  const bool written = SaveToXML(params, writer);
  return writer->EndSection(section) && written;
} catch (...) {
  return false;
}

bool Invert7Params(const T7Params& src, T7Params* dst) {
  if (!IsUsable(src)) return false;
  const TRotation back = Transposed(RotationOf(src));
  T7Params inverse;
  inverse.Scale = 1.0 / src.Scale;
  SetAngles(back, &inverse);
  SetShift(-inverse.Scale * (back * ShiftOf(src)), &inverse);
  if (!IsUsable(inverse)) return false;
  *dst = inverse;
  return true;
}

void Combine7Params(const T7Params& first, const T7Params& second, T7Params* result) {
  const TRotation R = RotationOf(second);
  T7Params both;
  both.Scale = second.Scale * first.Scale;
  SetAngles(R * RotationOf(first), &both);
  SetShift(ShiftOf(second) + second.Scale * (R * ShiftOf(first)), &both);
  *result = both;
}

bool Calculate7Params(const std::vector<T7ParamsSourceDataItem>& points, T7Params* params) {
  if (points.size() < 3) return false;
  const TPrincipalAxes source(PointsOf(points, &T7ParamsSourceDataItem::From));
  const TPrincipalAxes target(PointsOf(points, &T7ParamsSourceDataItem::To));
  if (!source.IsWide() || !target.IsWide()) return false;
  double N[4][4];
  double values[4];
  double vectors[4][4];
  SumHornMatrix(points, source, target, N);
  SymmetricEigen(N, values, vectors);
  // Where two eigenvalues are the largest, but for rounding, the rotation has a choice.
  constexpr double Rounding = 8.0 * std::numeric_limits<double>::epsilon();
  const double least_gap = Rounding * values[0] + source.Rounding * std::sqrt(target.Sum()) +
                           target.Rounding * std::sqrt(source.Sum());
  if (!(values[0] - values[1] > least_gap)) return false;
  T7Params found;
  found.Scale = values[0] / source.Sum() * (target.Size / source.Size);
  SetAngles(Rows(TQuaternion(vectors[0]).R()), &found);
  SetShift(target.Centroid - found.Scale * (RotationOf(found) * source.Centroid), &found);
  if (!IsUsable(found)) return false;
  *params = found;
  return true;
}

bool Initialize7Params(const std::vector<T7ParamsSourceDataItem>& points, T7Params* params) {
  const bool finite = std::all_of(points.begin(), points.end(), [](const T7ParamsSourceDataItem& pair) {
    return IsFinite(pair.From) && IsFinite(pair.To);
  });
  if (points.size() < 3 || !finite) return false;
  const auto from_point = [](const T3DPoint& p, const T3DPoint&) { return Length(p); };
  const auto from_line = [](const T3DPoint& p, const T3DPoint& along) { return Length(Cross(p, along)); };
  const T7ParamsSourceDataItem& a = points[Farthest(points, from_point, points[0].From, {})];
  const T7ParamsSourceDataItem& b = points[Farthest(points, from_point, a.From, {})];
  const T7ParamsSourceDataItem& c = points[Farthest(points, from_line, a.From, Unit(b.From - a.From))];
  return Calculate7Params({a, b, c}, params);
}

T7ParamsTransform::T7ParamsTransform(const T7Params& src) {
  if (!Initialize(src)) throw TKaMessage("T7ParamsTransform::T7ParamsTransform(const T7Params& src)");
}

T7ParamsTransform::T7ParamsTransform(const std::vector<T7ParamsSourceDataItem>& points) {
  if (!Initialize(points)) {
    throw TKaMessage(
        "T7ParamsTransform::T7ParamsTransform(const std::vector<T7ParamsSourceDataItem>& points)");
  }
}

T7ParamsTransform::T7ParamsTransform(TKaXIniReader* src) {
  if (!InitializeFromXML(src)) throw TKaMessage("T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src)");
}

T7ParamsTransform::T7ParamsTransform(TKaXIniReader* src, std::string key) {
  if (!InitializeFromXML(src, key)) {
    throw TKaMessage("T7ParamsTransform::T7ParamsTransform(TKaXIniReader *src, std::string key)");
  }
}

bool T7ParamsTransform::Initialize(const T7Params& src) {
  T7Params inverse;
  if (!Invert7Params(src, &inverse)) return false;
  rotation_ = RotationOf(src);
  params_ = src;
  inverse_ = inverse;
  return true;
}

bool T7ParamsTransform::Initialize(const std::vector<T7ParamsSourceDataItem>& points) {
  T7Params found;
  return Calculate7Params(points, &found) && Initialize(found);
}

T3DPoint T7ParamsTransform::DirectTransform(const T3DPoint& from) const {
  return ShiftOf(params_) + params_.Scale * (rotation_ * from);
}

T3DPoint T7ParamsTransform::InverseTransform(const T3DPoint& to) const {
  return inverse_.Scale * (Transposed(rotation_) * (to - ShiftOf(params_)));
}

double T7ParamsTransform::GetResiduals(const std::vector<T7ParamsSourceDataItem>& points,
                                       std::vector<T3DPoint>* residuals) const {
  if (residuals != nullptr) residuals->clear();
  double squares = 0.0;
  for (const T7ParamsSourceDataItem& pair : points) {
    const T3DPoint residual = pair.To - DirectTransform(pair.From);
    squares += Dot(residual, residual);
    if (residuals != nullptr) residuals->push_back(residual);
  }
  return std::sqrt(squares / (3.0 * static_cast<double>(points.size())));
}

bool T7ParamsTransform::InitializeFromXML(TKaXIniReader* reader) try {
  T7Params read;
  return SatCommonUtils::InitializeFromXML(reader, &read) && Initialize(read);
} catch (...) {
  return false;
}

bool T7ParamsTransform::InitializeFromXML(TKaXIniReader* reader, std::string key) try {
  T7Params read;
  return SatCommonUtils::InitializeFromXML(reader, key, &read) && Initialize(read);
} catch (...) {
  return false;
}

bool T7ParamsTransform::SaveToXML(TKaXIniWriter* writer) const {
  return SatCommonUtils::SaveToXML(params_, writer);
}

bool T7ParamsTransform::SaveToXML(TKaXIniWriter* writer, std::string key) const try {
  return SatCommonUtils::SaveToXML(params_, writer, key);
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
