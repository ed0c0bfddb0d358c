#include "kelvane/rpc/rpc_polynomials.h"

#include "kelvane/rpc/rpc_terms.h"

namespace SatCommonUtils {

void CalculateRPCPolynomes(const double& P, const double& L, const double& H, const double* const* coefs,
                           double* values, double* dP, double* dL, double* dH) {
  const TRPCTerms<double> terms(P, L, H);
  for (int i = 0; i < 4; ++i) {
    const double* const c = coefs[i];
    if (values != nullptr) values[i] = RPCValue(c, terms);
    if (dP != nullptr) dP[i] = RPCByLatitude(c, terms);
    if (dL != nullptr) dL[i] = RPCByLongitude(c, terms);
    if (dH != nullptr) dH[i] = RPCByHeight(c, terms);
  }
}

}  // namespace SatCommonUtils
