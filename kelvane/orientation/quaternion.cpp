#include "kelvane/orientation/quaternion.h"

#include <algorithm>
#include <cmath>

#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/text.h"
#include "kelvane/numeric/rounded.h"
#include "kelvane/orientation/matrix_3x3.h"

namespace SatCommonUtils {

namespace {

/// A quaternion as its length times one of length 1; NaNs for zero.
struct TPolar {
  double Length;
  TQuaternion Direction;
};

/// Scaled first, so that no square leaves the range.
TPolar Polar(const TQuaternion& q) {
  double largest = 0.0;
  for (int i = 0; i < 4; ++i) largest = std::max(largest, std::fabs(q(i)));
  const TQuaternion scaled = q / largest;
  const double length = std::sqrt(scaled.Norma());
  return {largest * length, scaled / length};
}

double Dot(const TQuaternion& a, const TQuaternion& b) {
  return a(0) * b(0) + a(1) * b(1) + a(2) * b(2) + a(3) * b(3);
}

TQuaternion Blend(const TQuaternion& a, double ka, const TQuaternion& b, double kb) {
  return a * ka + b * kb;
}

}  // namespace

TQuaternion::operator bool() const {
  return std::any_of(q_, q_ + 4, [](double component) { return component != 0.0; });
}

TQuaternion TQuaternion::operator~() const {
  const double n = Norma();
  return n == 0.0 ? TQuaternion() : !*this / n;
}

TQuaternion& TQuaternion::operator*=(const double& d) {
  const double factor = d;  // may be a component of this one
  for (double& component : q_) component *= factor;
  return *this;
}

TQuaternion& TQuaternion::operator/=(const double& d) {
  const double divisor = d;
  for (double& component : q_) component /= divisor;
  return *this;
}

TQuaternion& TQuaternion::operator+=(const TQuaternion& other) {
  for (int i = 0; i < 4; ++i) q_[i] += other.q_[i];
  return *this;
}

TQuaternion& TQuaternion::operator-=(const TQuaternion& other) {
  for (int i = 0; i < 4; ++i) q_[i] -= other.q_[i];
  return *this;
}

TQuaternion& TQuaternion::Normalize() {
  const double n = Norma();
  return n > 0.0 ? *this /= n : *this;
}

std::string TQuaternion::Output() const {
  return Tessarin::ssprintf("(%9.4f;%9.4f;%9.4f;%9.4f)", q_[0], q_[1], q_[2], q_[3]);
}

void TQuaternion::DebugOutput() const { KaPrintDbgMsg(Output() + '\n'); }

void TQuaternion::DebugOutput(const std::string& name) const { KaPrintDbgMsg(name + ' ' + Output() + '\n'); }

TMatrix TQuaternion::R() const {
  const auto [w, x, y, z] = (*this / Norma()).q_;
  return Made({{{1.0 - 2.0 * y * y - 2.0 * z * z, 2.0 * x * y - 2.0 * w * z, 2.0 * x * z + 2.0 * w * y},
                {2.0 * x * y + 2.0 * w * z, 1.0 - 2.0 * x * x - 2.0 * z * z, 2.0 * y * z - 2.0 * w * x},
                {2.0 * x * z - 2.0 * w * y, 2.0 * y * z + 2.0 * w * x, 1.0 - 2.0 * x * x - 2.0 * y * y}}});
}

TMatrix TQuaternion::cnesR() const {
  const auto [w, x, y, z] = (*this / Norma()).q_;
  return Made({{{2.0 * (w * w + x * x) - 1.0, 2.0 * (x * y - w * z), 2.0 * (x * z + w * y)},
                {2.0 * (x * y + w * z), 2.0 * (w * w + y * y) - 1.0, 2.0 * (y * z - w * x)},
                {2.0 * (x * z - w * y), 2.0 * (y * z + w * x), 2.0 * (w * w + z * z) - 1.0}}});
}

TMatrix TQuaternion::AltR() const {
  const auto [w, x, y, z] = (*this / Norma()).q_;
  return Made({{{w * w + x * x - y * y - z * z, 2.0 * x * y + 2.0 * w * z, 2.0 * x * z - 2.0 * w * y},
                {2.0 * x * y - 2.0 * w * z, w * w - x * x + y * y - z * z, 2.0 * y * z + 2.0 * w * x},
                {2.0 * x * z + 2.0 * w * y, 2.0 * y * z - 2.0 * w * x, w * w - x * x - y * y + z * z}}});
}

TQuaternion operator+(const TQuaternion& a, const TQuaternion& b) { return TQuaternion(a) += b; }

TQuaternion operator-(const TQuaternion& a, const TQuaternion& b) { return TQuaternion(a) -= b; }

TQuaternion operator*(const TQuaternion& a, const TQuaternion& b) {
  return {a(0) * b(0) - a(1) * b(1) - a(2) * b(2) - a(3) * b(3),
          a(0) * b(1) + a(1) * b(0) + a(2) * b(3) - a(3) * b(2),
          a(0) * b(2) + a(2) * b(0) + a(3) * b(1) - a(1) * b(3),
          a(0) * b(3) + a(3) * b(0) + a(1) * b(2) - a(2) * b(1)};
}

TQuaternion operator*(const TQuaternion& q, const double& d) { return TQuaternion(q) *= d; }

TQuaternion operator*(const double& d, const TQuaternion& q) { return q * d; }

TQuaternion operator/(const TQuaternion& q, const double& d) { return TQuaternion(q) /= d; }

bool operator==(const TQuaternion& a, const TQuaternion& b) {
  return a(0) == b(0) && a(1) == b(1) && a(2) == b(2) && a(3) == b(3);
}

bool operator==(const TQuaternion& q, const TVector& v) { return q == TQuaternion(0.0, v); }

bool operator==(const TVector& v, const TQuaternion& q) { return q == v; }

bool operator==(const TQuaternion& q, const double& d) { return q == TQuaternion(d, 0.0, 0.0, 0.0); }

bool operator==(const double& d, const TQuaternion& q) { return q == d; }

TQuaternion SLERP(const TQuaternion& a, const TQuaternion& b, const double& t) {
  // The cosine of the step is a truth value: 1 unless the product is zero.
  const double theta = rounded::acos(a * b ? 1.0 : 0.0);
  const double s = rounded::sin(theta);
  if (s == 0.0) return Blend(a, 1.0, b, 0.0);
  return Blend(a, rounded::sin((1.0 - t) * theta) / s, b, rounded::sin(t * theta) / s);
}

TQuaternion InterpolateRotation(const TQuaternion& a, const TQuaternion& b, const double& t) {
  const TQuaternion from = Polar(a).Direction;
  TQuaternion to = Polar(b).Direction;
  if (Dot(from, to) < 0.0) to = -to;
  const TQuaternion chord = to - from;
  if (chord == 0.0) return from;
  // From the chords, for the arc cosine of the product would lose small angles.
  const double theta = 2.0 * rounded::atan2(Polar(chord).Length, Polar(to + from).Length);
  const TQuaternion across = Polar(chord - from * Dot(from, chord)).Direction;
  return Blend(from, rounded::cos(t * theta), across, rounded::sin(t * theta));
}

}  // namespace SatCommonUtils
