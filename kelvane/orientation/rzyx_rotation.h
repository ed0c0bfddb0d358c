/// \file
/// The rotation composed of turns about X, Y and Z: R = Rx(alpha) · Ry(beta) · Rz(gamma), so that a vector is
/// turned about Z first, then about Y, then about X. With omega, phi, kappa for alpha, beta, gamma it is the
/// rotation matrix of photogrammetry (K. Kraus, Photogrammetry, 2nd ed., de Gruyter 2007).
///
/// Angles are in radians, positive from Y to Z, from Z to X and from X to Y. Elements are spoken of as
/// (row, column). A matrix to be written has at least 3 rows of 3 elements, of which the upper left ones are
/// overwritten; a smaller one throws `std::runtime_error` "double& TVector::operator[] (size_t index)", with
/// nothing written. Nothing keeps state: calls may run at the same time.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {

/// Rows (1, 0, 0), (0, cos, -sin), (0, sin, cos).
KELVANE_API void RzyxGetRx(const double& alpha, TMatrix* M);
/// Rows (cos, 0, sin), (0, 1, 0), (-sin, 0, cos).
KELVANE_API void RzyxGetRy(const double& beta, TMatrix* M);
/// Rows (cos, -sin, 0), (sin, cos, 0), (0, 0, 1).
KELVANE_API void RzyxGetRz(const double& gamma, TMatrix* M);

/// The derivatives of these three by their angle.
KELVANE_API void RzyxGet_dRx_dalpha(const double& alpha, TMatrix* M);
KELVANE_API void RzyxGet_dRy_dbeta(const double& beta, TMatrix* M);
KELVANE_API void RzyxGet_dRz_dgamma(const double& gamma, TMatrix* M);

/// Writes Rx(alpha) · Ry(beta) · Rz(gamma) in closed form.
KELVANE_API void RzyxGetR(const double& alpha, const double& beta, const double& gamma, TMatrix* M);

/// The angle in [-pi/2, 3pi/2] of sine `s`, on the side that the sign of the cosine `c` says; the size of `c`
/// is not used. A sine above 1 counts as 1, one below -1 as -1, both whatever `c` is; a NaN gives NaN. Close
/// to ±pi/2 the sine alone tells the angle to 2e-8 only.
KELVANE_API double SinCosToAngle(const double& s, const double& c);

/// The angles of `RzyxGetR`: beta in [-pi/2, pi/2], alpha and gamma in [-pi/2, 3pi/2]. When |R(0,2)| is not
/// below 1 only a combination of alpha and gamma is determined: alpha is then 0 and beta ±pi/2.
///
/// Near alpha, gamma = ±pi/2 an angle carries the error of its arc sine, up to 2e-8 / cos(beta); elsewhere it
/// is of the order of 1e-16 / cos²(beta). That `R` is a rotation is not checked, nor are NaNs: a NaN at (0,2)
/// counts as -1. `R` smaller than 3 x 3 throws the index error, the angles then unchanged.
KELVANE_API void RzyxGetAlphaBetaGamma(const TMatrix& R, double* alpha, double* beta, double* gamma);

}  // namespace SatCommonUtils
