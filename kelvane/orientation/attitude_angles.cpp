#include "kelvane/orientation/attitude_angles.h"

#include <cmath>

#include "kelvane/module/host/message.h"
#include "kelvane/numeric/rounded.h"
#include "kelvane/orientation/matrix_3x3.h"

namespace SatCommonUtils {
namespace SatAttitudeAngles {

namespace {

constexpr double TwoPi = 2.0 * M_PI;

/// Assigns R with factor k differentiated `orders[k]` times.
void AssignProduct(const int (&orders)[3], double psi, double nyu, double gamma, TMatrix* M) {
  const T3x3 turned = Product(TTurn(psi, orders[0]).AboutZ(), TTurn(nyu, orders[1]).AboutX());
  Assign(Product(turned, TTurn(gamma, orders[2]).AboutY()), M);
}

bool IsAngle(int index) { return 0 <= index && index < 3; }

double FewTurns(double a) { return std::fabs(a) > LargestAngleTurned ? std::fmod(a, TwoPi) : a; }

}  // namespace

void Anyu(TMatrix* M, double nyu) { Write(TTurn(nyu).AboutX(), M); }
void Agamma(TMatrix* M, double gamma) { Write(TTurn(gamma).AboutY(), M); }
void Apsi(TMatrix* M, double psi) { Write(TTurn(psi).AboutZ(), M); }

void dAnyu_dnyu(TMatrix* M, double nyu) { Write(TTurn(nyu, 1).AboutX(), M); }
void dAgamma_dgamma(TMatrix* M, double gamma) { Write(TTurn(gamma, 1).AboutY(), M); }
void dApsi_dpsi(TMatrix* M, double psi) { Write(TTurn(psi, 1).AboutZ(), M); }

void DirectionalCosMatrix(TMatrix* M, double nyu, double gamma, double psi) {
  const double cn = rounded::cos(nyu);
  const double sn = rounded::sin(nyu);
  const double cg = rounded::cos(gamma);
  const double sg = rounded::sin(gamma);
  const double cp = rounded::cos(psi);
  const double sp = rounded::sin(psi);
  Write({{{cp * cg - sp * sg * sn, cp * sg * sn + sp * cg, -sg * cn},
          {-sp * cn, cp * cn, sn},
          {sp * cg * sn + cp * sg, sp * sg - cp * cg * sn, cg * cn}}},
        M);
}

TMatrix LinearizedDirectionalCosMatrix(double nyu, double gamma, double psi) {
  return Made({{{1.0, psi, -gamma}, {-psi, 1.0, nyu}, {gamma, -nyu, 1.0}}});
}

void DirectionalCosMatrixDerivative(TMatrix* M, int index, double psi, double nyu, double gamma) {
  if (!IsAngle(index)) throw TKaMessage("DirectionalCosMatrixDerivative failed");
  AssignProduct({index == 0, index == 1, index == 2}, psi, nyu, gamma, M);
}

void DirectionalCosMatrixSecondDerivative(TMatrix* M, int i, int j, double psi, double nyu, double gamma) {
  if (i == j && !IsAngle(i)) throw TKaMessage("DirectionalCosMatrixSecondDerivative failed");
  int orders[3] = {};
  for (const int index : {i, j}) {
    if (IsAngle(index)) ++orders[index];
  }
  AssignProduct(orders, psi, nyu, gamma, M);
}

double GetRadians(double s, double c) {
  if (std::fabs(s) >= std::fabs(c)) {
    const double a = rounded::acos(c);
    return s >= 0.0 ? a : -a;
  }
  if (c >= 0.0) return rounded::asin(s);
  return (s >= 0.0 ? M_PI : -M_PI) - rounded::asin(s);
}

double GetArranged_PI_PI(double a) {
  a = FewTurns(a);
  while (a > M_PI) a -= TwoPi;
  while (a <= -M_PI) a += TwoPi;
  return a;
}

double GetArranged_0_2PI(double a) {
  a = FewTurns(a);
  while (a >= TwoPi) a -= TwoPi;
  while (a < 0.0) a += TwoPi;
  return a;
}

// R, with c and s of each angle; the sums and differences of its four mixed elements separate ψ + γ and
// ψ - γ:
//
//   cψ·cγ - sψ·sν·sγ    -sψ·cν    cψ·sγ + sψ·sν·cγ     (1,0) + (0,2) = (1 + sν)·sin(ψ + γ)
//   sψ·cγ + cψ·sν·sγ     cψ·cν    sψ·sγ - cψ·sν·cγ     (0,0) - (1,2) = (1 + sν)·cos(ψ + γ)
//       -cν·sγ            sν          cν·cγ            (1,0) - (0,2) = (1 - sν)·sin(ψ - γ)
//                                                      (0,0) + (1,2) = (1 - sν)·cos(ψ - γ)
double GetAnglesExt(TMatrix& R, double& nyu, double& gamma, double& psi) {
  Require3x3(R);
  const auto r = [&R](std::size_t row, std::size_t col) { return At(R, row, col); };
  const double sine = r(2, 1);
  if (sine >= 1.0 || sine <= -1.0) {
    gamma = psi = GetRadians(r(0, 2), r(0, 0));
    nyu = sine > 1.0 ? M_PI_2 : sine < -1.0 ? -M_PI_2 : rounded::asin(sine);
    return sine > 0.0 ? 1.0 : -1.0;
  }
  const double sum = GetRadians((r(1, 0) + r(0, 2)) / (sine + 1.0), (r(0, 0) - r(1, 2)) / (sine + 1.0));
  const double difference =
      GetRadians((r(1, 0) - r(0, 2)) / (1.0 - sine), (r(0, 0) + r(1, 2)) / (1.0 - sine));
  psi = (sum + difference) / 2.0;
  gamma = (sum - difference) / 2.0;
  const double sg = rounded::sin(gamma);
  const double cg = rounded::cos(gamma);
  const double cosine = std::fabs(sg) > std::fabs(cg) ? -r(2, 0) / sg : r(2, 2) / cg;
  nyu = GetRadians(sine, cosine);
  return sine;
}

void GetAlphaOmegaKappa(const TMatrix& M, double* alpha, double* omega, double* kappa) {
  Require3x3(M);
  *alpha = rounded::atan(-At(M, 2, 0) / At(M, 2, 2));
  *omega = rounded::asin(-At(M, 2, 1));
  *kappa = rounded::atan(At(M, 0, 1) / At(M, 1, 1));
}

void AlphaOmegaKappa2Matrix(const double& alpha, const double& omega, const double& kappa, TMatrix* M) {
  const double sa = rounded::sin(alpha);
  const double ca = rounded::cos(alpha);
  const double so = rounded::sin(omega);
  const double co = rounded::cos(omega);
  const double sk = rounded::sin(kappa);
  const double ck = rounded::cos(kappa);
  Write({{{ca * ck - sa * so * sk, co * sk, so * ca * sk + sa * ck},
          {-ca * sk - sa * so * ck, co * ck, so * ca * ck - sk * sa},
          {-sa * co, -so, ca * co}}},
        M);
}

}  // namespace SatAttitudeAngles
}  // namespace SatCommonUtils
