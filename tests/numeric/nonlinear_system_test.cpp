#include "kelvane/numeric/nonlinear_system.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using Parameter = TDefaultEquationParameter;

struct Outcome {
  bool reached;
  double x;
  int iterations;
  double residual;
};

double Parabola(double* x, Parameter*) { return x[0] * x[0] - 4.0; }
double Slope(double* x, Parameter*) { return 2.0 * x[0]; }

/// Solves one equation of one unknown.
Outcome Solve(TEquationFunction value, TEquationFunction derivative, double x, int iterations,
              bool (*callback)(int) = nullptr, double tolerance = 1e-12) {
  TEquationFunction* row = &derivative;
  TNonlinearSystemSolutionInfo info(1);
  TNonlinearSystemNewtonMethodParams params = {&row, &x, tolerance, iterations, &info, callback};
  const bool reached = TNonlinearSystem(1, &value, nullptr).Newton(&params, &x);
  EXPECT_EQ(info.reached, reached);
  return {reached, x, info.iterations, info.residuals[0]};
}

TEST(NonlinearSystem, CountsIterationsButTheLast) {
  const Outcome solved = Solve(Parabola, Slope, 1.0, 20);
  EXPECT_TRUE(solved.reached);
  EXPECT_NEAR(solved.x, 2.0, 1e-15);
  EXPECT_NEAR(solved.residual, 0.0, 1e-14);
  const Outcome exhausted = Solve(Parabola, Slope, 1.0, solved.iterations);
  EXPECT_FALSE(exhausted.reached);
  EXPECT_EQ(exhausted.iterations, solved.iterations);
  EXPECT_EQ(Solve(Parabola, Slope, 2.0, 5).iterations, 0);
  EXPECT_FALSE(Solve(Parabola, Slope, 2.0, 5, nullptr, 0.0).reached);
  const Outcome untried = Solve(Parabola, Slope, 3.0, 0);
  EXPECT_TRUE(!untried.reached && untried.x == 3.0 && untried.iterations == 0 && untried.residual == 5.0);

  const Outcome stopped = Solve(Parabola, Slope, 3.0, 9, [](int iteration) { return iteration < 3; });
  EXPECT_FALSE(stopped.reached);
  EXPECT_EQ(stopped.iterations, 2);
}

TEST(NonlinearSystem, ASingularJacobianIsSeenInTheResidualOnly) {
  // From 1 to 0, where the slope is 0: there it stays.
  const Outcome stuck = Solve([](double* x, Parameter*) { return x[0] * x[0] + 1.0; }, Slope, 1.0, 9);
  EXPECT_TRUE(stuck.reached);
  EXPECT_EQ(stuck.residual, 1.0);
  // A first iteration gives zeros.
  const auto zero = [](double*, Parameter*) { return 0.0; };
  EXPECT_EQ(Solve(Parabola, zero, 3.0, 9).x, 0.0);
  const auto undefined = [](double*, Parameter*) { return std::nan(""); };
  const Outcome lost = Solve(Parabola, undefined, 1.0, 9);
  EXPECT_FALSE(lost.reached);
  EXPECT_TRUE(std::isnan(lost.x));
  EXPECT_EQ(lost.iterations, 9);
}

TEST(NonlinearSystem, OneFunctionServesEveryRow) {
  // x0 + 2·x1 = 4 and x0² - 8·x1 = -4.
  TEquationFunction values[2];
  values[0] = values[1] = [](double* x, Parameter* p) {
    return p->equationIndex == 0 ? x[0] + 2.0 * x[1] - 4.0 : x[0] * x[0] - 8.0 * x[1] + 4.0;
  };
  TEquationFunction row[2];
  row[0] = row[1] = [](double* x, Parameter* p) {
    const double all[2][2] = {{1.0, 2.0}, {2.0 * x[0], -8.0}};
    return all[p->equationIndex][p->variableIndex];
  };
  TEquationFunction* table[] = {row, row};
  Parameter record;
  Parameter* borrowed[] = {&record, &record};
  const TNonlinearSystem system(2, values, borrowed);
  double x[] = {1.0, 1.0};
  TNonlinearSystemSolutionInfo info(0);
  TNonlinearSystemNewtonMethodParams params = {table, x, 1e-10, 0, &info, nullptr};
  EXPECT_FALSE(system.Newton(&params, x));
  ASSERT_EQ(info.count, 2U);
  const double* const residuals = info.residuals;
  EXPECT_TRUE(residuals[0] == -1.0 && residuals[1] == -3.0);
  params.maxIterations = 50;
  ASSERT_TRUE(system.Newton(&params, x));
  EXPECT_EQ(info.residuals, residuals) << "an array that fits is kept";
  EXPECT_NEAR(residuals[0], 0.0, 1e-14);
  EXPECT_NEAR(residuals[1], 0.0, 1e-14);
  EXPECT_NEAR(x[0], 2.0, 1e-14);
  EXPECT_NEAR(x[1], 1.0, 1e-14);
  EXPECT_TRUE(!system.OwnsParameters() && TNonlinearSystem(0, nullptr, nullptr).OwnsParameters());

  params = {nullptr, nullptr, 0.0, 1, &info, nullptr};
  EXPECT_TRUE(TNonlinearSystem(system).Newton(&params, nullptr)) << "the copy is empty, and solved as it is";
  EXPECT_EQ(info.count, 0U);
}

TEST(NonlinearSystem, TheRecordIsPrintedInRussian) {
  TNonlinearSystemSolutionInfo info(1);
  const auto printed = [&] { return test::DebugTextOf([&] { info.DebugOutput(); }); };
  EXPECT_EQ(printed(),
            "Результаты решения системы нелинейных уравнений#     Количество итераций: -1#     Невязки#"
            "        0.000000e+00#    Требуемая точность НЕ достигнута#");
  info.reached = true;
  EXPECT_NE(printed().find("#    Требуемая точность ДОСТИГНУТА#"), std::string::npos);
}

}  // namespace
