#include "kelvane/numeric/nonlinear_system.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using Parameter = TDefaultEquationParameter;

/// One unknown: value and derivative.
struct Equation {
  TEquationFunction value;
  TEquationFunction derivative;
};

constexpr Equation Parabola = {[](double* x, Parameter*) { return x[0] * x[0] - 4.0; },
                               [](double* x, Parameter*) { return 2.0 * x[0]; }};

struct Outcome {
  bool reached;
  double x;
};

Outcome Solve(const Equation& equation, double initial, int iterations, TNonlinearSystemSolutionInfo* info,
              bool (*callback)(int) = nullptr) {
  TEquationFunction value = equation.value;
  TEquationFunction derivative = equation.derivative;
  TEquationFunction* row = &derivative;
  TNonlinearSystemNewtonMethodParams params = {&row, &initial, 1e-12, iterations, info, callback};
  double x = 0.0;
  const bool reached = TNonlinearSystem(1, &value, nullptr).Newton(&params, &x);
  EXPECT_EQ(info->reached, reached);
  return {reached, x};
}

TEST(NonlinearSystem, CountsIterationsButTheLast) {
  TNonlinearSystemSolutionInfo info(1);
  Outcome outcome = Solve(Parabola, 1.0, 20, &info);
  EXPECT_TRUE(outcome.reached);
  EXPECT_NEAR(outcome.x, 2.0, 1e-15);
  EXPECT_NEAR(info.residuals[0], 0.0, 1e-14);
  const int needed = info.iterations;
  EXPECT_TRUE(Solve(Parabola, 1.0, needed + 1, &info).reached);
  EXPECT_FALSE(Solve(Parabola, 1.0, needed, &info).reached);
  EXPECT_EQ(info.iterations, needed);
  EXPECT_TRUE(Solve(Parabola, 2.0, 5, &info).reached);
  EXPECT_EQ(info.iterations, 0);
  EXPECT_FALSE(Solve(Parabola, 3.0, 0, &info).reached);
  EXPECT_EQ(info.iterations, 0);
  EXPECT_EQ(info.residuals[0], 5.0);

  outcome = Solve(Parabola, 3.0, 9, &info, [](int iteration) { return iteration < 3; });
  EXPECT_FALSE(outcome.reached);
  EXPECT_EQ(info.iterations, 2);
  EXPECT_EQ(outcome.x, Solve(Parabola, 3.0, 2, &info).x);
}

TEST(NonlinearSystem, OneFunctionServesEveryRow) {
  // x0 + 2·x1 = 4 and x0² - 8·x1 = a, with a from the record of the caller.
  struct Free : Parameter {
    double value = 0.0;
  };
  const TEquationFunction value = [](double* x, Parameter* p) {
    const double free = static_cast<Free*>(p)->value;
    return p->equationIndex == 0 ? x[0] + 2.0 * x[1] - free : x[0] * x[0] - 8.0 * x[1] - free;
  };
  const TEquationFunction derivative = [](double* x, Parameter* p) {
    const double all[2][2] = {{1.0, 2.0}, {2.0 * x[0], -8.0}};
    return all[p->equationIndex][p->variableIndex];
  };
  TEquationFunction values[] = {value, value};
  TEquationFunction row[] = {derivative, derivative};
  TEquationFunction* table[] = {row, row};
  Free free[2];
  free[0].value = 4.0;
  free[1].value = -4.0;
  Parameter* records[] = {&free[0], &free[1]};
  const TNonlinearSystem system(2, values, records);
  double x[] = {1.0, 1.0};
  TNonlinearSystemSolutionInfo info(0);
  TNonlinearSystemNewtonMethodParams params = {table, x, 1e-10, 50, &info, nullptr};
  ASSERT_TRUE(system.Newton(&params, x));  // in place
  EXPECT_NEAR(x[0], 2.0, 1e-14);
  EXPECT_NEAR(x[1], 1.0, 1e-14);
  ASSERT_EQ(info.count, 2U);
  EXPECT_NEAR(info.residuals[1], 0.0, 1e-13);

  EXPECT_EQ(TNonlinearSystem(system).Count(), 0U);  // NOLINT(performance-unnecessary-copy-initialization)
  params = {nullptr, nullptr, 0.0, 1, &info, nullptr};
  EXPECT_TRUE(TNonlinearSystem(0, nullptr, nullptr).Newton(&params, nullptr));
  EXPECT_EQ(info.count, 0U);
}

TEST(NonlinearSystem, ASingularJacobianIsSeenInTheResidual) {
  constexpr Equation no_root = {[](double* x, Parameter*) { return x[0] * x[0] + 1.0; }, Parabola.derivative};
  TNonlinearSystemSolutionInfo info(1);
  // The solution vector is still zero; it differs from the start, then stays.
  constexpr Equation flat = {[](double*, Parameter*) { return 1.0; },
                             [](double*, Parameter*) { return 0.0; }};
  const Outcome outcome = Solve(flat, 3.0, 9, &info);
  EXPECT_TRUE(outcome.reached);
  EXPECT_EQ(outcome.x, 0.0);
  EXPECT_EQ(info.iterations, 1);
  EXPECT_EQ(info.residuals[0], 1.0);
  EXPECT_TRUE(Solve(no_root, 1.0, 9, &info).reached);  // 1, 0, and there it is flat
  EXPECT_EQ(info.residuals[0], 1.0);

  constexpr Equation undefined = {Parabola.value, [](double* x, Parameter*) { return std::sqrt(-x[0]); }};
  const Outcome lost = Solve(undefined, 1.0, 9, &info);
  EXPECT_FALSE(lost.reached);
  EXPECT_TRUE(std::isnan(lost.x));
  EXPECT_EQ(info.iterations, 9);
}

TEST(NonlinearSystem, AnExceptionLeavesTheOutputs) {
  constexpr Equation throwing = {[](double*, Parameter*) -> double { throw 1; }, Parabola.derivative};
  TNonlinearSystemSolutionInfo info(1);
  EXPECT_THROW(Solve(throwing, 1.0, 1, &info), int);
  EXPECT_EQ(info.iterations, -1);
}

TEST(NonlinearSystem, TheRecordIsPrintedInRussian) {
  TNonlinearSystemSolutionInfo info(1);
  const auto printed = [&] { return test::DebugTextOf([&] { info.DebugOutput(); }); };
  EXPECT_EQ(printed(),
            "Результаты решения системы нелинейных уравнений#     Количество итераций: -1#     Невязки#"
            "        0.000000e+00#    Требуемая точность НЕ достигнута#");
  Solve(Parabola, 2.0, 1, &info);
  info.residuals[0] = -1.5;
  EXPECT_EQ(printed(),
            "Результаты решения системы нелинейных уравнений#     Количество итераций: 0#     Невязки#"
            "        -1.500000e+00#    Требуемая точность ДОСТИГНУТА#");
}

}  // namespace
