/// \file
/// Systems of nonlinear equations, solved by Newton's method with the caller's derivatives.
///
/// Notation: n equations f(i)(x) = 0 of n unknowns x(j), both counted from 0; J(i, j) is the derivative of
/// equation i by unknown j. Units are the caller's.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

class TMatrix;
class TVector;

/// Tells a function what it is evaluated for, so that one function can serve several equations.
struct TDefaultEquationParameter {
  std::size_t equationIndex = 0;  ///< i; set before equation i or one of its derivatives is evaluated
  std::size_t variableIndex = 0;  ///< j; set before a derivative by x(j) is evaluated
};

/// An equation or a derivative: its value at the point `x` of n numbers, which it leaves as they are.
using TEquationFunction = double (*)(double* x, TDefaultEquationParameter* p);

/// How a solve ended.
struct KELVANE_API TNonlinearSystemSolutionInfo {
  int iterations = -1;   ///< see `TNonlinearSystem::Newton`; -1 until a solve has been recorded
  std::size_t count;     ///< number of residuals
  double* residuals;     ///< from array new: the value of each equation at the final point; zeros before
  bool reached = false;  ///< the tolerance was reached

  /// For n unknowns: allocates the arrays, which the destructor frees.
  explicit TNonlinearSystemSolutionInfo(std::size_t n);
  TNonlinearSystemSolutionInfo(const TNonlinearSystemSolutionInfo&) = delete;
  TNonlinearSystemSolutionInfo& operator=(const TNonlinearSystemSolutionInfo&) = delete;
  ~TNonlinearSystemSolutionInfo();

  /// Prints the record in Russian through the host's `KaPrintDbgMsg`, a message a line, with a decimal point
  /// under every locale.
  void DebugOutput() const;
};

/// What `TNonlinearSystem::Newton` works with; all of it the caller's.
struct TNonlinearSystemNewtonMethodParams {
  TEquationFunction** derivatives = nullptr;  ///< n rows of n functions: derivatives[i][j] is J(i, j)
  const double* initial = nullptr;            ///< n numbers, where to start
  double tolerance = 0.0;  ///< the solve ends when every unknown changes by less than this; 0 never ends it
  int maxIterations = 0;   ///< iterations done at most; none when it is 0 or less
  TNonlinearSystemSolutionInfo* info = nullptr;  ///< receives how the solve ended; may be null
  /// Told each iteration's number, from 1 on, before it is made; false stops the solve. May be null.
  bool (*iterationCallback)(int iteration) = nullptr;
};

/// The equations of a system, which holds pointers to functions. It evaluates them with its parameter records
/// or the caller's and writes into these, so two solves that share records must not run at the same time. A
/// record may serve several equations of a system.
///
/// NOT checked, where there are equations: that equations, derivatives, their rows, parameter records,
/// `initial`, `params` and `x` are not null.
class KELVANE_API TNonlinearSystem {
 public:
  /// No equations.
  TNonlinearSystem() = default;
  /// Copies the `n` pointers at `equations`, and those at `parameters`, one record for each equation, which
  /// stay the caller's and must outlive the system. Without `parameters` (null) the system makes `n` records
  /// of its own and releases them. When `n` is 0 neither array is read.
  TNonlinearSystem(std::size_t n, double (**equations)(double*, TDefaultEquationParameter*),
                   TDefaultEquationParameter** parameters);
  /// A system without equations, whatever the other holds: systems are not copied.
  TNonlinearSystem(const TNonlinearSystem&) noexcept;
  TNonlinearSystem& operator=(const TNonlinearSystem&) = delete;
  ~TNonlinearSystem() = default;

  /// Number of equations, which is that of unknowns.
  std::size_t Count() const { return equations_.size(); }
  /// True when it was made without `parameters`, for no equations too.
  bool OwnsParameters() const { return owns_parameters_; }

  /// Newton's method (J. E. Dennis, R. B. Schnabel, Numerical Methods for Unconstrained Optimization and
  /// Nonlinear Equations, SIAM 1996, doi:10.1137/1.9781611971200, section 5.1, without line search): each
  /// iteration solves J·y = J·p - f(p) by `Gauss` for the point y that follows p.
  ///
  /// Returns whether the tolerance was reached; a `maxIterations` below 1 makes no iteration and gives false.
  /// Writes the last point to the n numbers at `x`, which may be `initial`, and the outcome to `info`, whose
  /// array is replaced when it is not of n residuals. The `iterations` told are those made, but the one that
  /// reached the tolerance is not counted: when that is the first, they are 0.
  ///
  /// A singular J is not told by the result: a first iteration then gives zeros, and a later one stays
  /// where it is, which counts as a change of 0, so that any tolerance above 0 is reached. The residuals
  /// tell. An infinity or a NaN spreads over the point and goes on, its change below no tolerance, to the
  /// last iteration. What an equation throws passes through, with `x` and `info` not written.
  bool Newton(TNonlinearSystemNewtonMethodParams* params, double* x) const;

 private:
  void Linearize(TEquationFunction** derivatives, double* p, TMatrix* J, TVector* r) const;
  void Record(int iterations, bool reached, double* x, TNonlinearSystemSolutionInfo* info) const;

  std::vector<TEquationFunction> equations_;
  std::vector<TDefaultEquationParameter*> parameters_;
  bool owns_parameters_ = false;
  std::unique_ptr<TDefaultEquationParameter[]> own_parameters_;
};

}  // namespace SatCommonUtils
