#include "kelvane/rpc/rational_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "kelvane/numeric/sequential_qr.h"
#include "kelvane/rpc/denominator_pole.h"
#include "kelvane/rpc/fit_linearisation.h"

namespace SatCommonUtils {

namespace {

using TItem = TRPCEstimationDataItem;

constexpr double Infinity = std::numeric_limits<double>::infinity();
/// A denominator below this at a point counts as a pole: those of cameras stay near 1.
constexpr double LeastDenominator = 1e-2;

TRPCTerms<double> Terms(const TItem& item) { return {item.Latitude, item.Longitude, item.Height}; }

double MedianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double WeightOf(double u, TE_RPCFitWeights kind) {
  const double size = std::fabs(u);
  if (kind == TE_RPCFitWeights::Huber) return size <= RPCFitHuber ? 1.0 : RPCFitHuber / size;
  if (size >= RPCFitTukey) return 0.0;
  const double part = size / RPCFitTukey;
  return (1.0 - part * part) * (1.0 - part * part);
}

class TFitting {
 public:
  TFitting(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
           TRationalFit* fit)
      : observations_(observations),
        items_(*observations.Items),
        options_(options),
        watch_(*watch),
        fit_(*fit),
        functions_(fit->Functions) {}

  void Start() {
    functions_.Degree = 1;
    const TRationalFunctions nothing = functions_;
    linear_ = true;
    const auto solution = Linearise().Solve(0.0, 0.0, false);
    linear_ = false;
    for (std::size_t k = 0; k < functions_.Unknowns(); ++k) functions_[k] += solution.Step[k];
    // From constant functions the damped steps find their way, too.
    if (!std::isfinite(Squares(functions_))) functions_ = nothing;
  }

  void FindBlunders() {
    constexpr int Weights = 6;
    constexpr double Almost = 1.1;
    std::vector<TRationalFit> fits;
    for (int i = 0; i < Weights && Begin(); ++i) {
      weight_ = Weight(i);
      // Huber's weights have one solution.
      SettleWeights(TE_RPCFitWeights::Huber, 0.05);
      fits.push_back(fit_);
    }
    if (fits.empty()) return;
    std::array<double, 2> least = fits.back().Scale;
    for (const TRationalFit& fit : fits) {
      for (std::size_t f = 0; f < functions_.Count; ++f) least[f] = std::min(least[f], fit.Scale[f]);
    }
    // With no more freedom than it takes: what has more follows the blunders.
    const auto follows = [&](const TRationalFit& fit) {
      return fit.Scale[0] <= Almost * least[0] && fit.Scale[1] <= Almost * least[1];
    };
    const auto chosen = std::find_if(fits.begin(), fits.end(), follows);
    const auto place =
        chosen == fits.end() ? fits.size() - 1 : static_cast<std::size_t>(chosen - fits.begin());
    const int iterations = fit_.Iterations;
    fit_ = fits[place];
    fit_.Iterations = iterations;
    weight_ = Weight(static_cast<int>(place));
    current_.reset();
    SettleWeights(TE_RPCFitWeights::Tukey, 0.01);
    MakeAllOrNothing();
  }

  bool LeaveOutBlunders(const TRationalFit& by) {
    constexpr double MuchSmaller = 0.8;
    const auto before = fit_.Scale;
    const TRationalFunctions stand = functions_;
    functions_ = by.Functions;
    fit_.EffectiveUnknowns = by.EffectiveUnknowns;
    Reweigh(TE_RPCFitWeights::Tukey);
    MakeAllOrNothing();
    functions_ = stand;
    return fit_.Scale[0] < MuchSmaller * before[0] || fit_.Scale[1] < MuchSmaller * before[1];
  }

  void Choose() {
    if (!Begin()) return;
    ChooseRegularization();
    Finish();
  }

  void Refit(TE_RPCFitWeights kind) {
    constexpr double Settled = 1e-3;
    if (!Begin()) return;
    weight_ = std::sqrt(fit_.Regularization) * Weight(0);
    if (kind == TE_RPCFitWeights::Equal)
      Converge();
    else
      SettleWeights(kind, Settled);
    Finish();
  }

 private:
  static constexpr int MostSteps = 60;

  double RootWeight(std::size_t which, std::size_t i) const {
    const std::vector<double>& weights = fit_.Weights[which];
    return observations_.Unit[which] * (weights.empty() ? 1.0 : std::sqrt(weights[i]));
  }

  double WeightSum() const {
    double sum = 0.0;
    for (std::size_t f = 0; f < functions_.Count; ++f) {
      if (fit_.Weights[f].empty()) sum += static_cast<double>(items_.size());
      for (const double weight : fit_.Weights[f]) sum += weight;
    }
    return sum;
  }

  /// Calls `visit(i, item)` for all items, and the watch between.
  template <class Visit>
  void ForEachItem(const Visit& visit) const {
    constexpr std::size_t Between = 4096;
    for (std::size_t i = 0; i < items_.size(); ++i) {
      if (i % Between == 0) watch_.Poll();
      visit(i, items_[i]);
    }
  }

  /// The squares of the weighted residuals; infinite with a pole at a point.
  double Squares(const TRationalFunctions& functions) const {
    double sum = 0.0;
    ForEachItem([&](std::size_t i, const TItem& item) {
      const TRPCTerms<double> terms = Terms(item);
      const double denominator = RPCValue(functions.Denominator, terms);
      if (!(denominator >= LeastDenominator)) sum = Infinity;
      for (std::size_t f = 0; f < functions.Count; ++f) {
        const double value = RPCValue(functions.Numerators[f], terms) / denominator;
        const double residual = RootWeight(f, i) * (value - item.*observations_.Observed[f]);
        sum += residual * residual;
      }
    });
    return std::isnan(sum) ? Infinity : sum;
  }

  /// What regularisation adds to them.
  double Held(const TRationalFunctions& functions) const {
    double sum = 0.0;
    for (std::size_t k = 0; k < functions.Unknowns(); ++k) {
      const double held = IsRegularized(functions, k) ? weight_ * functions[k] : 0.0;
      sum += held * held;
    }
    return sum;
  }

  /// [J, -r] of one function: its numerator's unknowns, the denominator's, the right-hand side.
  TSequentialQR Factor(std::size_t which) const {
    const std::size_t count = functions_.Terms();
    TSequentialQR factor(2 * count);
    ForEachItem([&](std::size_t i, const TItem& item) {
      const double weight = RootWeight(which, i);
      if (weight == 0.0) return;
      const TRPCTerms<double> terms = Terms(item);
      const auto monomials = RPCMonomials(terms);
      const double observed = item.*observations_.Observed[which];
      const double denominator = linear_ ? 1.0 : RPCValue(functions_.Denominator, terms);
      const double value = linear_ ? observed : RPCValue(functions_.Numerators[which], terms) / denominator;
      double* const row = factor.NextRow();
      const double by = weight / denominator;
      for (std::size_t k = 0; k < count; ++k) row[k] = by * monomials[k];
      for (std::size_t k = 1; k < count; ++k) row[count + k - 1] = -value * row[k];
      row[2 * count - 1] = weight * (linear_ ? observed : observed - value);
    });
    factor.Fold();
    return factor;
  }

  TFitLinearisation Linearise() const {
    const std::size_t count = functions_.Terms();
    const std::size_t both = functions_.Count * count;
    TSequentialQR system(functions_.Unknowns() + 1);
    for (std::size_t f = 0; f < functions_.Count; ++f) {
      const TSequentialQR factor = Factor(f);
      for (std::size_t i = 0; i < factor.Width(); ++i) {
        double* const row = system.NextRow();
        for (std::size_t k = i; k < count; ++k) row[f * count + k] = factor(i, k);
        for (std::size_t k = std::max(i, count); k < factor.Width(); ++k)
          row[both + k - count] = factor(i, k);
      }
    }
    system.Fold();
    return {system, functions_};
  }

  const TFitLinearisation& Current() {
    if (!current_) current_.emplace(Linearise());
    return *current_;
  }

  /// Damped steps with weights and regularisation as they are.
  void Converge() {
    constexpr double FirstDamping = 1e-4;
    constexpr double LargestDamping = 1e3;
    constexpr double WorthAStep = 1e-2;
    constexpr double RoundingRms = 1e-14;
    double damping = FirstDamping;
    bool rejected = false;  // a step from where the functions stand
    double squares = Squares(functions_);
    double objective = squares + Held(functions_);
    // A small part of what one unknown more would gain in noise.
    const double smallest_gain = 1e-4 / WeightSum();
    const double rounding = RoundingRms * RoundingRms * WeightSum();
    for (int i = 0; i < MostSteps; ++i) {
      const auto solution = Current().Solve(weight_, damping, false);
      const double gain = Current().Objective(weight_) - solution.Objective;
      const bool lowest = rejected || damping <= LeastFitDamping;
      const bool gains = gain > (lowest ? smallest_gain : WorthAStep) * objective;
      if (squares <= rounding || (!gains && lowest)) {
        fit_.Ending = rejected ? TE_RPCFitEnding::NoBetterStep : TE_RPCFitEnding::Converged;
        return;
      }
      // Damping may hold back what would gain more.
      if (!gains) {
        damping = std::max(0.01 * damping, LeastFitDamping);
        continue;
      }
      TRationalFunctions moved = functions_;
      for (std::size_t k = 0; k < moved.Unknowns(); ++k) moved[k] += solution.Step[k];
      const double squares_after = Squares(moved);
      const double after = squares_after + Held(moved);
      if (!(after < objective)) {
        damping *= 10.0;
        rejected = true;
        fit_.Ending = TE_RPCFitEnding::NoBetterStep;
        if (damping > LargestDamping) return;
        continue;
      }
      rejected = false;
      functions_ = moved;
      squares = squares_after;
      objective = after;
      damping = std::max(0.01 * damping, LeastFitDamping);
      ++fit_.Iterations;
      current_.reset();
    }
    fit_.Ending = TE_RPCFitEnding::StepLimit;
  }

  /// Weights from the residuals as they are; how much the scales changed.
  double Reweigh(TE_RPCFitWeights kind) {
    constexpr double LeastScale = 1e-9;  // far below a pixel, far above rounding
    constexpr double OfNormal = 1.4826;
    const auto count = static_cast<double>(functions_.Count * items_.size());
    const double freedom = std::sqrt(count / std::max(count - fit_.EffectiveUnknowns, 1.0));
    double change = 0.0;
    for (std::size_t f = 0; f < functions_.Count; ++f) {
      std::vector<double> residuals = FitResiduals(functions_, f, observations_);
      std::vector<double> sizes = residuals;
      for (double& size : sizes) size = std::fabs(size);
      const double scale = std::max(OfNormal * freedom * MedianOf(std::move(sizes)), LeastScale);
      change = std::max(change, std::fabs(scale - fit_.Scale[f]) / scale);
      fit_.Scale[f] = scale;
      for (double& value : residuals) value = WeightOf(value / scale, kind);
      fit_.Weights[f] = std::move(residuals);
    }
    current_.reset();
    return change;
  }

  /// Weights between would favour what the fit, by which they were found, makes of the noise.
  void MakeAllOrNothing() {
    for (std::vector<double>& weights : fit_.Weights) {
      for (double& weight : weights) weight = weight > 0.0 ? 1.0 : 0.0;
    }
  }

  bool Begin() {
    fit_.Solved = std::isfinite(Squares(functions_));
    return fit_.Solved;
  }

  /// The weights of the regularisation that are tried, from a fit that is held to first order down.
  double Weight(int i) const {
    if (!options_.Regularize || functions_.Degree == 1) return 0.0;
    double weight = std::sqrt(static_cast<double>(functions_.Count * items_.size()));
    for (; i > 0; --i) weight /= 10.0;
    return weight;
  }

  /// Goes to ever freer fits, each from the one before, and stays with that of the best score.
  void ChooseRegularization() {
    constexpr int Weights = 15;
    constexpr int Sure = 6;       // so many must be tried
    constexpr int MostWorse = 5;  // so many one after another end the search
    // More freedom must do more than a few more unknowns would in noise.
    const double gain = 1.0 - 8.0 / WeightSum();
    TRationalFunctions best;
    double best_weight = 0.0;
    double least = Infinity;
    for (int i = 0, worse = 0; i < Weights && (i < Sure || worse < MostWorse); ++i) {
      weight_ = Weight(i);
      Converge();
      const double score = Score();
      const bool better = i == 0 || score < gain * least;
      worse = better ? 0 : worse + 1;
      if (better) {
        least = score;
        best = functions_;
        best_weight = weight_;
      }
      if (weight_ == 0.0) break;
    }
    functions_ = best;
    weight_ = best_weight;
    current_.reset();
  }

  /// Generalised cross-validation (Golub, Heath and Wahba), the unknowns counted 1.4 times, so that it does
  /// not fall for too little regularisation now and then (Y.-J. Kim, C. Gu, Journal of the Royal Statistical
  /// Society B 66(2), 2004).
  double Score() {
    constexpr double Caution = 1.4;
    CountEffectiveUnknowns();
    const double rest = WeightSum() - Caution * fit_.EffectiveUnknowns;
    return rest > 0.0 ? Squares(functions_) / (rest * rest) : Infinity;
  }

  void CountEffectiveUnknowns() {
    fit_.EffectiveUnknowns = Current().Solve(weight_, 0.0, true).EffectiveUnknowns;
  }

  /// Steps and weights in turn, until the scales of the residuals rest.
  void SettleWeights(TE_RPCFitWeights kind, double settled) {
    constexpr int MostRounds = 40;
    for (int round = 0; round < MostRounds; ++round) {
      const double change = Reweigh(kind);
      Converge();
      CountEffectiveUnknowns();
      if (change < settled) break;
    }
  }

  /// Held more and more towards first order while there is a pole in the cube.
  void RefusePoles() {
    constexpr double Least = 1e-8;
    constexpr double Most = 10.0;
    constexpr double Factor = 10.0;
    const double root = std::sqrt(WeightSum());
    while (!TPoleSearch(functions_.Denominator).IsPositive()) {
      fit_.PoleRefused = true;
      fit_.Solved = options_.Regularize && functions_.Degree > 1 && weight_ < Most * root;
      if (!fit_.Solved) return;
      weight_ = std::max(Factor * weight_, Least * root);
      Converge();
    }
  }

  void Finish() {
    RefusePoles();
    fit_.Regularization = weight_ * weight_ / static_cast<double>(functions_.Count * items_.size());
    CountEffectiveUnknowns();
    fit_.Condition = Current().Condition();
  }

  const TFitObservations& observations_;
  const std::vector<TItem>& items_;
  const TRPCFitOptions& options_;
  TFitWatch& watch_;
  TRationalFit& fit_;
  TRationalFunctions& functions_;
  bool linear_ = false;  ///< the linear problem of the start instead of the residuals
  double weight_ = 0.0;  ///< of L x
  /// Of the functions and weights as they are, once it was needed.
  std::optional<TFitLinearisation> current_;
};

}  // namespace

std::vector<double> FitResiduals(const TRationalFunctions& functions, std::size_t which,
                                 const TFitObservations& observations) {
  std::vector<double> residuals;
  residuals.reserve(observations.Items->size());
  for (const TItem& item : *observations.Items) {
    const TRPCTerms<double> terms = Terms(item);
    const double denominator = RPCValue(functions.Denominator, terms);
    residuals.push_back(RPCValue(functions.Numerators[which], terms) / denominator -
                        item.*observations.Observed[which]);
  }
  return residuals;
}

TRationalFit StartRationalFit(const TFitObservations& observations, std::size_t functions, TFitWatch* watch) {
  TRationalFit fit;
  fit.Functions.Count = functions;
  TFitting(observations, TRPCFitOptions(), watch, &fit).Start();
  return fit;
}

void FindBlunders(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
                  TRationalFit* fit) {
  TFitting(observations, options, watch, fit).FindBlunders();
}

bool LeaveOutBlunders(const TFitObservations& observations, const TRationalFit& by, TRationalFit* fit) {
  const TRPCFitOptions options;
  TFitWatch nobody(nullptr);
  return TFitting(observations, options, &nobody, fit).LeaveOutBlunders(by);
}

void ChooseRationalFit(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
                       TRationalFit* fit) {
  TFitting(observations, options, watch, fit).Choose();
}

void RefitRationalFit(const TFitObservations& observations, const TRPCFitOptions& options, TFitWatch* watch,
                      TRationalFit* fit) {
  TFitting(observations, options, watch, fit).Refit(options.Weights);
}

}  // namespace SatCommonUtils
