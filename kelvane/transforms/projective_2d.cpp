#include "kelvane/transforms/projective_2d.h"

#include <algorithm>

#include "kelvane/numeric/linear_solvers.h"

namespace SatCommonUtils {

bool Calculate2DProjectiveParams(const std::vector<T2DTransformParamsSourceDataItem>& points,
                                 T2DProjectiveParams* params) {
  constexpr std::size_t Unknowns = T2DProjectiveParams::Count;
  const std::size_t equations = 2 * points.size();
  if (equations < Unknowns) return false;
  TMatrix design(Unknowns, equations);
  TVector free(equations);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const auto& [x, y, X, Y] = points[i];
    const double rows[2][Unknowns] = {{x, y, 1.0, 0.0, 0.0, 0.0, -x * X, -y * X},
                                      {0.0, 0.0, 0.0, x, y, 1.0, -x * Y, -y * Y}};
    std::copy_n(rows[0], Unknowns, design.rows[2 * i].data);
    std::copy_n(rows[1], Unknowns, design.rows[2 * i + 1].data);
    free[2 * i] = X;
    free[2 * i + 1] = Y;
  }
  TVector solution;
  TOverdefinedLinearSystem(design, free).Solution(solution);
  std::copy_n(solution.data, Unknowns, params->Values);
  return true;
}

}  // namespace SatCommonUtils
