// Solves linear equations, more equations than unknowns, and nonlinear ones; a large row stores little.
//
// $ solve_equations
// x 1.000, y 3.000, determinant -3
// the line 1.030 + 1.980 x
// the circle meets the parabola at (1.000, 1.000)
// 2 of 1000 elements stored, their product with all ones is 1.500
#include <cstdio>

#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/nonlinear_system.h"
#include "kelvane/numeric/sparse_vector.h"

int main() {
  using namespace SatCommonUtils;
  TMatrix square(2, 2);  // 2x + y = 5, x - y = -2
  const double coefficients[2][2] = {{2.0, 1.0}, {1.0, -1.0}};
  for (std::size_t row = 0; row < 2; ++row)
    for (std::size_t col = 0; col < 2; ++col) square.SetElement(col, row, coefficients[row][col]);
  TVector solution(2);
  const double determinant = Gauss(square, TVector("(5;-2)"), solution);
  if (determinant == 0.0) return 1;
  std::printf("x %.3f, y %.3f, determinant %.0f\n", solution[0], solution[1], determinant);

  TMatrix line(2, 4);  // a row of 1 and x for each point
  for (std::size_t row = 0; row < 4; ++row) {
    line.SetElement(0, row, 1.0);
    line.SetElement(1, row, static_cast<double>(row));
  }
  if (!TOverdefinedLinearSystem(line, TVector("(1;3;5.1;6.9)")).Solve(solution)) return 1;
  std::printf("the line %.3f + %.3f x\n", solution[0], solution[1]);

  // x² + y² = 2 and y = x², with their derivatives by x and y.
  using Parameter = TDefaultEquationParameter;
  TEquationFunction equations[] = {[](double* p, Parameter*) { return p[0] * p[0] + p[1] * p[1] - 2.0; },
                                   [](double* p, Parameter*) { return p[0] * p[0] - p[1]; }};
  const TEquationFunction twice = [](double* p, Parameter* at) { return 2.0 * p[at->variableIndex]; };
  TEquationFunction derivatives[2][2] = {{twice, twice}, {twice, [](double*, Parameter*) { return -1.0; }}};
  TEquationFunction* rows[] = {derivatives[0], derivatives[1]};
  double point[] = {2.0, 1.0};
  TNonlinearSystemNewtonMethodParams newton{rows, point, 1e-12, 20};
  if (!TNonlinearSystem(2, equations, nullptr).Newton(&newton, point)) return 1;
  std::printf("the circle meets the parabola at (%.3f, %.3f)\n", point[0], point[1]);

  TSparseVector sparse(1000);
  sparse[3] = 2.0;
  sparse[996] = -0.5;
  double product = 0.0;
  for (const auto& element : sparse.Elements()) product += element.second * 1.0;
  std::printf("%zu of %zu elements stored, their product with all ones is %.3f\n", sparse.Elements().size(),
              sparse.Size(), product);
  return 0;
}
