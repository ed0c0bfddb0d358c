/// \file
/// Quaternions, the scalar part first.
#pragma once

#include <string>

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/vector.h"

namespace SatCommonUtils {

/// q = q0 + q1·i + q2·j + q3·k: the scalar part q0, then the vector part along X, Y and Z. A plain value.
///
/// Whatever normalises here divides by N = q0² + q1² + q2² + q3², the squared length, and not by its root.
/// For a unit quaternion that changes nothing; one of length 2 becomes one of length 0.5. Bring a quaternion
/// to unit length (q / sqrt(q.Norma())) before you take it for a rotation.
class KELVANE_API TQuaternion {
 public:
  /// All four zero.
  TQuaternion() = default;
  /// Scalar part first.
  TQuaternion(const double& q0, const double& q1, const double& q2, const double& q3) : q_{q0, q1, q2, q3} {}
  /// From p[0] to p[3].
  explicit TQuaternion(const double* p) : q_{p[0], p[1], p[2], p[3]} {}
  /// The scalar and the first three elements of the vector, whose size is not checked.
  TQuaternion(const double& s, const TVector& v) : q_{s, v.data[0], v.data[1], v.data[2]} {}

  /// The scalar part 0 and the first three elements of the vector, whose size is not checked.
  TQuaternion& operator=(const TVector& v) { return *this = TQuaternion(0.0, v); }
  /// The scalar part alone, the vector part 0.
  TQuaternion& operator=(double d) { return *this = TQuaternion(d, 0.0, 0.0, 0.0); }

  /// Component i from 0 to 3, not checked.
  double& operator[](int i) { return q_[i]; }
  double operator()(int i) const { return q_[i]; }

  /// True when a component is neither 0 nor -0.
  explicit operator bool() const;

  /// Component by component.
  TQuaternion operator-() const { return {-q_[0], -q_[1], -q_[2], -q_[3]}; }
  /// The conjugate (q0, -q1, -q2, -q3); so `!q` does not ask whether q is zero.
  TQuaternion operator!() const { return {q_[0], -q_[1], -q_[2], -q_[3]}; }
  /// The inverse, the conjugate divided by N; the zero quaternion when N is 0.
  TQuaternion operator~() const;

  /// N, the squared length.
  double Norma() const { return q_[0] * q_[0] + q_[1] * q_[1] + q_[2] * q_[2] + q_[3] * q_[3]; }

  /// Each component by the number.
  TQuaternion& operator*=(const double& d);
  /// Divides each component; by zero as the division gives it.
  TQuaternion& operator/=(const double& d);
  /// Component by component.
  TQuaternion& operator+=(const TQuaternion& other);
  TQuaternion& operator-=(const TQuaternion& other);

  /// Divides each component by N, the squared length; unchanged unless N is above 0.
  TQuaternion& Normalize();
  /// A copy after `Normalize`: divided by N, too.
  TQuaternion GetNormalized() const { return TQuaternion(*this).Normalize(); }

  /// For display: "(" the components as "%9.4f" with ";" between them ")". A decimal point under every
  /// locale.
  std::string Output() const;
  /// One message through the host's `KaPrintDbgMsg`: the name and a blank when there is a name, `Output()`,
  /// LF.
  void DebugOutput() const;
  /// Throws `std::logic_error` when `name` is null.
  void DebugOutput(const char* name) const { DebugOutput(std::string(name)); }
  void DebugOutput(const std::string& name) const;

  /// Three forms of the 3 x 3 matrix of the components divided by N. For a unit quaternion `R` and `cnesR`
  /// are its rotation, v -> q·v·~q, and `AltR` their transpose, the same turn of the axes. For any other
  /// length none of them is a rotation, and they differ; the zero quaternion gives NaNs. J. B. Kuipers,
  /// Quaternions and Rotation Sequences, Princeton University Press 1999; `AltR` as in J. Diebel,
  /// Representing Attitude: Euler Angles, Unit Quaternions, and Rotation Vectors, Stanford University 2006.
  TMatrix R() const;
  TMatrix AltR() const;
  TMatrix cnesR() const;

 private:
  double q_[4] = {0.0, 0.0, 0.0, 0.0};
};

/// Component by component.
KELVANE_API TQuaternion operator+(const TQuaternion& a, const TQuaternion& b);
KELVANE_API TQuaternion operator-(const TQuaternion& a, const TQuaternion& b);
/// The product of W. R. Hamilton, i·j = k: the rotation of `b`, then that of `a`.
KELVANE_API TQuaternion operator*(const TQuaternion& a, const TQuaternion& b);
/// Component by component; division by zero as the division gives it.
KELVANE_API TQuaternion operator*(const TQuaternion& q, const double& d);
KELVANE_API TQuaternion operator*(const double& d, const TQuaternion& q);
KELVANE_API TQuaternion operator/(const TQuaternion& q, const double& d);

/// All comparisons are exact. A vector, of at least three elements, is the quaternion with the scalar part 0;
/// a number the one with the vector part 0.
KELVANE_API bool operator==(const TQuaternion& a, const TQuaternion& b);
KELVANE_API bool operator==(const TQuaternion& q, const TVector& v);
KELVANE_API bool operator==(const TVector& v, const TQuaternion& q);
KELVANE_API bool operator==(const TQuaternion& q, const double& d);
KELVANE_API bool operator==(const double& d, const TQuaternion& q);

/// Does NOT interpolate, in spite of its name: for finite quaternions it is `a`, whatever `t` is. Only when
/// the product a·b is zero (one of the two is, or all of the product underflows) is it a·cos(t·pi/2) +
/// b·sin(t·pi/2), to rounding. Programs depend on that. What interpolates between rotations is
/// `InterpolateRotation`.
KELVANE_API TQuaternion SLERP(const TQuaternion& a, const TQuaternion& b, const double& t);

/// The rotation on the way from that of `a` (t = 0) to that of `b` (t = 1) at a constant rate: the spherical
/// linear interpolation that `SLERP` does not do. It takes the shorter arc, so `b` and -b give the same;
/// rotations half a turn apart have two, and the one from `a` to `b` as given is taken. `t` beyond 0 and 1
/// goes on along the arc, to the rounding of `t` times its length. The lengths of `a` and `b` do not matter;
/// the result has length 1 to 2e-15, for arcs as small as may be. A zero, infinite or NaN quaternion has no
/// rotation and gives NaNs, and so does such a `t`, unless the two are the same. K. Shoemake, Animating
/// rotation with quaternion curves, SIGGRAPH 1985, doi:10.1145/325334.325242.
KELVANE_API TQuaternion InterpolateRotation(const TQuaternion& a, const TQuaternion& b, const double& t);

}  // namespace SatCommonUtils
