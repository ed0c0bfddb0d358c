#include "kelvane/rpc/space_intersection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "kelvane/numeric/small_systems.h"

namespace SatCommonUtils {

namespace {

constexpr std::size_t Unknowns = 3;
constexpr std::size_t Equations = 4;

using TPosition = double[Unknowns];

/// A line or a sample: the ratio that makes it, and what it should be.
struct TImageCoordinate {
  const double* Num;
  const double* Denom;
  double Seen;

  static double Linear(const double* c, const TPosition& at) {
    return c[0] * at[0] + c[1] * at[1] + c[2] * at[2] + c[3];
  }
  double ValueAt(const TPosition& at) const { return Linear(Num, at) / Linear(Denom, at); }
};

using TImages = TImageCoordinate[Equations];

struct TSystem {
  double Rows[Equations][Unknowns];
  double Free[Equations];
};

/// The ratios multiplied out. Numerator and denominator may have any factor in common, which must not weigh.
void ClearDenominators(const TImages& images, TSystem* system) {
  for (std::size_t i = 0; i < Equations; ++i) {
    const TImageCoordinate& image = images[i];
    const double factor =
        std::hypot(std::hypot(image.Denom[0], image.Denom[1]), image.Denom[2], image.Denom[3]);
    for (std::size_t x = 0; x < Unknowns; ++x) {
      system->Rows[i][x] = (image.Num[x] - image.Seen * image.Denom[x]) / factor;
    }
    system->Free[i] = (image.Seen * image.Denom[3] - image.Num[3]) / factor;
  }
}

/// The ratios about a position.
void Linearise(const TImages& images, const TPosition& at, TSystem* system) {
  for (std::size_t i = 0; i < Equations; ++i) {
    const TImageCoordinate& image = images[i];
    const double value = image.ValueAt(at);
    const double denominator = TImageCoordinate::Linear(image.Denom, at);
    for (std::size_t x = 0; x < Unknowns; ++x) {
      system->Rows[i][x] = (image.Num[x] - value * image.Denom[x]) / denominator;
    }
    system->Free[i] = image.Seen - value;
  }
}

/// Least squares with unit columns. `effect` (may be null) receives the largest change of the right side that
/// one unknown makes. False when the columns depend on each other.
bool Solve(TSystem system, TPosition& x, double* effect) {
  double sizes[Unknowns];
  for (std::size_t j = 0; j < Unknowns; ++j) {
    sizes[j] = std::sqrt(system.Rows[0][j] * system.Rows[0][j] + system.Rows[1][j] * system.Rows[1][j] +
                         system.Rows[2][j] * system.Rows[2][j] + system.Rows[3][j] * system.Rows[3][j]);
    for (double(&row)[Unknowns] : system.Rows) row[j] /= sizes[j];
  }
  double normal[Unknowns][Unknowns];
  double free[Unknowns];
  double factor[Unknowns][Unknowns];
  SmallNormalEquations(system.Rows, system.Free, nullptr, Equations, normal, free);
  if (!SmallCholeskyDecomposition(normal, factor)) return false;
  for (std::size_t j = 1; j < Unknowns; ++j) {
    if (!(factor[j][j] > TSpaceIntersection::LeastIndependence)) return false;
  }
  SmallCholeskySolution(factor, free, x);
  if (effect != nullptr) *effect = 0.0;
  for (std::size_t j = 0; j < Unknowns; ++j) {
    if (effect != nullptr) *effect = std::max(*effect, std::fabs(x[j]));
    x[j] /= sizes[j];
    if (!std::isfinite(x[j])) return false;
  }
  return true;
}

double RootMeanSquare(const TImages& images, const TPosition& at) {
  double squares = 0.0;
  for (const TImageCoordinate& image : images) {
    const double missed = image.Seen - image.ValueAt(at);
    squares += missed * missed;
  }
  return std::sqrt(squares / static_cast<double>(Equations));
}

}  // namespace

bool SpaceIntersection(const TRPC1& a, const double& lineA, const double& sampleA, const TRPC1& b,
                       const double& lineB, const double& sampleB, double* X, double* Y, double* Z,
                       double* residual) {
  TRPC1Params first;
  TRPC1Params second;
  a.GetParams(&first);
  b.GetParams(&second);
  const TImages images = {{first.LineNum, first.LineDenom, lineA},
                          {first.SampleNum, first.SampleDenom, sampleA},
                          {second.LineNum, second.LineDenom, lineB},
                          {second.SampleNum, second.SampleDenom, sampleB}};
  TSystem system;
  TPosition at;
  ClearDenominators(images, &system);
  if (!Solve(system, at, nullptr)) return false;
  double effect = std::numeric_limits<double>::infinity();
  for (int i = 0; i < TSpaceIntersection::MaxIterations && effect > TSpaceIntersection::StepTolerance; ++i) {
    TPosition step;
    Linearise(images, at, &system);
    if (!Solve(system, step, &effect)) return false;
    for (std::size_t j = 0; j < Unknowns; ++j) at[j] += step[j];
  }
  const double left = RootMeanSquare(images, at);
  if (!(effect <= TSpaceIntersection::StepTolerance) || !std::isfinite(left)) return false;
  *X = at[0];
  *Y = at[1];
  *Z = at[2];
  if (residual != nullptr) *residual = left;
  return true;
}

}  // namespace SatCommonUtils
