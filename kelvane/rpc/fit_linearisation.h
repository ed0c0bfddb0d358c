/// \file
/// A fit of rational functions, linear about where they stand (internal). Notation as in rational_fit.h.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "kelvane/numeric/sequential_qr.h"
#include "kelvane/numeric/singular_values.h"
#include "kelvane/rpc/rational_fit.h"

namespace SatCommonUtils {

/// Of the scaled columns: what keeps a system solvable whose columns depend on each other.
constexpr double LeastFitDamping = 1e-14;

inline bool IsRegularized(const TRationalFunctions& functions, std::size_t unknown) {
  return functions.TermOf(unknown) >= TermsOfDegree(1);
}

/// What is minimised, linear about where the functions stand: |J step + r|^2 + (weight |L (x + step)|)^2.
class TFitLinearisation {
 public:
  /// `system` holds R of [J, -r].
  TFitLinearisation(const TSequentialQR& system, const TRationalFunctions& at)
      : at_(at), size_(at.Unknowns()), system_(system), lengths_(size_) {
    for (std::size_t k = 0; k < size_; ++k) {
      double squares = 0.0;
      for (std::size_t i = 0; i <= k; ++i) squares += system(i, k) * system(i, k);
      lengths_[k] = squares > 0.0 ? std::sqrt(squares) : 1.0;
    }
  }

  /// What is minimised, at the functions themselves.
  double Objective(double weight) const {
    double sum = 0.0;
    for (std::size_t i = 0; i <= size_; ++i) sum += system_(i, size_) * system_(i, size_);
    for (std::size_t k = 0; k < size_; ++k) {
      const double held = IsRegularized(at_, k) ? weight * at_[k] : 0.0;
      sum += held * held;
    }
    return sum;
  }

  struct TSolution {
    std::vector<double> Step;
    double Objective;  ///< after the step
    double SquareSum;  ///< of the residuals after it
    double EffectiveUnknowns;
  };

  /// The step with damping, which is relative to the lengths of the columns. The last two figures are found
  /// `with_figures` only.
  TSolution Solve(double weight, double damping, bool with_figures) const {
    TSequentialQR bordered(size_ + 1);
    for (std::size_t i = 0; i <= size_; ++i) {
      double* const row = bordered.NextRow();
      for (std::size_t k = i; k < size_; ++k) row[k] = Scaled(i, k);
      row[size_] = system_(i, size_);
    }
    for (std::size_t k = 0; k < size_; ++k) {
      if (weight > 0.0 && IsRegularized(at_, k)) {
        double* const row = bordered.NextRow();
        row[k] = weight / lengths_[k];
        row[size_] = -weight * at_[k];
      }
      bordered.NextRow()[k] = std::max(damping, LeastFitDamping);
    }
    bordered.Fold();
    TSolution solution{std::vector<double>(size_), 0.0, 0.0, 0.0};
    for (std::size_t i = size_; i-- > 0;) {
      double value = bordered(i, size_);
      for (std::size_t k = i + 1; k < size_; ++k) value -= bordered(i, k) * solution.Step[k];
      solution.Step[i] = value / bordered(i, i);
    }
    solution.Objective = bordered(size_, size_) * bordered(size_, size_);
    if (with_figures) AddFigures(bordered, &solution);
    for (std::size_t k = 0; k < size_; ++k) solution.Step[k] /= lengths_[k];
    return solution;
  }

  double Condition() const {
    std::vector<std::vector<double>> columns(size_, std::vector<double>(size_));
    for (std::size_t k = 0; k < size_; ++k) {
      for (std::size_t i = 0; i <= k; ++i) columns[k][i] = Scaled(i, k);
    }
    const auto [largest, smallest] = ExtremeSingularValues(std::move(columns));
    return largest / smallest;
  }

 private:
  double Scaled(std::size_t i, std::size_t k) const { return system_(i, k) / lengths_[k]; }

  /// The residuals after the step, and the trace of the matrix that takes the observations to their fit: with
  /// M the triangle of the bordered system, the squared norm of R M^-1.
  void AddFigures(const TSequentialQR& bordered, TSolution* solution) const {
    solution->SquareSum = system_(size_, size_) * system_(size_, size_);
    std::vector<double> y(size_);
    for (std::size_t i = 0; i < size_; ++i) {
      double residual = -system_(i, size_);
      for (std::size_t k = i; k < size_; ++k) residual += Scaled(i, k) * solution->Step[k];
      solution->SquareSum += residual * residual;
      for (std::size_t k = i; k < size_; ++k) {
        double value = Scaled(i, k);
        for (std::size_t j = i; j < k; ++j) value -= bordered(j, k) * y[j];
        y[k] = value / bordered(k, k);
        solution->EffectiveUnknowns += y[k] * y[k];
      }
    }
  }

  TRationalFunctions at_;
  std::size_t size_;
  TSequentialQR system_;
  std::vector<double> lengths_;
};

}  // namespace SatCommonUtils
