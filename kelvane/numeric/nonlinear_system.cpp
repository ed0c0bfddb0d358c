#include "kelvane/numeric/nonlinear_system.h"

#include <algorithm>
#include <cmath>

#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/text.h"
#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/vector.h"

namespace SatCommonUtils {

TNonlinearSystemSolutionInfo::TNonlinearSystemSolutionInfo(std::size_t n)
    : count(n), residuals(new double[n]()) {}

TNonlinearSystemSolutionInfo::~TNonlinearSystemSolutionInfo() { delete[] residuals; }

void TNonlinearSystemSolutionInfo::DebugOutput() const {
  KaPrintDbgMsg("Результаты решения системы нелинейных уравнений");
  KaPrintDbgMsg(Tessarin::ssprintf("     Количество итераций: %d", iterations));
  KaPrintDbgMsg("     Невязки");
  for (std::size_t i = 0; i < count; ++i) KaPrintDbgMsg(Tessarin::ssprintf("        %e", residuals[i]));
  KaPrintDbgMsg(reached ? "    Требуемая точность ДОСТИГНУТА" : "    Требуемая точность НЕ достигнута");
}

TNonlinearSystem::TNonlinearSystem(std::size_t n, double (**equations)(double*, TDefaultEquationParameter*),
                                   TDefaultEquationParameter** parameters)
    : owns_parameters_(parameters == nullptr) {
  if (n == 0) return;
  equations_.assign(equations, equations + n);
  if (parameters != nullptr) {
    parameters_.assign(parameters, parameters + n);
    return;
  }
  own_parameters_ = std::make_unique<TDefaultEquationParameter[]>(n);
  for (std::size_t i = 0; i < n; ++i) parameters_.push_back(&own_parameters_[i]);
}

TNonlinearSystem::TNonlinearSystem(const TNonlinearSystem&) noexcept {}

/// The system whose solution is the next point: J·y = J·p - f(p).
void TNonlinearSystem::Linearize(TEquationFunction** derivatives, double* p, TMatrix* J, TVector* r) const {
  r->FillWithZeroes();
  for (std::size_t i = 0; i < Count(); ++i) {
    TDefaultEquationParameter* const parameter = parameters_[i];
    parameter->equationIndex = i;
    for (std::size_t j = 0; j < Count(); ++j) {
      parameter->variableIndex = j;
      const double derivative = derivatives[i][j](p, parameter);
      J->SetElement(j, i, derivative);
      (*r)[i] += derivative * p[j];
    }
    (*r)[i] -= equations_[i](p, parameter);
  }
}

void TNonlinearSystem::Record(int iterations, bool reached, double* x,
                              TNonlinearSystemSolutionInfo* info) const {
  const std::size_t n = Count();
  auto residuals = std::make_unique<double[]>(n);  // an equation may throw
  for (std::size_t i = 0; i < n; ++i) {
    parameters_[i]->equationIndex = i;
    residuals[i] = equations_[i](x, parameters_[i]);
  }
  if (info->count == n) {
    std::copy_n(residuals.get(), n, info->residuals);
  } else {
    delete[] info->residuals;
    info->residuals = residuals.release();
    info->count = n;
  }
  info->iterations = iterations;
  info->reached = reached;
}

bool TNonlinearSystem::Newton(TNonlinearSystemNewtonMethodParams* params, double* x) const {
  const std::size_t n = Count();
  std::vector<double> point(params->initial, params->initial + n);
  std::vector<double> previous(n);
  TMatrix J(n, n);
  TVector r(n);
  TVector y(n);
  const auto stays_within = [params](double next, double last) {
    return std::fabs(next - last) < params->tolerance;
  };
  int k = 0;
  bool reached = false;
  while (k < params->maxIterations) {
    if (params->iterationCallback != nullptr && !params->iterationCallback(k + 1)) break;
    previous = point;
    Linearize(params->derivatives, previous.data(), &J, &r);
    Gauss(J, r, y);
    std::copy_n(y.data, n, point.begin());
    reached = std::equal(point.begin(), point.end(), previous.begin(), stays_within);
    if (reached) break;
    ++k;
  }
  if (params->info != nullptr) Record(k, reached, point.data(), params->info);
  std::copy(point.begin(), point.end(), x);
  return reached;
}

}  // namespace SatCommonUtils
