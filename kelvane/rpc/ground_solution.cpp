#include "kelvane/rpc/ground_solution.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "kelvane/numeric/small_systems.h"

namespace SatCommonUtils {

namespace {

/// The images of one point, wherever they stand.
struct TImages {
  const TRPCCoordsDataItem* First;
  std::size_t Count;

  TImages(const TRPCCoordsDataItem* first, std::size_t count) : First(first), Count(count) {}
  explicit TImages(const std::vector<TRPCCoordsDataItem>& items) : TImages(items.data(), items.size()) {}
  const TRPCCoordsDataItem* begin() const { return First; }
  const TRPCCoordsDataItem* end() const { return First + Count; }
};

/// Latitude, longitude, height.
using TGround = double[3];

/// What is known of the height beforehand.
struct THeightPrior {
  double Height;
  double Weight = 0.0;

  explicit THeightPrior(double height, double deviation)
      : Height(height), Weight(deviation > 0.0 ? 1.0 / (deviation * deviation) : std::nan("")) {}
  bool IsUsable() const { return std::isfinite(Weight) && std::isfinite(Height); }
};

/// The two equations of an image, sample before line: coefficients of latitude, longitude and height, and
/// right side.
struct TImageEquations {
  TGround Rows[2];
  double Free[2];
};

/// An image's approximation with its denominators, whose free term is 1, cleared.
bool ClearDenominators(const TRPCCoordsDataItem& item, TImageEquations* equations) {
  double num[2][4];
  double denom[2][4];
  if (!item.Model->GetApproximation(num[1], denom[1], num[0], denom[0])) return false;
  const double image[2] = {item.Sample, item.Line};
  for (std::size_t i = 0; i < 2; ++i) {
    for (std::size_t x = 0; x < 3; ++x) equations->Rows[i][x] = num[i][x] - image[i] * denom[i][x];
    equations->Free[i] = image[i] - num[i][3];
  }
  return true;
}

/// An image's model about a ground point.
void Linearise(const TRPCCoordsDataItem& item, const TGround& at, TImageEquations* equations) {
  double line = 0.0;
  double sample = 0.0;
  item.Model->CalculateLineSample(at[0], at[1], at[2], &line, &sample, equations->Rows[1],
                                  equations->Rows[0]);
  equations->Free[0] = item.Sample - sample;
  equations->Free[1] = item.Line - line;
}

/// Normal equations of the first N unknowns, added up image by image. A matrix of unit weights would multiply
/// by ones and add zeros: the sums are the same without it.
template <std::size_t N>
class TNormalEquations {
 public:
  void Add(const double* row, double value, double weight) {
    AddObservation(row, value, weight, TFixedSize<N>(), 0, N, TFixedRows<double, N>{normal_}, free_);
  }
  void Add(const TImageEquations& equations) {
    for (std::size_t i = 0; i < 2; ++i) Add(equations.Rows[i], equations.Free[i], 1.0);
  }

  bool SolveByCholesky(double (&x)[N]) {
    if (!SmallCholeskyDecomposition(normal_, factor_)) return false;
    SmallCholeskySolution(factor_, free_, x);
    return true;
  }
  /// As over-determined systems are solved: by elimination where Cholesky fails, and zeros where both do.
  void Solve(double (&x)[N]) {
    if (SolveByCholesky(x)) return;
    std::fill_n(x, N, 0.0);
    const TFixedRows<double, N> rows{normal_};
    for (std::size_t i = 0; i < N; ++i) MirrorRow(rows, i, TFixedSize<N>());
    SmallGauss(normal_, free_, x);
  }

  /// Of the system that was decomposed: see `TGroundSolution`.
  double Independence() const {
    double smallest = 1.0;
    for (std::size_t i = 1; i < N; ++i) {
      const double sine = factor_[i][i] / std::sqrt(normal_[i][i]);
      smallest = sine < smallest ? sine : smallest;
    }
    return smallest;
  }

 private:
  double normal_[N][N] = {};
  double free_[N] = {};
  double factor_[N][N] = {};
};

constexpr TGround HeightRow = {0.0, 0.0, 1.0};

/// Solves for the first N unknowns; the height is given where it is not among them. False, nothing written,
/// when an approximation is missing.
template <std::size_t N>
bool SolveApproximations(const TImages& images, const THeightPrior* prior, TGround& ground) {
  TNormalEquations<N> system;
  for (const TRPCCoordsDataItem& item : images) {
    TImageEquations equations;
    if (!ClearDenominators(item, &equations)) return false;
    for (std::size_t i = 0; N < 3 && i < 2; ++i) equations.Free[i] -= equations.Rows[i][2] * ground[2];
    system.Add(equations);
  }
  if (prior != nullptr) system.Add(HeightRow, prior->Height, prior->Weight);
  double solution[N];
  system.Solve(solution);
  std::copy_n(solution, N, ground);
  return true;
}

/// Improves the first N unknowns on the full models.
template <std::size_t N>
TGroundSolution Iterate(const TImages& images, const THeightPrior* prior, TGround& ground) {
  TGroundSolution result;
  while (result.Iterations < TGroundSolution::MaxIterations && !result.Converged) {
    ++result.Iterations;
    TNormalEquations<N> system;
    for (const TRPCCoordsDataItem& item : images) {
      TImageEquations equations;
      Linearise(item, ground, &equations);
      system.Add(equations);
    }
    if (prior != nullptr) system.Add(HeightRow, prior->Height - ground[2], prior->Weight);
    double step[N];
    result.Solved = system.SolveByCholesky(step);
    if (!result.Solved) break;
    result.Converged = true;
    for (std::size_t i = 0; i < N; ++i) {
      ground[i] += step[i];
      result.LastStep[i] = step[i];
      result.Converged = result.Converged && std::fabs(step[i]) < TGroundSolution::StepTolerance;
    }
    result.Independence = system.Independence();
  }
  return result;
}

/// How many images N unknowns need, with or without a height of their own.
constexpr std::size_t LeastImages(std::size_t unknowns, const THeightPrior* prior) {
  return unknowns == 3 && prior == nullptr ? 2 : 1;
}

/// Start and iteration; nothing is written to `ground` where there is no start.
template <std::size_t N>
TGroundSolution SolveGround(const TImages& images, const THeightPrior* prior, TGround& ground) {
  if (images.Count < LeastImages(N, prior) || !SolveApproximations<N>(images, prior, ground)) return {};
  return Iterate<N>(images, prior, ground);
}

void Write(const TGround& ground, double* lat, double* lon, double* h) {
  *lat = ground[0];
  *lon = ground[1];
  *h = ground[2];
}

TGroundSolution Intersect(const TImages& images, const THeightPrior* prior, double* lat, double* lon,
                          double* h) {
  TGround ground;
  const TGroundSolution result = SolveGround<3>(images, prior, ground);
  if (result.Iterations > 0) Write(ground, lat, lon, h);
  return result;
}

bool IntersectApproximately(const TImages& images, const THeightPrior* prior, double* lat, double* lon,
                            double* h) {
  TGround ground;
  if (images.Count < LeastImages(3, prior) || !SolveApproximations<3>(images, prior, ground)) return false;
  Write(ground, lat, lon, h);
  return true;
}

double RootMeanSquare(const TImages& images, double lat, double lon, double h) {
  double squares = 0.0;
  for (const TRPCCoordsDataItem& item : images) {
    double line = 0.0;
    double sample = 0.0;
    item.Model->CalculateLineSample(lat, lon, h, &line, &sample, nullptr, nullptr);
    squares += (item.Sample - sample) * (item.Sample - sample) + (item.Line - line) * (item.Line - line);
  }
  return std::sqrt(squares / (2.0 * static_cast<double>(images.Count)));
}

}  // namespace

bool CalculateLatLonHApproximately(const std::vector<TRPCCoordsDataItem>& items, double* lat, double* lon,
                                   double* h) {
  return IntersectApproximately(TImages(items), nullptr, lat, lon, h);
}

bool CalculateLatLonH(const std::vector<TRPCCoordsDataItem>& items, double* lat, double* lon, double* h) {
  return Intersect(TImages(items), nullptr, lat, lon, h).Solved;
}

TGroundSolution SolveLatLonH(const TRPCCoordsDataItem* items, std::size_t count, double* lat, double* lon,
                             double* h) {
  const TImages images(items, count);
  TGroundSolution result = Intersect(images, nullptr, lat, lon, h);
  result.Residual =
      result.Solved ? RootMeanSquare(images, *lat, *lon, *h) : std::numeric_limits<double>::quiet_NaN();
  return result;
}

bool CalculateLatLonH(const std::vector<TRPCCoordsDataItem>& items, const double& height,
                      const double& deviation, double* lat, double* lon, double* h) {
  const THeightPrior prior(height, deviation);
  return prior.IsUsable() && Intersect(TImages(items), &prior, lat, lon, h).Solved;
}

bool CalculateLatLonHApproximatelyH(const std::vector<TRPCCoordsDataItem>& items, const double& height,
                                    const double& deviation, double* lat, double* lon, double* h) {
  const THeightPrior prior(height, deviation);
  return prior.IsUsable() && IntersectApproximately(TImages(items), &prior, lat, lon, h);
}

bool CalculateLatLon(const std::vector<TRPCCoordsDataItem>& items, const double& h, double* lat,
                     double* lon) {
  TGround ground = {0.0, 0.0, h};
  const TGroundSolution result = SolveGround<2>(TImages(items), nullptr, ground);
  if (result.Iterations == 0) return false;
  *lat = ground[0];
  *lon = ground[1];
  return result.Solved;
}

bool CalculateLatLonApproximately(const std::vector<TRPCCoordsDataItem>& items, const double& h, double* lat,
                                  double* lon) {
  TGround ground = {0.0, 0.0, h};
  if (items.empty() || !SolveApproximations<2>(TImages(items), nullptr, ground)) return false;
  *lat = ground[0];
  *lon = ground[1];
  return true;
}

void TRPC::CalculateLatLonH(const TRPC& a, const double& lineA, const double& sampleA, const TRPC& b,
                            const double& lineB, const double& sampleB, double* lat, double* lon, double* h) {
  const TRPCCoordsDataItem items[] = {{&a, lineA, sampleA}, {&b, lineB, sampleB}};
  if (!Intersect({items, 2}, nullptr, lat, lon, h).Solved) throw std::runtime_error("TRPC::CalculateLatLonH");
}

void TRPC::CalculateLatLonHApproximately(const TRPC& a, const double& lineA, const double& sampleA,
                                         const TRPC& b, const double& lineB, const double& sampleB,
                                         double* lat, double* lon, double* h) {
  const TRPCCoordsDataItem items[] = {{&a, lineA, sampleA}, {&b, lineB, sampleB}};
  if (!IntersectApproximately({items, 2}, nullptr, lat, lon, h)) {
    throw std::runtime_error("TRPC::CalculateLatLonHApproximately");
  }
}

}  // namespace SatCommonUtils
