#include "kelvane/rpc/robust_estimation.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "kelvane/rpc/beside.h"
#include "kelvane/rpc/estimation_normalization.h"
#include "kelvane/rpc/rational_fit.h"

namespace SatCommonUtils {

namespace {

using TItem = TRPCEstimationDataItem;
using TItems = std::vector<TItem>;

constexpr std::size_t MostHeldOut = 5000;
constexpr std::size_t MostTraining = 20000;
/// Fewer items than this are not worth a second thread.
constexpr std::size_t LeastForThreads = 4096;

/// The finishing of a 64-bit hash (G. L. Steele, D. Lea, C. H. Flood, "Fast splittable pseudorandom number
/// generators", OOPSLA 2014).
std::uint64_t Mixed(std::uint64_t bits) {
  bits = (bits ^ (bits >> 30U)) * 0xbf58476d1ce4e5b9U;
  bits = (bits ^ (bits >> 27U)) * 0x94d049bb133111ebU;
  return bits ^ (bits >> 31U);
}

std::uint64_t HashOfGround(const TItem& item) {
  std::uint64_t hash = 0;
  for (const double coordinate : {item.Latitude, item.Longitude, item.Height}) {
    const double value = coordinate + 0.0;  // -0.0 is 0.0
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    hash = Mixed(hash + 0x9e3779b97f4a7c15U + bits);
  }
  return hash;
}

/// Which items choose the degree.
struct TSplit {
  TItems Training;
  TItems HeldOut;
  std::vector<std::size_t> HeldOutIndices;
};

class TSplitter {
 public:
  explicit TSplitter(const TItems& items) {
    for (const TItem& item : items) hashes_.push_back(HashOfGround(item));
    sorted_ = hashes_;
    std::sort(sorted_.begin(), sorted_.end());
  }
  std::size_t CountDifferent() const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < sorted_.size(); ++i) count += i == 0 || sorted_[i] != sorted_[i - 1];
    return count;
  }
  /// `working` are the items, normalised.
  TSplit Split(const TItems& working) const {
    const std::size_t held_out = std::min(working.size() / 5, MostHeldOut);
    const std::size_t end = std::min(working.size() - 1, held_out + MostTraining);
    TSplit split;
    for (std::size_t i = 0; i < working.size(); ++i) {
      if (hashes_[i] < sorted_[held_out]) {
        split.HeldOut.push_back(working[i]);
        split.HeldOutIndices.push_back(i);
      } else if (hashes_[i] <= sorted_[end]) {
        split.Training.push_back(working[i]);
      }
    }
    return split;
  }

 private:
  std::vector<std::uint64_t> hashes_;
  std::vector<std::uint64_t> sorted_;
};

/// Line, sample, or both together.
struct TCoordinates {
  std::size_t Count = 1;
  std::array<double TItem::*, 2> Observed = {};
  std::array<double, 2> Unit = {1.0, 1.0};

  TFitObservations Of(const TItems& items) const { return {&items, Observed, Unit}; }
};

/// A fit to all items, and that of the same degree to those for training.
struct TOutcome {
  TRationalFit Fit;
  TRationalFit Trained;
  bool Solved = false;
  bool PoleRefused = false;
};

class TDegreeChoice {
 public:
  TDegreeChoice(const TItems& items, const TSplit& split, const TRPCFitOptions& options, TFitWatch* watch)
      : items_(items), split_(split), options_(options), watch_(*watch) {}

  TOutcome Fit(const TCoordinates& coordinates) const {
    TOutcome outcome;
    TRPCFitOptions options = options_;
    TRationalFit fit = StartRationalFit(coordinates.Of(split_.Training), coordinates.Count, &watch_);
    if (options.Weights != TE_RPCFitWeights::Equal) {
      TRationalFit guard = fit;
      guard.Functions.Degree = MostDegree();
      FindBlunders(coordinates.Of(split_.Training), options, &watch_, &guard);
      fit.Scale = guard.Scale;
      fit.Iterations = guard.Iterations;
      if (AreThereBlunders(coordinates, guard))
        fit.Weights = guard.Weights;
      else
        options.Weights = TE_RPCFitWeights::Equal;
    }
    std::vector<TRationalFit> better = Climb(coordinates, options, fit, &outcome);
    // Once more where the residuals became so much smaller that more blunders stand out.
    constexpr int MostTurns = 4;
    for (int turn = 0; turn < MostTurns && options.Weights != TE_RPCFitWeights::Equal && !better.empty() &&
                       LeaveOutBlunders(coordinates.Of(split_.Training), better.back(), &fit);
         ++turn) {
      better = Climb(coordinates, options, fit, &outcome);
    }
    for (; !better.empty() && !outcome.Solved; better.pop_back()) {
      outcome.Trained = better.back();
      outcome.Fit = better.back();
      outcome.Fit.Weights = {};
      // The prior that the regularisation stands for has the weight of so many observations, however many
      // there are.
      outcome.Fit.Regularization *= Share();
      RefitRationalFit(coordinates.Of(items_), options, &watch_, &outcome.Fit);
      outcome.Solved = outcome.Fit.Solved;
      outcome.PoleRefused |= outcome.Fit.PoleRefused;
    }
    return outcome;
  }

  /// The highest degree that the items for training can determine; 0 when they cannot determine any.
  int MostDegree() const {
    int degree = options_.MaxDegree;
    while (degree > 0 && split_.Training.size() <= 2 * TermsOfDegree(degree) - 1) --degree;
    return degree;
  }

 private:
  /// Fits of rising degree, each better than those before it.
  std::vector<TRationalFit> Climb(const TCoordinates& coordinates, const TRPCFitOptions& options,
                                  TRationalFit fit, TOutcome* outcome) const {
    const bool robust = options.Weights != TE_RPCFitWeights::Equal;
    const std::array<double, 2> scale = robust ? fit.Scale : std::array<double, 2>();
    std::vector<TRationalFit> better;
    constexpr double Rounding = 1e-14;
    const double exact = Rounding * Rounding * static_cast<double>(coordinates.Count * split_.HeldOut.size());
    double least = std::numeric_limits<double>::infinity();
    for (int degree = 1; degree <= MostDegree() && !(least <= exact); ++degree) {
      TRationalFit tried = fit;
      tried.Functions.Degree = degree;
      tried.PoleRefused = false;
      ChooseRationalFit(coordinates.Of(split_.Training), options, &watch_, &tried);
      outcome->PoleRefused |= tried.PoleRefused;
      fit.Iterations = tried.Iterations;
      if (!tried.Solved) continue;
      fit = tried;
      const double misfit = Misfit(coordinates, fit, scale) * (1.0 - Surplus(fit));
      if (!better.empty() && !(misfit < least)) continue;
      least = misfit;
      better.push_back(fit);
    }
    return better;
  }

  bool AreThereBlunders(const TCoordinates& coordinates, const TRationalFit& guard) const {
    for (std::size_t f = 0; f < coordinates.Count; ++f) {
      const double bound = RPCFitBlunder * guard.Scale[f];
      const std::vector<double> residuals = FitResiduals(guard.Functions, f, coordinates.Of(items_));
      if (std::any_of(residuals.begin(), residuals.end(), [=](double r) { return !(std::fabs(r) <= bound); }))
        return true;
    }
    return false;
  }

  /// How many of all items are for training.
  double Share() const {
    return static_cast<double>(split_.Training.size()) / static_cast<double>(items_.size());
  }

  /// What errors of the unknowns add to the misfit now, and will not when all items have been fitted: a part
  /// of it.
  double Surplus(const TRationalFit& fit) const {
    const std::size_t observed = fit.Functions.Count * split_.Training.size();
    return fit.EffectiveUnknowns / static_cast<double>(observed) * (1.0 - Share());
  }

  /// Of the held-out items: squares, cut off where Tukey's weights would have ended; a scale of 0 cuts
  /// nothing off.
  double Misfit(const TCoordinates& coordinates, const TRationalFit& fit,
                const std::array<double, 2>& scale) const {
    double sum = 0.0;
    for (std::size_t f = 0; f < coordinates.Count; ++f) {
      const double most = scale[f] > 0.0 ? RPCFitTukey * scale[f] : std::numeric_limits<double>::infinity();
      for (const double residual : FitResiduals(fit.Functions, f, coordinates.Of(split_.HeldOut))) {
        const double size = coordinates.Unit[f] * std::min(std::fabs(residual), most);
        sum += size * size;
      }
    }
    return sum;
  }

  const TItems& items_;
  const TSplit& split_;
  const TRPCFitOptions& options_;
  TFitWatch& watch_;
};

bool IsFinite(const TItem& item) {
  return std::isfinite(item.Latitude) && std::isfinite(item.Longitude) && std::isfinite(item.Height) &&
         std::isfinite(item.Line) && std::isfinite(item.Sample);
}

/// How many pixels the unit of the normalised residuals of line and sample is.
struct TPixels {
  double Line = 1.0;
  double Sample = 1.0;
};

struct TSizes {
  double Rms = 0.0;
  double Max = 0.0;
};

template <class Counts>
TSizes SizesOf(const std::vector<double>& residuals, double pixels, const Counts& counts) {
  TSizes sizes;
  std::size_t count = 0;
  for (std::size_t i = 0; i < residuals.size(); ++i) {
    if (!counts(i)) continue;
    ++count;
    const double residual = pixels * residuals[i];
    sizes.Rms += residual * residual;
    sizes.Max = std::max(sizes.Max, std::fabs(residual));
  }
  if (count > 0) sizes.Rms = std::sqrt(sizes.Rms / static_cast<double>(count));
  return sizes;
}

/// What the report says of one function of an outcome.
TRPCFitFunction FunctionReport(const TOutcome& outcome, std::size_t which, const TFitObservations& all,
                               const TFitObservations& held_out, const TSplit& split, double pixels) {
  const TRationalFit& fit = outcome.Fit;
  TRPCFitFunction report;
  report.Degree = fit.Functions.Degree;
  const std::vector<double>& weights = fit.Weights[which];
  double count = weights.empty() ? static_cast<double>(all.Items->size()) : 0.0;
  for (const double weight : weights) count += weight;
  report.DegreesOfFreedom = count - fit.EffectiveUnknowns / static_cast<double>(fit.Functions.Count);
  const auto counts = [&](std::size_t i) { return weights.empty() || weights[i] >= RPCFitLeastWeight; };
  const TSizes fitted = SizesOf(FitResiduals(fit.Functions, which, all), pixels, counts);
  const TSizes others = SizesOf(FitResiduals(outcome.Trained.Functions, which, held_out), pixels,
                                [&](std::size_t i) { return counts(split.HeldOutIndices[i]); });
  report.Rms = fitted.Rms;
  report.Max = fitted.Max;
  report.HeldOutRms = others.Rms;
  report.HeldOutMax = others.Max;
  report.Scale = pixels * fit.Scale[which];
  report.Condition = fit.Condition;
  report.Regularization = fit.Regularization;
  report.Iterations = fit.Iterations;
  report.Ending = fit.Ending;
  report.PoleRefused = outcome.PoleRefused;
  return report;
}

/// What a person should look at in a function, sentence after sentence.
void AddDoubts(const char* name, const TRPCFitFunction& function, double rounding, std::size_t points,
               std::vector<std::string>* doubts) {
  constexpr double MostRatio = 2.0;
  const double expected =
      function.Rms * std::sqrt(static_cast<double>(points) / std::max(function.DegreesOfFreedom, 1.0));
  const auto add = [&](const char* what) { doubts->push_back(std::string(name) + ": " + what); };
  if (function.HeldOutRms > std::max(MostRatio * expected, rounding))
    add("points that were held out are missed by more than twice what the others are");
  if (function.PoleRefused) add("a fit whose denominator has a zero in the cube was refused");
  // At the level of rounding, steps may go on for ever.
  if (function.Ending == TE_RPCFitEnding::StepLimit && function.HeldOutRms > rounding)
    add("the steps ended at their limit");
}

void Judge(bool too_few, const TPixels& pixels, TRPCFitReport* report) {
  constexpr double Rounding = 1e-10;  // of the image
  constexpr double MostDownWeighted = 0.1;
  std::vector<std::string> doubts;
  AddDoubts("line", report->Line, Rounding * pixels.Line, report->Points, &doubts);
  AddDoubts("sample", report->Sample, Rounding * pixels.Sample, report->Points, &doubts);
  if (static_cast<double>(report->DownWeighted.size()) >
      MostDownWeighted * static_cast<double>(report->Points)) {
    doubts.emplace_back("more than a tenth of the points was down-weighted");
  }
  if (too_few) doubts.emplace_back("there are too few points to try the highest degree");
  report->Verdict = doubts.empty() ? TE_RPCFitVerdict::Trustworthy : TE_RPCFitVerdict::Doubtful;
  report->Text =
      doubts.empty() ? "trustworthy: points that were held out are seen as well as the others" : "";
  for (const std::string& doubt : doubts)
    report->Text += (report->Text.empty() ? "doubtful: " : "; ") + doubt;
}

std::vector<TRPCFitDownWeighted> DownWeighted(const std::vector<double>& line,
                                              const std::vector<double>& sample) {
  std::vector<TRPCFitDownWeighted> found;
  for (std::size_t i = 0; i < std::max(line.size(), sample.size()); ++i) {
    const TRPCFitDownWeighted point = {i, line.empty() ? 1.0 : line[i], sample.empty() ? 1.0 : sample[i]};
    if (std::min(point.LineWeight, point.SampleWeight) < RPCFitLeastWeight) found.push_back(point);
  }
  return found;
}

bool Refuse(std::string why, TRPCFitReport* report) {
  report->Text = std::move(why);
  return false;
}

void Write(const TRationalFunctions& functions, std::size_t which, double* numerator, double* denominator) {
  std::copy(functions.Numerators[which].begin(), functions.Numerators[which].end(), numerator);
  std::copy(functions.Denominator.begin(), functions.Denominator.end(), denominator);
}

/// Line and sample, each an outcome and which of its functions it is.
struct TOutcomes {
  TOutcome Line;
  TOutcome Sample;
};

TOutcomes FitBoth(const TItems& items, const TSplit& split, const TPixels& pixels,
                  const TRPCFitOptions& options) {
  TFitWatch watch(options.Cancel);
  const TDegreeChoice choice(items, split, options, &watch);
  TOutcomes outcomes;
  if (options.CommonDenominator) {
    TCoordinates both{2, {&TItem::Line, &TItem::Sample}, {}};
    const double larger = std::max(std::fabs(pixels.Line), std::fabs(pixels.Sample));
    both.Unit = {std::fabs(pixels.Line) / larger, std::fabs(pixels.Sample) / larger};
    outcomes.Line = choice.Fit(both);
    return outcomes;
  }
  const auto fit_sample = [&] { return choice.Fit({1, {&TItem::Sample}, {1.0, 1.0}}); };
  const TCoordinates line{1, {&TItem::Line}, {1.0, 1.0}};
  if (options.Threads < 2 || items.size() < LeastForThreads) {
    outcomes.Line = choice.Fit(line);
    if (outcomes.Line.Solved) outcomes.Sample = fit_sample();
    return outcomes;
  }
  constexpr std::chrono::milliseconds BetweenPolls(20);
  std::future<TOutcome> sample = StartBeside(fit_sample);
  outcomes.Line = choice.Fit(line);
  while (sample.wait_for(BetweenPolls) == std::future_status::timeout) watch.Poll();
  outcomes.Sample = sample.get();
  return outcomes;
}

std::string Needs(std::size_t count, const char* what) {
  return std::to_string(count) + what + "; a model needs at least " + std::to_string(RPCEstimationLeastItems);
}

}  // namespace

std::string WhyNoFit(const std::vector<TRPCEstimationDataItem>& items) {
  if (items.size() < RPCEstimationLeastItems) return Needs(items.size(), " points");
  const auto broken = std::find_if_not(items.begin(), items.end(), IsFinite);
  if (broken != items.end())
    return "point " + std::to_string(broken - items.begin() + 1) +
           " has a coordinate that is no finite number";
  TItemNormalizations normalizations;
  for (TItemNormalization& n : normalizations) {
    if (!n.SetUp(items)) return std::string("all points have the same ") + n.Name;
    if (!std::isfinite(n.Map.Offset()) || !std::isfinite(n.Map.Scale()))
      return std::string("there is a ") + n.Name + " out of all bounds";
  }
  const std::size_t different = TSplitter(items).CountDifferent();
  if (different < RPCEstimationLeastItems) return Needs(different, " different ground points");
  if (!(CalculateLeastExtent(items) >= RPCFitLeastExtent))
    return "the points lie in a plane or on a line; a model needs points above and below each other";
  return {};
}

bool FitRPC(const TRPCEstimationDataSet& data, const TRPCFitOptions& options, TRPCData* rpc,
            TRPCFitReport* report) {
  *report = TRPCFitReport();
  report->Points = data.Items.size();
  if (options.MaxDegree < 1 || options.MaxDegree > 3)
    return Refuse("the highest degree is 1, 2 or 3", report);
  const std::string why = WhyNoFit(data.Items);
  if (!why.empty()) return Refuse(why, report);
  TItemNormalizations normalizations;
  TItems working;
  if (!data.Normalized) {
    for (TItemNormalization& normalization : normalizations) {
      normalization.SetUp(data.Items);
      normalization.Round();
    }
    working = normalizations.Normalized(data.Items);
  }
  const TItems& items = data.Normalized ? data.Items : working;
  const TSplit split = TSplitter(data.Items).Split(items);
  TPixels pixels;
  if (!data.Normalized) pixels = {normalizations[0].Map.Scale(), normalizations[1].Map.Scale()};
  TOutcomes outcomes;
  try {
    outcomes = FitBoth(items, split, pixels, options);
  } catch (const TFitCancelled&) {
    return Refuse("cancelled", report);
  }
  const std::size_t of_sample = options.CommonDenominator ? 1 : 0;
  const TOutcome& line = outcomes.Line;
  const TOutcome& sample = options.CommonDenominator ? outcomes.Line : outcomes.Sample;
  if (!line.Solved || !sample.Solved)
    return Refuse(
        "every model that fits the points has a pole among them: they do not determine one, or some are "
        "grossly wrong",
        report);
  Write(line.Fit.Functions, 0, rpc->LineNum, rpc->LineDenom);
  Write(sample.Fit.Functions, of_sample, rpc->SampleNum, rpc->SampleDenom);
  if (!data.Normalized) normalizations.WriteTo(rpc);
  report->HeldOut = split.HeldOut.size();
  const auto tell = [&](const TOutcome& outcome, std::size_t which, double TItem::*field, double unit) {
    TCoordinates one;
    one.Observed[which] = field;
    return FunctionReport(outcome, which, one.Of(items), one.Of(split.HeldOut), split, unit);
  };
  report->Line = tell(line, 0, &TItem::Line, pixels.Line);
  report->Sample = tell(sample, of_sample, &TItem::Sample, pixels.Sample);
  report->DownWeighted = DownWeighted(line.Fit.Weights[0], sample.Fit.Weights[of_sample]);
  const bool too_few = split.Training.size() <= 2 * TermsOfDegree(options.MaxDegree) - 1;
  Judge(too_few, pixels, report);
  return true;
}

}  // namespace SatCommonUtils
