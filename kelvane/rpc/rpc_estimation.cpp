#include "kelvane/rpc/rpc_estimation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <future>
#include <memory>

#include "kelvane/module/host/runtime.h"
#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/rounded.h"
#include "kelvane/numeric/row_solvers.h"
#include "kelvane/rpc/beside.h"
#include "kelvane/rpc/estimation_normalization.h"
#include "kelvane/rpc/estimation_sums.h"
#include "kelvane/rpc/rpc_terms.h"

namespace SatCommonUtils {

namespace {

using TItem = TRPCEstimationDataItem;
using TItems = std::vector<TItem>;

constexpr std::size_t TermCount = TRPCData::CoefficientCount;
/// Unknowns of a function of first order, and of one of third: its denominator begins with 1.
constexpr std::size_t StartUnknowns = 7;
constexpr std::size_t Unknowns = 2 * TermCount - 1;

/// Fewer items than this are not worth a second thread.
constexpr std::size_t LeastForThreads = 4096;

/// One of the two rational functions, line or sample.
struct TFunction {
  double TItem::*Observed = nullptr;
  std::array<double, TermCount> Numerator = {};
  std::array<double, TermCount> Denominator = {};
  bool Finished = false;

  double Value(const TRPCTerms<double>& terms, double* denominator) const {
    *denominator = RPCValue(Denominator, terms);
    return RPCValue(Numerator, terms) / *denominator;
  }
  /// `step` holds the 20 coefficients of the numerator, then the 19 free ones of the denominator.
  void Move(const TVector& step, double sign) {
    for (std::size_t k = 0; k < TermCount; ++k) Numerator[k] += sign * step[k];
    for (std::size_t k = 1; k < TermCount; ++k) Denominator[k] += sign * step[TermCount + k - 1];
  }
  bool IsFinite() const {
    const auto finite = [](double value) { return std::isfinite(value); };
    return std::all_of(Numerator.begin(), Numerator.end(), finite) &&
           std::all_of(Denominator.begin(), Denominator.end(), finite);
  }
};

/// The caller's callbacks: so many calls of `cancel` are announced, then spread over the work.
class TWatch {
 public:
  TWatch(void (*progress)(int), int (*cancel)()) : progress_(progress), cancel_(cancel) {}

  void Begin(int calls, std::size_t work) {
    if (progress_ != nullptr) progress_(calls);
    calls_ = calls;
    made_ = 0;
    work_ = work;
  }
  /// False when the caller cancels.
  bool Advance(std::size_t done) {
    const auto due = static_cast<int>(static_cast<double>(calls_) * static_cast<double>(done) /
                                      static_cast<double>(work_));
    for (; made_ < due; ++made_) {
      if (cancel_ != nullptr && cancel_() != 0) return false;
    }
    return true;
  }

 private:
  void (*progress_)(int);
  int (*cancel_)();
  int calls_ = 0;
  int made_ = 0;
  std::size_t work_ = 1;
};

TRPCTerms<double> Terms(const TItem& item) { return {item.Latitude, item.Longitude, item.Height}; }

/// A fit that goes on: the items, normalised, and the two functions as they stand.
class TEstimation {
 public:
  TEstimation(const TItems& items, const TRPCEstimationControl& control)
      : items_(items),
        in_parallel_(items.size() >= LeastForThreads && control.Threads > 1),
        watch_(control.Progress, control.Cancel) {
    line_.Observed = &TItem::Line;
    sample_.Observed = &TItem::Sample;
  }

  TFunction& Line() { return line_; }
  TFunction& Sample() { return sample_; }

  /// Fits the function of first order; false when cancelled.
  bool Start(TFunction* function) {
    const auto sums = std::make_unique<TObservationSums<StartUnknowns + 1>>();
    const auto fill = [&](std::size_t k, double* row) {
      const TItem& item = items_[k];
      const double v = item.*function->Observed;
      const double values[] = {item.Latitude,      item.Longitude,      item.Height,      1.0,
                               -v * item.Latitude, -v * item.Longitude, -v * item.Height, v};
      std::copy(std::begin(values), std::end(values), row);
    };
    watch_.Begin(static_cast<int>(StartUnknowns), items_.size());
    if (!sums->Sum(items_.size(), fill, [this](std::size_t done) { return watch_.Advance(done); }))
      return false;
    TScratchMatrix normal(StartUnknowns);
    double free_term[StartUnknowns];
    for (std::size_t i = 0; i < StartUnknowns; ++i) {
      for (std::size_t j = 0; j < StartUnknowns; ++j) normal.Rows()[i][j] = (*sums)(i, j);
      free_term[i] = (*sums)(i, StartUnknowns);
    }
    double x[StartUnknowns];
    SolveNormalRows(normal.Rows(), free_term, x, StartUnknowns);
    // Latitude, longitude and height stand in terms 2, 1 and 3.
    function->Numerator[0] = x[3];
    function->Denominator[0] = 1.0;
    constexpr std::size_t TermOf[] = {2, 1, 3};
    for (std::size_t i = 0; i < 3; ++i) {
      function->Numerator[TermOf[i]] = x[i];
      function->Denominator[TermOf[i]] = x[4 + i];
    }
    return true;
  }

  /// Does `work(function, watch)` for each function that is not finished, side by side where there are
  /// threads for it; false when one of them says so or the caller cancels. What goes on in another thread has
  /// a watch of its own, and is told to the caller, who is called on this thread only, when both are done.
  template <class Work>
  bool ForEachUnfinished(const Work& work) {
    const bool both = !line_.Finished && !sample_.Finished;
    if (!both || !in_parallel_) {
      return (line_.Finished || work(&line_, &watch_)) && (sample_.Finished || work(&sample_, &watch_));
    }
    TWatch nobody(nullptr, nullptr);
    std::future<bool> other = StartBeside([&] { return work(&sample_, &nobody); });
    const bool line_done = work(&line_, &watch_);
    const bool sample_done = other.get();
    if (!line_done || !sample_done) return false;
    watch_.Begin(CallsOfStep, 1);
    return watch_.Advance(1);
  }

  /// Finds the Gauss-Newton step of all coefficients of a function; false when cancelled, or when the normal
  /// equations are singular. Changes nothing else, so that two functions may be worked on at once.
  bool FindStep(const TFunction& function, TWatch* watch, TVector* step) const {
    const auto fill = [&](std::size_t k, double* row) {
      const TRPCTerms<double> terms = Terms(items_[k]);
      const std::array<double, TermCount> monomials = RPCMonomials(terms);
      double denominator = 0.0;
      const double value = function.Value(terms, &denominator);
      for (std::size_t i = 0; i < TermCount; ++i) row[i] = monomials[i] / denominator;
      for (std::size_t i = 1; i < TermCount; ++i)
        row[TermCount + i - 1] = -value * monomials[i] / denominator;
      row[Unknowns] = value - items_[k].*function.Observed;
    };
    const auto sums = std::make_unique<TObservationSums<Unknowns + 1>>();
    watch->Begin(CallsOfStep, items_.size());
    if (!sums->Sum(items_.size(), fill, [watch](std::size_t done) { return watch->Advance(done); }))
      return false;
    TMatrix normal(Unknowns, Unknowns);
    TVector free_term(Unknowns);
    for (std::size_t i = 0; i < Unknowns; ++i) {
      for (std::size_t j = 0; j < Unknowns; ++j) normal.rows[i].data[j] = (*sums)(i, j);
      free_term.data[i] = -(*sums)(i, Unknowns);
    }
    step->Reset(Unknowns);
    return Gauss(normal, free_term, *step) != 0.0;
  }

  /// Root mean square of the residuals.
  double Rms(const TFunction& function) const {
    double sum = 0.0;
    for (const TItem& item : items_) {
      double denominator = 0.0;
      const double residual = function.Value(Terms(item), &denominator) - item.*function.Observed;
      sum += residual * residual;
    }
    return std::sqrt(sum / static_cast<double>(items_.size()));
  }

 private:
  static constexpr int CallsOfStep = 2 * Unknowns;

  const TItems& items_;
  bool in_parallel_;
  TWatch watch_;
  TFunction line_;
  TFunction sample_;
};

/// Of a symmetric matrix, in closed form (O. K. Smith, "Eigenvalues of a symmetric 3 x 3 matrix",
/// Communications of the ACM 4(4), 1961).
double LeastEigenvalue(const double (&a)[3][3]) {
  constexpr double ThirdOfTurn = 2.0943951023931953;
  const double mean = (a[0][0] + a[1][1] + a[2][2]) / 3.0;
  const double off = a[0][1] * a[0][1] + a[0][2] * a[0][2] + a[1][2] * a[1][2];
  const double d[] = {a[0][0] - mean, a[1][1] - mean, a[2][2] - mean};
  const double p = std::sqrt((d[0] * d[0] + d[1] * d[1] + d[2] * d[2] + 2.0 * off) / 6.0);
  if (p == 0.0) return mean;
  const double determinant = d[0] * (d[1] * d[2] - a[1][2] * a[1][2]) -
                             a[0][1] * (a[0][1] * d[2] - a[1][2] * a[0][2]) +
                             a[0][2] * (a[0][1] * a[1][2] - d[1] * a[0][2]);
  const double cosine = std::clamp(determinant / (2.0 * p * p * p), -1.0, 1.0);
  return mean + 2.0 * p * rounded::cos(rounded::acos(cosine) / 3.0 + ThirdOfTurn);
}

/// Moves both functions together until neither moves any more.
bool IterateTogether(TEstimation* estimation, TRPCEstimationReport* report) {
  constexpr double SmallestStep = 1e-11;
  TVector line_step;
  TVector sample_step;
  while (!report->Converged && report->Iterations < RPCEstimationMostIterations) {
    const auto find = [&](const TFunction* function, TWatch* watch) {
      const bool is_line = function == &estimation->Line();
      return estimation->FindStep(*function, watch, is_line ? &line_step : &sample_step);
    };
    if (!estimation->ForEachUnfinished(find)) return false;
    estimation->Line().Move(line_step, 1.0);
    estimation->Sample().Move(sample_step, 1.0);
    ++report->Iterations;
    report->Converged = line_step.Norma1() < SmallestStep && sample_step.Norma1() < SmallestStep;
  }
  return true;
}

/// One step of a function, taken back unless it lowers the residuals; false when there is no step.
bool Improve(const TEstimation& estimation, TFunction* function, TWatch* watch, double* rms) {
  constexpr double SmallestImprovement = 1e-10;
  TVector step;
  if (!estimation.FindStep(*function, watch, &step)) return false;
  function->Move(step, 1.0);
  const double before = *rms;
  const double after = estimation.Rms(*function);
  if (!(after < before)) {
    function->Move(step, -1.0);
    function->Finished = true;
    return true;
  }
  *rms = after;
  function->Finished = before - after < SmallestImprovement;
  return true;
}

/// Moves each function until it gets no better.
bool IterateApart(TEstimation* estimation, TRPCEstimationReport* report) {
  const TFunction& line = estimation->Line();
  const TFunction& sample = estimation->Sample();
  double line_rms = estimation->Rms(line);
  double sample_rms = estimation->Rms(sample);
  const auto improve = [&](TFunction* function, TWatch* watch) {
    return Improve(*estimation, function, watch, function == &line ? &line_rms : &sample_rms);
  };
  while (!report->Converged && report->Iterations < RPCEstimationMostIterations) {
    if (!estimation->ForEachUnfinished(improve)) return false;
    ++report->Iterations;
    report->Converged = line.Finished && sample.Finished;
  }
  return true;
}

}  // namespace

bool EstimateRPC(const TRPCEstimationDataSet& data, TRPCData* rpc, const TRPCEstimationControl& control,
                 TRPCEstimationReport* report) {
  *report = TRPCEstimationReport();
  if (data.Items.size() < RPCEstimationLeastItems) return false;
  TItemNormalizations normalizations;
  TItems working;
  if (!data.Normalized) {
    for (TItemNormalization& normalization : normalizations) {
      if (!normalization.SetUp(data.Items)) return false;
    }
    working = normalizations.Normalized(data.Items);
  }
  TEstimation estimation(data.Normalized ? data.Items : working, control);
  const auto iterate = control.Steps == TE_RPCEstimationSteps::Together ? IterateTogether : IterateApart;
  const TFunction& line = estimation.Line();
  const TFunction& sample = estimation.Sample();
  if (!estimation.Start(&estimation.Line()) || !estimation.Start(&estimation.Sample()) ||
      !iterate(&estimation, report) || !line.IsFinite() || !sample.IsFinite()) {
    return false;
  }
  std::copy(line.Numerator.begin(), line.Numerator.end(), rpc->LineNum);
  std::copy(line.Denominator.begin(), line.Denominator.end(), rpc->LineDenom);
  std::copy(sample.Numerator.begin(), sample.Numerator.end(), rpc->SampleNum);
  std::copy(sample.Denominator.begin(), sample.Denominator.end(), rpc->SampleDenom);
  if (!data.Normalized) normalizations.WriteTo(rpc);
  return true;
}

bool EstimateRPC(const TRPCEstimationDataSet& data, TRPCData* rpc) {
  TRPCEstimationReport report;
  return EstimateRPC(data, rpc, TRPCEstimationControl(), &report);
}

bool EstimateRPC(const TRPCEstimationDataSet& data, TRPCData* rpc, void (*progress)(int), int (*cancel)()) {
  TRPCEstimationControl control;
  control.Steps = TE_RPCEstimationSteps::Apart;
  control.Threads = KaGetThreadsCount();
  control.Progress = progress;
  control.Cancel = cancel;
  TRPCEstimationReport report;
  return EstimateRPC(data, rpc, control, &report);
}

double CalculateLeastExtent(const std::vector<TRPCEstimationDataItem>& items) {
  TItemNormalizations normalizations;
  double covariance[3][3] = {};
  double mean[3] = {};
  const auto ground = [&](const TItem& item, std::size_t axis) {
    const TItemNormalization& n = normalizations[TItemNormalizations::FirstOfGround + axis];
    return n.Map.Initial2Normalized(item.*n.Value);
  };
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (!normalizations[TItemNormalizations::FirstOfGround + axis].SetUp(items)) return 0.0;
    for (const TItem& item : items) mean[axis] += ground(item, axis) / static_cast<double>(items.size());
  }
  for (const TItem& item : items) {
    const double from_mean[] = {ground(item, 0) - mean[0], ground(item, 1) - mean[1],
                                ground(item, 2) - mean[2]};
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j < 3; ++j)
        covariance[i][j] += from_mean[i] * from_mean[j] / static_cast<double>(items.size());
    }
  }
  return std::sqrt(std::max(LeastEigenvalue(covariance), 0.0));
}

TRPCResiduals CalculateResiduals(const TRPC& model, const std::vector<TRPCEstimationDataItem>& items) {
  TRPCResiduals residuals;
  for (const TItem& item : items) {
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &line, &sample, nullptr, nullptr);
    line -= item.Line;
    sample -= item.Sample;
    residuals.RmsLine += line * line;
    residuals.RmsSample += sample * sample;
    residuals.MaxLine = std::max(residuals.MaxLine, std::fabs(line));
    residuals.MaxSample = std::max(residuals.MaxSample, std::fabs(sample));
  }
  const auto count = static_cast<double>(items.size());
  residuals.RmsLine = std::sqrt(residuals.RmsLine / count);
  residuals.RmsSample = std::sqrt(residuals.RmsSample / count);
  return residuals;
}

}  // namespace SatCommonUtils
