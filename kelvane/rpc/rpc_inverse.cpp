/// Image to ground: the linear-fractional approximation, and the iteration that it starts.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/small_systems.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_pairs.h"

namespace SatCommonUtils {

namespace {

/// Pixels; a ratio that misses a node of its grid by so much is given up for an affine map.
constexpr double LargestApproximationError = 1000.0;

/// A ground point of the grid and where the model sees it.
struct TNode {
  double Latitude;
  double Longitude;
  double Height;
  double Line;
  double Sample;
};

/// One linear-fractional function: numerator and denominator by latitude, longitude, height, free term.
using TFraction = std::array<double, 8>;

double Evaluate(const double* fraction, double lat, double lon, double h) {
  const auto linear = [=](const double* c) { return c[0] * lat + c[1] * lon + c[2] * h + c[3]; };
  return linear(fraction) / linear(fraction + 4);
}

/// The latitude and longitude at which two fractions have these values; 0 and 0 when the system is singular.
inline void SolveFractions(const double* fractions, double line, double sample, double h, double* lat,
                           double* lon) {
  double coef[2][2];
  double free[2];
  const double image[2] = {line, sample};
  for (std::size_t i = 0; i < 2; ++i) {
    const double* const num = fractions + i * std::tuple_size_v<TFraction>;
    const double* const denom = num + 4;
    coef[i][0] = num[0] - image[i] * denom[0];
    coef[i][1] = num[1] - image[i] * denom[1];
    free[i] = -(num[2] * h + num[3] - (denom[2] * h + denom[3]) * image[i]);
  }
  double solution[2] = {0.0, 0.0};
  SmallGauss(coef, free, solution);
  *lat = solution[0];
  *lon = solution[1];
}

TVector LeastSquares(const std::vector<TNode>& nodes, double TNode::*image, bool with_denominator) {
  TMatrix design(with_denominator ? 7 : 4, nodes.size());
  TVector free(nodes.size());
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const TNode& node = nodes[i];
    const double value = node.*image;
    const double row[] = {node.Latitude,          node.Longitude,          node.Height,         1.0,
                          -node.Latitude * value, -node.Longitude * value, -node.Height * value};
    for (std::size_t column = 0; column < design.width; ++column) {
      design.SetElement(column, i, row[column]);
    }
    free[i] = value;
  }
  TVector solution;
  TOverdefinedLinearSystem(design, free).Solution(solution);
  return solution;
}

/// Fits numerator and denominator, whose free term is 1; or the numerator alone, over 1.
TFraction Fit(const std::vector<TNode>& nodes, double TNode::*image, bool with_denominator) {
  const TVector solution = LeastSquares(nodes, image, with_denominator);
  TFraction fraction = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 1.0};
  std::copy_n(solution.data, solution.size, fraction.begin());
  return fraction;
}

bool IsNear(const TFraction& fraction, const std::vector<TNode>& nodes, double TNode::*image) {
  double largest = 0.0;
  for (const TNode& node : nodes) {
    const double seen = Evaluate(fraction.data(), node.Latitude, node.Longitude, node.Height);
    largest = std::max(largest, std::fabs(seen - node.*image));
  }
  return largest < LargestApproximationError;
}

double Norm(double x, double y) { return std::sqrt(x * x + y * y); }

/// The linear system of one step, and its solution: all normalised, the sample's row first.
struct TStep {
  double Jacobian[2][2];
  double Residual[2];
  double Correction[2];
};

/// Solves a step through its normal equations; false when they are not positive definite.
struct TLeastSquaresSolution {
  static bool Solve(TStep* step) {
    double normal[2][2];
    double free[2];
    SmallNormalEquations<2>(step->Jacobian, step->Residual, nullptr, 2, normal, free);
    return SmallCholesky(normal, free, step->Correction);
  }
};

/// Solves a step as the square system that it is, which takes neither roots nor so many divisions one behind
/// the other.
struct TDirectSolution {
  static bool Solve(TStep* step) {
    const auto& [sample, line] = step->Jacobian;
    double* const correction = step->Correction;
    return SmallEquationsSet(sample[0], sample[1], line[0], line[1], step->Residual[0], step->Residual[1],
                             &correction[0], &correction[1]) &&
           std::isfinite(correction[0] + correction[1]);
  }
};

/// Where an iteration ended.
struct TIterationEnd {
  bool Solved = false;     ///< the last system had a solution
  bool Converged = false;  ///< and that was small enough; it is not applied
  int Iterations = 0;
  TStep Step;
};

/// The model about (P, L): what a correction must bring to zero, and how it moves it.
inline void Linearise(const TPairRatio& ratio, const TLineSample& image, double P, double L, double H,
                      TStep* step) {
  const TRPCTerms<TPair> terms = TPairRatio::Terms(P, L, H);
  const TPairRatioAt at(ratio, terms);
  const TLineSample value = Parts(at.Value());
  const TLineSample by_latitude = Parts(at.ByLatitude());
  const TLineSample by_longitude = Parts(at.ByLongitude());
  step->Jacobian[0][0] = by_latitude.Sample;
  step->Jacobian[0][1] = by_longitude.Sample;
  step->Jacobian[1][0] = by_latitude.Line;
  step->Jacobian[1][1] = by_longitude.Line;
  step->Residual[0] = image.Sample - value.Sample;
  step->Residual[1] = image.Line - value.Line;
}

/// Improves (P, L) for an image point and a height, all normalised.
// In one piece: the small systems are worked in registers.
template <class Solution>
[[gnu::flatten]] TIterationEnd Iterate(const TPairRatio& ratio, const TLineSample& image, double H, double* P,
                                       double* L) {
  TIterationEnd end;
  while (end.Iterations < TRPCInverse::MaxIterations) {
    ++end.Iterations;
    Linearise(ratio, image, *P, *L, H, &end.Step);
    end.Solved = Solution::Solve(&end.Step);
    if (!end.Solved) break;
    const double* const step = end.Step.Correction;
    end.Converged = step[0] * step[0] + step[1] * step[1] <= TRPCInverse::LargestStepSquares;
    if (end.Converged) break;
    *P += step[0];
    *L += step[1];
  }
  return end;
}

}  // namespace

bool TRPC::CreateApproximation(int n) const {
  approximation_valid_ = false;
  const TNormalizations& normalizations = *normalizations_;
  const double step = 2.0 / n;
  const auto node = [=](int i) { return -1.0 + step * i; };
  std::vector<TNode> nodes;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      for (int k = 0; k < n; ++k) {
        TNode at{};
        at.Latitude = normalizations.Latitude.Normalized2Initial(node(i));
        at.Longitude = normalizations.Longitude.Normalized2Initial(node(j));
        at.Height = normalizations.Height.Normalized2Initial(node(k));
        CalculateLineSample(at.Latitude, at.Longitude, at.Height, &at.Line, &at.Sample, nullptr, nullptr);
        nodes.push_back(at);
      }
    }
  }
  TFraction sample = Fit(nodes, &TNode::Sample, true);
  TFraction line = Fit(nodes, &TNode::Line, true);
  if (!IsNear(sample, nodes, &TNode::Sample) || !IsNear(line, nodes, &TNode::Line)) {
    sample = Fit(nodes, &TNode::Sample, false);
    line = Fit(nodes, &TNode::Line, false);
  }
  std::copy(line.begin(), line.end(), approximation_.begin());
  std::copy(sample.begin(), sample.end(), approximation_.begin() + line.size());
  approximation_valid_ = true;
  return approximation_valid_;
}

bool TRPC::EnsureApproximation() const {
  return approximation_valid_ || CreateApproximation(ApproximationNodes);
}

bool TRPC::GetApproximation(double* lineNum, double* lineDenom, double* sampleNum,
                            double* sampleDenom) const {
  if (!EnsureApproximation()) return false;
  const double* group = approximation_.data();
  for (double* const out : {lineNum, lineDenom, sampleNum, sampleDenom}) {
    std::copy_n(group, 4, out);
    group += 4;
  }
  return true;
}

void TRPC::CalculateLineSampleApproximately(const double& lat, const double& lon, const double& h,
                                            double* line, double* sample) const {
  EnsureApproximation();
  const double* const fractions = approximation_.data();
  const double found_line = Evaluate(fractions, lat, lon, h);
  const double found_sample = Evaluate(fractions + std::tuple_size_v<TFraction>, lat, lon, h);
  *line = found_line;
  *sample = found_sample;
}

void TRPC::CalculateLatLonApproximately(const double& line, const double& sample, const double& h,
                                        double* lat, double* lon) const {
  EnsureApproximation();
  SolveFractions(approximation_.data(), line, sample, h, lat, lon);
}

inline TRPC::TNormalizedPosition TRPC::StartLatLon(double line, double sample, double h) const {
  const TNormalizations& n = *normalizations_;
  double lat = 0.0;
  double lon = 0.0;
  SolveFractions(approximation_.data(), n.Line.Normalized2Initial(line), n.Sample.Normalized2Initial(sample),
                 n.Height.Normalized2Initial(h), &lat, &lon);
  return {n.Latitude.Initial2Normalized(lat), n.Longitude.Initial2Normalized(lon)};
}

bool TRPC::CalculateLatLonNormalized(const double& line, const double& sample, const double& h, double* lat,
                                     double* lon) const {
  if (!EnsureApproximation()) return false;
  const TLineSample image = {line, sample};
  const double H = h;
  TNormalizedPosition at = StartLatLon(line, sample, h);
  const TIterationEnd end = Iterate<TLeastSquaresSolution>(Ratio(), image, H, &at.P, &at.L);
  *lat = at.P;
  *lon = at.L;
  return end.Solved;
}

bool TRPC::CalculateLatLon(const double& line, const double& sample, const double& h, double* lat,
                           double* lon) const {
  const bool prepared = EnsureApproximation();
  const TNormalizations& n = *normalizations_;
  double P = 0.0;
  double L = 0.0;
  const bool solved = prepared && CalculateLatLonNormalized(n.Line.Initial2Normalized(line),
                                                            n.Sample.Initial2Normalized(sample),
                                                            n.Height.Initial2Normalized(h), &P, &L);
  *lat = n.Latitude.Normalized2Initial(P);
  *lon = n.Longitude.Normalized2Initial(L);
  return solved;
}

TRPCInverse TRPC::SolveLatLon(double line, double sample, double h, double* lat, double* lon) const {
  EnsureApproximation();
  const TNormalizations& n = *normalizations_;
  const TLineSample image = {n.Line.Initial2Normalized(line), n.Sample.Initial2Normalized(sample)};
  const double H = n.Height.Initial2Normalized(h);
  TNormalizedPosition at = StartLatLon(image.Line, image.Sample, H);
  const TIterationEnd end = Iterate<TDirectSolution>(Ratio(), image, H, &at.P, &at.L);
  const double* const step = end.Step.Correction;
  if (end.Converged) {
    at.P += step[0];
    at.L += step[1];
  }
  *lat = n.Latitude.Normalized2Initial(at.P);
  *lon = n.Longitude.Normalized2Initial(at.L);
  // Of the answer as it is given: rounded to degrees.
  const TLineSample seen =
      Project(n.Latitude.Initial2Normalized(*lat), n.Longitude.Initial2Normalized(*lon), H);
  TRPCInverse result;
  result.Converged = end.Converged;
  result.Iterations = end.Iterations;
  result.LastStep = end.Solved ? Norm(step[0], step[1]) : std::numeric_limits<double>::quiet_NaN();
  result.Residual =
      Norm(n.Line.Normalized2Initial(seen.Line) - line, n.Sample.Normalized2Initial(seen.Sample) - sample);
  return result;
}

}  // namespace SatCommonUtils
