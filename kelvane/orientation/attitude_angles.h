/// \file
/// Attitude angles of a satellite and their matrices.
///
/// | Angle       | Name    | Turn                     | Index in the derivatives |
/// |-------------|---------|--------------------------|--------------------------|
/// | psi (ψ)     | `psi`   | about Z, positive X to Y | 0                        |
/// | nu (ν)      | `nyu`   | about X, positive Y to Z | 1                        |
/// | gamma (γ)   | `gamma` | about Y, positive Z to X | 2                        |
///
/// All angles are in radians. The attitude is R(ψ, ν, γ) = Apsi(ψ) · Anyu(ν) · Agamma(γ), the
/// direction-cosine matrix is its transpose. (ν, γ, ψ) and its twin (π - ν, γ + π, ψ + π) give the same R. At
/// the poles ν = ±π/2 only a combination is determined: ψ + γ at +π/2, γ - ψ at -π/2. (The sequence Z, X, Y
/// of Euler angles: M. D. Shuster, A Survey of Attitude Representations, Journal of the Astronautical
/// Sciences 41(4), 1993.)
///
/// Elements are spoken of as (row, column). A matrix to be written to, unless it is assigned, has at least 3
/// rows of 3 elements, of which the upper left ones are overwritten; where a smaller one is written or read,
/// `std::runtime_error` "double& TVector::operator[] (size_t index)" is thrown, with nothing written. That a
/// matrix is a rotation is not checked, nor are NaNs: they give angles without a meaning, or NaNs.
#pragma once

#include <limits>

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {
namespace SatAttitudeAngles {

/// No element of R, made of angles up to a turn, differs from the exact one by more.
constexpr double AttitudeMatrixBound = 1e-15;

/// R, its elements right to a rounding of 1, differs from R made again of the angles that `GetAnglesExt`
/// finds in it by no more in any element: 1e-12 for |cos ν| from 2e-3, and 3e-8 at a pole. For |cos ν| from
/// 1e-7; nearer a pole but not at it, rounding may leave NaNs for γ and ψ.
constexpr double AttitudeRoundTripBound(double cos_nyu) {
  return 8.0 * std::numeric_limits<double>::epsilon() / (cos_nyu < 0.0 ? -cos_nyu : cos_nyu);
}

/// A derivative differs by no more from the central difference over `step` radians to either side: the
/// difference's third-order term, and rounding, for angles up to a turn.
constexpr double AttitudeDerivativeBound(double step) {
  return step * step / 6.0 + 8.0 * std::numeric_limits<double>::epsilon() / step;
}

/// Rows (1, 0, 0), (0, cos, -sin), (0, sin, cos).
KELVANE_API void Anyu(TMatrix* M, double nyu);
/// Rows (cos, 0, sin), (0, 1, 0), (-sin, 0, cos).
KELVANE_API void Agamma(TMatrix* M, double gamma);
/// Rows (cos, -sin, 0), (sin, cos, 0), (0, 0, 1).
KELVANE_API void Apsi(TMatrix* M, double psi);
/// Their derivatives by the angle.
KELVANE_API void dAnyu_dnyu(TMatrix* M, double nyu);
KELVANE_API void dAgamma_dgamma(TMatrix* M, double gamma);
KELVANE_API void dApsi_dpsi(TMatrix* M, double psi);

/// Writes the transpose of R(ψ, ν, γ).
KELVANE_API void DirectionalCosMatrix(TMatrix* M, double nyu, double gamma, double psi);

/// The same for small angles, to first order: rows (1, ψ, -γ), (-ψ, 1, ν), (γ, -ν, 1).
KELVANE_API TMatrix LinearizedDirectionalCosMatrix(double nyu, double gamma, double psi);

/// Assigns the derivative of R (not of its transpose) by the angle of the index; note the order of the
/// angles. Throws `TKaMessage` "DirectionalCosMatrixDerivative failed", with `M` unchanged, when the index is
/// none of 0, 1, 2. It and the next function keep no state: calls may run at the same time. They allocate
/// only when `M` is not 3 x 3 before.
KELVANE_API void DirectionalCosMatrixDerivative(TMatrix* M, int index, double psi, double nyu, double gamma);

/// Assigns the second derivative of R by the angles of both indices. Of two different indices one that is
/// none of 0, 1, 2 differentiates nothing. When both are the same such number, throws `TKaMessage`
/// "DirectionalCosMatrixSecondDerivative failed", with `M` unchanged.
KELVANE_API void DirectionalCosMatrixSecondDerivative(TMatrix* M, int i, int j, double psi, double nyu,
                                                      double gamma);

/// The angle in [-π, π] of sine `s` and cosine `c`, from the arc cosine when |s| is at least |c|, else from
/// the arc sine. The two are taken as they are: what the arc function does not take gives NaN.
KELVANE_API double GetRadians(double s, double c);

/// Angles larger than this (radians) are first brought within a turn by `std::fmod`, which ends at once and
/// is exact for the turn of a double; at 1e300 the result is in the range and means nothing. Smaller ones are
/// turned once and again, each turn rounded: at the limit the two ways differ by up to about 1e-5.
/// Infinity gives NaN, and NaN stays.
constexpr double LargestAngleTurned = 1e6;

/// The same direction in (-π, π].
KELVANE_API double GetArranged_PI_PI(double a);
/// The same direction in [0, 2π); 2π itself for a negative angle so small that adding it to 2π changes
/// nothing.
KELVANE_API double GetArranged_0_2PI(double a);

/// The triple of R whose ψ + γ and ψ - γ both lie within ±π, all angles in [-π, π]. Returns sin ν: R(2,1)
/// when it is within (-1, 1); else 1.0 or -1.0, the pole at or beyond which it is, and `gamma` and `psi` then
/// both take the combination that is determined. Close to a pole the other combination carries an error of up
/// to about 2ε / cos² ν.
KELVANE_API double GetAnglesExt(TMatrix& R, double& nyu, double& gamma, double& psi);

/// alpha = atan(-M(2,0) / M(2,2)), omega = asin(-M(2,1)), kappa = atan(M(0,1) / M(1,1)), all within ±π/2:
/// alpha and kappa beyond that come out half a turn off. A zero divisor gives ±π/2, or NaN for 0/0.
KELVANE_API void GetAlphaOmegaKappa(const TMatrix& M, double* alpha, double* omega, double* kappa);

/// Writes the turn by -kappa about Z, times that by -omega about X, times that by alpha about Y.
KELVANE_API void AlphaOmegaKappa2Matrix(const double& alpha, const double& omega, const double& kappa,
                                        TMatrix* M);

}  // namespace SatAttitudeAngles
}  // namespace SatCommonUtils
