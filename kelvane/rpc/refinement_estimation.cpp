#include "kelvane/rpc/refinement_estimation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <random>
#include <utility>

#include "kelvane/transforms/affine_2d.h"

namespace SatCommonUtils {

namespace {

using TPair = T2DTransformParamsSourceDataItem;
using TPairs = std::vector<TPair>;
using TKeeping = std::vector<bool>;

bool Fail(std::string problem, TRefinementEstimate* estimate) {
  *estimate = TRefinementEstimate();
  estimate->Problem = std::move(problem);
  return false;
}

std::string PointName(std::size_t i) { return "control point " + std::to_string(i + 1); }

/// Line and sample as the model sees them and as they were measured; what is wrong, or nothing.
std::string SeePoints(const TRPC& model, const std::vector<TRPCEstimationDataItem>& points, TPairs* pairs) {
  for (std::size_t i = 0; i < points.size(); ++i) {
    const TRPCEstimationDataItem& point = points[i];
    for (const double value : {point.Latitude, point.Longitude, point.Height, point.Line, point.Sample}) {
      if (!std::isfinite(value)) return PointName(i) + " has a coordinate that is not finite";
    }
    TPair pair = {0.0, 0.0, point.Line, point.Sample};
    model.CalculateLineSample(point.Latitude, point.Longitude, point.Height, &pair.Xfrom, &pair.Yfrom,
                              nullptr, nullptr);
    if (!std::isfinite(pair.Xfrom) || !std::isfinite(pair.Yfrom)) {
      return "the model has no image of " + PointName(i);
    }
    pairs->push_back(pair);
  }
  return {};
}

TPairs Chosen(const TPairs& pairs, const TKeeping& kept) {
  TPairs chosen;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    if (kept[i]) chosen.push_back(pairs[i]);
  }
  return chosen;
}

xy_d CentreOf(const TPairs& pairs) {
  xy_d sum;
  for (const TPair& pair : pairs) {
    sum.x += pair.Xfrom;
    sum.y += pair.Yfrom;
  }
  const auto count = static_cast<double>(pairs.size());
  return {sum.x / count, sum.y / count};
}

/// The scatter of source points about their centre.
struct TScatter {
  xy_d Centre;
  double XX = 0.0;
  double XY = 0.0;
  double YY = 0.0;

  explicit TScatter(const TPairs& pairs) : Centre(CentreOf(pairs)) {
    for (const TPair& pair : pairs) {
      const double x = pair.Xfrom - Centre.x;
      const double y = pair.Yfrom - Centre.y;
      XX += x * x;
      XY += x * y;
      YY += y * y;
    }
  }
};

/// How far source points are from lying on a line: the standard deviation across as a part of that along.
double SpreadOf(const TPairs& pairs) {
  const TScatter scatter(pairs);
  // The eigenvalues, the smaller by the determinant.
  const double half = 0.5 * (scatter.XX - scatter.YY);
  const double larger = 0.5 * (scatter.XX + scatter.YY) + std::sqrt(half * half + scatter.XY * scatter.XY);
  const double smaller = larger > 0.0 ? (scatter.XX * scatter.YY - scatter.XY * scatter.XY) / larger : 0.0;
  return smaller > 0.0 ? std::sqrt(smaller / larger) : 0.0;
}

bool AreSpread(const TPairs& pairs) { return pairs.size() >= 3 && SpreadOf(pairs) >= RefinementLeastSpread; }

/// The least-squares map, worked about the centre of the source points: far from the origin the normal
/// equations would lose what tells the points apart.
TAffineCorrection FitAffine(const TPairs& pairs) {
  const xy_d centre = CentreOf(pairs);
  TPairs centred = pairs;
  for (TPair& pair : centred) {
    pair.Xfrom -= centre.x;
    pair.Yfrom -= centre.y;
    pair.Xto -= centre.x;
    pair.Yto -= centre.y;
  }
  T2DAffineParams map;
  Calculate2DAffineParams(centred, &map);
  map.A3 += centre.x - (map.A1 * centre.x + map.A2 * centre.y);
  map.B3 += centre.y - (map.B1 * centre.x + map.B2 * centre.y);
  return AffineCorrectionOf(map);
}

TAffineCorrection FitShift(const TPairs& pairs) {
  TAffineCorrection map;
  for (const TPair& pair : pairs) {
    map.LineBias += pair.Xto - pair.Xfrom;
    map.SampleBias += pair.Yto - pair.Yfrom;
  }
  map.LineBias /= static_cast<double>(pairs.size());
  map.SampleBias /= static_cast<double>(pairs.size());
  return map;
}

xy_d Residual(const TAffineCorrection& map, const TPair& pair) {
  xy_d at;
  Correct(map, pair.Xfrom, pair.Yfrom, &at.x, &at.y);
  return {pair.Xto - at.x, pair.Yto - at.y};
}

double Length(const xy_d& v) { return std::sqrt(v.x * v.x + v.y * v.y); }

/// The value at a place of the sorted sequence.
double AtPlace(std::vector<double> values, std::size_t place) {
  const auto nth = values.begin() + static_cast<std::ptrdiff_t>(place);
  std::nth_element(values.begin(), nth, values.end());
  return *nth;
}

double Median(const std::vector<double>& values) {
  const std::size_t n = values.size();
  return 0.5 * (AtPlace(values, (n - 1) / 2) + AtPlace(values, n / 2));
}

/// A kind of refinement: how many points determine it, its fit to points, its robust start, which is false
/// where no points determine one.
struct TMethod {
  std::size_t Least;
  bool (*Determines)(const TPairs& pairs);
  TAffineCorrection (*Fit)(const TPairs& pairs);
  bool (*Start)(const TPairs& pairs, TAffineCorrection* map);
};

/// The residual that the start makes smallest: the median, or somewhat beyond it for a few points, which a
/// start through some of them would meet.
double MedianResidual(const TPairs& pairs, const TAffineCorrection& map, std::size_t least) {
  std::vector<double> lengths;
  lengths.reserve(pairs.size());
  for (const TPair& pair : pairs) {
    const double length = Length(Residual(map, pair));
    lengths.push_back(std::isnan(length) ? HUGE_VAL : length);
  }
  const std::size_t count = std::min(pairs.size(), pairs.size() / 2 + (least + 1) / 2);
  return AtPlace(std::move(lengths), count - 1);
}

bool StartShift(const TPairs& pairs, TAffineCorrection* map) {
  std::vector<double> x;
  std::vector<double> y;
  for (const TPair& pair : pairs) {
    x.push_back(pair.Xto - pair.Xfrom);
    y.push_back(pair.Yto - pair.Yfrom);
  }
  *map = {Median(x), 1.0, 0.0, Median(y), 0.0, 1.0};
  return true;
}

/// At most so many points, spread over all, judge the threes, and so many threes are tried.
constexpr std::size_t MostJudges = 1000;
constexpr std::size_t MostThrees = 3000;

TPairs Judges(const TPairs& pairs) {
  if (pairs.size() <= MostJudges) return pairs;
  TPairs judges;
  for (std::size_t i = 0; i < MostJudges; ++i) judges.push_back(pairs[i * pairs.size() / MostJudges]);
  return judges;
}

/// Calls `visit` with threes of the numbers below n: with all, or with some, always the same.
template <class Visit>
void ForEachThree(std::size_t n, const Visit& visit) {
  if (n * (n - 1) * (n - 2) / 6 <= MostThrees) {
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = i + 1; j < n; ++j) {
        for (std::size_t k = j + 1; k < n; ++k) visit(i, j, k);
      }
    }
    return;
  }
  std::minstd_rand sequence;  // defined to the bit, and begun alike every time
  const auto next = [&] { return static_cast<std::size_t>(sequence()) % n; };
  for (std::size_t t = 0; t < MostThrees; ++t) {
    const std::size_t i = next();
    const std::size_t j = next();
    const std::size_t k = next();
    visit(i, j, k);
  }
}

/// The map through three of the points that leaves the least median residual. Threes on a line are passed
/// over, as are those with a point taken twice; false when there are no others.
bool StartAffine(const TPairs& pairs, TAffineCorrection* best) {
  const TPairs judges = Judges(pairs);
  bool found = false;
  double least = HUGE_VAL;
  ForEachThree(judges.size(), [&](std::size_t i, std::size_t j, std::size_t k) {
    const TPairs three = {judges[i], judges[j], judges[k]};
    if (!AreSpread(three)) return;
    const TAffineCorrection map = FitAffine(three);
    const double median = MedianResidual(judges, map, three.size());
    if (found && !(median < least)) return;
    found = true;
    least = median;
    *best = map;
  });
  return found;
}

bool AreAny(const TPairs& pairs) { return !pairs.empty(); }

constexpr TMethod ShiftMethod = {1, AreAny, FitShift, StartShift};
constexpr TMethod AffineMethod = {3, AreSpread, FitAffine, StartAffine};

/// The longest residual of a point that is kept.
double RejectionBound(const TPairs& pairs, const TAffineCorrection& map, std::size_t least) {
  constexpr double MedianOfNormal = 1.1774100225154747;  // of lengths in the plane: sqrt(2 ln 2)
  const std::size_t redundant = pairs.size() - least;
  if (redundant == 0) return HUGE_VAL;
  const double q = 5.0 / static_cast<double>(redundant);
  const double few = 1.0 + q + q * q;
  const double sigma = few * MedianResidual(pairs, map, least) / MedianOfNormal;
  return std::max(RefinementRejection * sigma, RefinementLeastRejection);
}

struct TFit {
  TAffineCorrection Map;
  TKeeping Kept;
  double Bound = HUGE_VAL;
};

TKeeping KeptWithin(double bound, const TPairs& pairs, const TAffineCorrection& map) {
  TKeeping kept;
  for (const TPair& pair : pairs) kept.push_back(Length(Residual(map, pair)) <= bound);
  return kept;
}

/// False where no points determine a start.
bool FitRobustly(const TPairs& pairs, const TMethod& method, TFit* to) {
  constexpr int MostTurns = 50;
  TFit& fit = *to;
  if (!method.Start(pairs, &fit.Map)) return false;
  fit.Bound = RejectionBound(pairs, fit.Map, method.Least);
  fit.Kept = KeptWithin(fit.Bound, pairs, fit.Map);
  for (int turn = 0; turn < MostTurns; ++turn) {
    const TPairs chosen = Chosen(pairs, fit.Kept);
    if (!method.Determines(chosen)) break;
    fit.Map = method.Fit(chosen);
    fit.Bound = RejectionBound(pairs, fit.Map, method.Least);
    TKeeping kept = KeptWithin(fit.Bound, pairs, fit.Map);
    if (kept == fit.Kept || turn + 1 == MostTurns) break;
    fit.Kept = std::move(kept);
  }
  return true;
}

bool IsFinite(const TAffineCorrection& correction) {
  return std::all_of(std::begin(AffineCorrectionFields), std::end(AffineCorrectionFields),
                     [&](const auto& field) { return std::isfinite(correction.*field.Value); });
}

/// Of ordinary least squares with three unknowns a coordinate, or the bias alone; the errors' variance is 1.
void UnitCovariance(const TPairs& pairs, bool affine, double (&covariance)[3][3]) {
  covariance[0][0] = 1.0 / static_cast<double>(pairs.size());
  if (!affine) return;
  const TScatter scatter(pairs);
  const double determinant = scatter.XX * scatter.YY - scatter.XY * scatter.XY;
  const double drift = scatter.YY / determinant;
  const double both = -scatter.XY / determinant;
  const double tilt = scatter.XX / determinant;
  // The bias is what the fit has at the centre, carried to the origin.
  const double with_drift = -(scatter.Centre.x * drift + scatter.Centre.y * both);
  const double with_tilt = -(scatter.Centre.x * both + scatter.Centre.y * tilt);
  const double bias = covariance[0][0] - scatter.Centre.x * with_drift - scatter.Centre.y * with_tilt;
  const double all[3][3] = {
      {bias, with_drift, with_tilt}, {with_drift, drift, both}, {with_tilt, both, tilt}};
  std::copy_n(&all[0][0], 9, &covariance[0][0]);
}

void EstimateCovariance(const TPairs& kept, const TFit& fit, std::size_t unknowns,
                        TRefinementEstimate* estimate) {
  double unit[3][3] = {};
  UnitCovariance(kept, unknowns == 3, unit);
  xy_d squares;
  for (const TPair& pair : kept) {
    const xy_d residual = Residual(fit.Map, pair);
    squares.x += residual.x * residual.x;
    squares.y += residual.y * residual.y;
  }
  const double redundant = static_cast<double>(kept.size()) - static_cast<double>(unknowns);
  const auto scale = [&](double sum) { return redundant > 0.0 ? sum / redundant : std::nan(""); };
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      estimate->Covariance.Line[i][j] = scale(squares.x) * unit[i][j];
      estimate->Covariance.Sample[i][j] = scale(squares.y) * unit[i][j];
    }
  }
  const auto deviation = [](const double(&covariance)[3][3], std::size_t i) {
    return std::sqrt(covariance[i][i]);
  };
  const TRefinementCovariance& found = estimate->Covariance;
  estimate->Deviations = {deviation(found.Line, 0),   deviation(found.Line, 1),   deviation(found.Line, 2),
                          deviation(found.Sample, 0), deviation(found.Sample, 1), deviation(found.Sample, 2)};
}

void Report(const TPairs& pairs, const TFit& fit, std::size_t least, TRefinementEstimate* estimate) {
  *estimate = TRefinementEstimate();
  estimate->Refinement = {fit.Map};
  estimate->MostBlunders = (pairs.size() - least) / 2;
  estimate->RejectedBeyond = fit.Bound;
  double before_squares = 0.0;
  double after_squares = 0.0;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const xy_d before = Residual(TAffineCorrection(), pairs[i]);
    const xy_d after = Residual(fit.Map, pairs[i]);
    estimate->Points.push_back({!fit.Kept[i], before.x, before.y, after.x, after.y});
    if (!fit.Kept[i]) continue;
    ++estimate->Kept;
    before_squares += before.x * before.x + before.y * before.y;
    after_squares += after.x * after.x + after.y * after.y;
  }
  const auto count = static_cast<double>(estimate->Kept);
  estimate->RmsBefore = std::sqrt(before_squares / count);
  estimate->RmsAfter = std::sqrt(after_squares / count);
  const TPairs kept = Chosen(pairs, fit.Kept);
  estimate->Spread = SpreadOf(kept);
  EstimateCovariance(kept, fit, least, estimate);
}

}  // namespace

bool EstimateRefinement(const TRPC& model, const std::vector<TRPCEstimationDataItem>& points,
                        TE_RefinementKind kind, TRefinementEstimate* estimate) {
  const bool affine = kind == TE_RefinementKind::Affine;
  const TMethod& method = affine ? AffineMethod : ShiftMethod;
  if (points.size() < method.Least) {
    const char* const needs = affine ? "an affine refinement takes 3 control points at least, there are "
                                     : "a shift takes 1 control point at least, there are ";
    return Fail(needs + std::to_string(points.size()), estimate);
  }
  TPairs pairs;
  const std::string unseen = SeePoints(model, points, &pairs);
  if (!unseen.empty()) return Fail(unseen, estimate);
  TFit fit;
  if (!FitRobustly(pairs, method, &fit)) {
    return Fail("the control points lie on a line in the image", estimate);
  }
  if (!method.Determines(Chosen(pairs, fit.Kept))) {
    return Fail("the control points without the blunders lie on a line in the image", estimate);
  }
  if (!IsFinite(fit.Map) || !TRPCRefinementAffine().Setup({fit.Map})) {
    return Fail("the refinement that fits the control points has no inverse", estimate);
  }
  Report(pairs, fit, method.Least, estimate);
  return true;
}

}  // namespace SatCommonUtils
