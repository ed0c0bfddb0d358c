#include "kelvane/rpc/rpc_adaptation.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "kelvane/numeric/row_solvers.h"
#include "kelvane/rpc/estimation_sums.h"
#include "kelvane/rpc/rpc_terms.h"

namespace SatCommonUtils {

namespace {

using TItem = TRPCEstimationDataItem;
using TItems = std::vector<TItem>;

constexpr std::size_t TermCount = TRPCData::CoefficientCount;
/// The denominator begins with 1.
constexpr std::size_t Unknowns = 2 * TermCount - 1;

TItems Normalized(const TItems& items, const TRPCData& rpc) {
  TItems normalized = items;
  for (TItem& item : normalized) {
    item.Latitude = (item.Latitude - rpc.LatitudeOffset) / rpc.LatitudeScale;
    item.Longitude = (item.Longitude - rpc.LongitudeOffset) / rpc.LongitudeScale;
    item.Height = (item.Height - rpc.HeightOffset) / rpc.HeightScale;
    item.Line = (item.Line - rpc.LineOffset) / rpc.LineScale;
    item.Sample = (item.Sample - rpc.SampleOffset) / rpc.SampleScale;
  }
  return normalized;
}

/// A rational function, line or sample, and how well it fits.
struct TFunction {
  double Numerator[TermCount];
  double Denominator[TermCount];
  double SquareSum = 0.0;  ///< of the residuals

  TFunction(const double* numerator, const double* denominator) {
    for (std::size_t k = 0; k < TermCount; ++k) {
      Numerator[k] = numerator[k] / denominator[0];
      Denominator[k] = denominator[k] / denominator[0];
    }
  }
  void Move(const double* step) {
    for (std::size_t k = 0; k < TermCount; ++k) Numerator[k] += step[k];
    for (std::size_t k = 1; k < TermCount; ++k) Denominator[k] += step[TermCount + k - 1];
  }
};

TRPCTerms<double> Terms(const TItem& item) { return {item.Latitude, item.Longitude, item.Height}; }

class TAdaptation {
 public:
  TAdaptation(const TItems& items, double TItem::*observed) : items_(items), observed_(observed) {}

  /// Moves the function to where it fits best; false when it has no residuals at the start.
  bool Adapt(TFunction* function) {
    // What rounding adds to the sums of so many terms, and a start between a step of the steepest descent and
    // one of Gauss and Newton.
    const double least_damping = 1e-14 * static_cast<double>(items_.size());
    constexpr double FirstDamping = 1e-3;
    constexpr double LargestDamping = 1e6;
    constexpr double Factor = 10.0;
    constexpr double SmallestGain = 1e-6;
    Measure(function);
    if (!std::isfinite(function->SquareSum)) return false;
    double damping = FirstDamping;
    SumUp(*function);
    for (int i = 0; i < RPCAdaptationMostSteps && damping <= LargestDamping; ++i) {
      TFunction moved = *function;
      if (!Step(damping, &moved) || !(moved.SquareSum < function->SquareSum)) {
        damping *= Factor;
        continue;
      }
      const double gain = 1.0 - moved.SquareSum / function->SquareSum;
      const bool freely = damping <= least_damping;
      *function = moved;
      if (freely && gain < SmallestGain) break;
      damping = std::max(damping / Factor, least_damping);
      SumUp(*function);
    }
    return true;
  }

 private:
  void Measure(TFunction* function) const {
    function->SquareSum = 0.0;
    for (const TItem& item : items_) {
      const TRPCTerms<double> terms = Terms(item);
      const double residual =
          RPCValue(function->Numerator, terms) / RPCValue(function->Denominator, terms) - item.*observed_;
      function->SquareSum += residual * residual;
    }
  }

  /// The normal equations about the function.
  void SumUp(const TFunction& function) {
    const auto fill = [&](std::size_t k, double* row) {
      const TRPCTerms<double> terms = Terms(items_[k]);
      const auto monomials = RPCMonomials(terms);
      const double denominator = RPCValue(function.Denominator, terms);
      const double value = RPCValue(function.Numerator, terms) / denominator;
      for (std::size_t i = 0; i < TermCount; ++i) row[i] = monomials[i] / denominator;
      for (std::size_t i = 1; i < TermCount; ++i) row[TermCount + i - 1] = -value * row[i];
      row[Unknowns] = items_[k].*observed_ - value;
    };
    sums_->Sum(items_.size(), fill, [](std::size_t) { return true; });
  }

  /// Moves the function by a step and measures it; false when there is none.
  bool Step(double damping, TFunction* function) {
    double free_term[Unknowns];
    for (std::size_t i = 0; i < Unknowns; ++i) {
      for (std::size_t j = 0; j < Unknowns; ++j) normal_.Rows()[i][j] = (*sums_)(i, j);
      normal_.Rows()[i][i] += damping;
      free_term[i] = (*sums_)(i, Unknowns);
    }
    double step[Unknowns];
    if (!CholeskyRows(normal_.Rows(), free_term, step, Unknowns, nullptr)) return false;
    function->Move(step);
    Measure(function);
    return true;
  }

  const TItems& items_;
  double TItem::*observed_;
  std::unique_ptr<TObservationSums<Unknowns + 1>> sums_ = std::make_unique<TObservationSums<Unknowns + 1>>();
  TScratchMatrix normal_{Unknowns};
};

}  // namespace

bool AdaptRPC(const TRPCEstimationDataSet& data, TRPCData* rpc) {
  if (data.Items.size() < RPCEstimationLeastItems) return false;
  TItems working;
  if (!data.Normalized) working = Normalized(data.Items, *rpc);
  const TItems& items = data.Normalized ? data.Items : working;
  TFunction line(rpc->LineNum, rpc->LineDenom);
  TFunction sample(rpc->SampleNum, rpc->SampleDenom);
  if (!TAdaptation(items, &TItem::Line).Adapt(&line) || !TAdaptation(items, &TItem::Sample).Adapt(&sample)) {
    return false;
  }
  std::copy_n(line.Numerator, TermCount, rpc->LineNum);
  std::copy_n(line.Denominator, TermCount, rpc->LineDenom);
  std::copy_n(sample.Numerator, TermCount, rpc->SampleNum);
  std::copy_n(sample.Denominator, TermCount, rpc->SampleDenom);
  return true;
}

}  // namespace SatCommonUtils
