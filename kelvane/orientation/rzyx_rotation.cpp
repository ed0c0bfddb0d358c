#include "kelvane/orientation/rzyx_rotation.h"

#include <cmath>

#include "kelvane/numeric/rounded.h"
#include "kelvane/orientation/matrix_3x3.h"

namespace SatCommonUtils {

void RzyxGetRx(const double& alpha, TMatrix* M) { Write(TTurn(alpha).AboutX(), M); }
void RzyxGetRy(const double& beta, TMatrix* M) { Write(TTurn(beta).AboutY(), M); }
void RzyxGetRz(const double& gamma, TMatrix* M) { Write(TTurn(gamma).AboutZ(), M); }

void RzyxGet_dRx_dalpha(const double& alpha, TMatrix* M) { Write(TTurn(alpha, 1).AboutX(), M); }
void RzyxGet_dRy_dbeta(const double& beta, TMatrix* M) { Write(TTurn(beta, 1).AboutY(), M); }
void RzyxGet_dRz_dgamma(const double& gamma, TMatrix* M) { Write(TTurn(gamma, 1).AboutZ(), M); }

void RzyxGetR(const double& alpha, const double& beta, const double& gamma, TMatrix* M) {
  const double ca = rounded::cos(alpha);
  const double sa = rounded::sin(alpha);
  const double cb = rounded::cos(beta);
  const double sb = rounded::sin(beta);
  const double cg = rounded::cos(gamma);
  const double sg = rounded::sin(gamma);
  Write({{{cb * cg, -cb * sg, sb},
          {sa * sb * cg + ca * sg, ca * cg - sa * sb * sg, -sa * cb},
          {sa * sg - ca * sb * cg, ca * sb * sg + sa * cg, ca * cb}}},
        M);
}

double SinCosToAngle(const double& s, const double& c) {
  if (s > 1.0) return M_PI_2;
  if (s < -1.0) return -M_PI_2;
  const double a = rounded::asin(s);
  return c < 0.0 ? M_PI - a : a;
}

void RzyxGetAlphaBetaGamma(const TMatrix& R, double* alpha, double* beta, double* gamma) {
  Require3x3(R);
  const double sine = At(R, 0, 2);
  if (std::fabs(sine) < 1.0) {
    *beta = rounded::asin(sine);
    const double cb = rounded::cos(*beta);
    *gamma = SinCosToAngle(-At(R, 0, 1) / cb, At(R, 0, 0) / cb);
    *alpha = SinCosToAngle(-At(R, 1, 2) / cb, At(R, 2, 2) / cb);
  } else {
    *alpha = 0.0;
    *beta = sine >= 1.0 ? M_PI_2 : -M_PI_2;
    *gamma = SinCosToAngle(At(R, 1, 0), At(R, 1, 1));
  }
}

}  // namespace SatCommonUtils
