#include "kelvane/rpc/rpc_batch.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <typeinfo>
#include <vector>

#include "kelvane/module/host/runtime.h"
#include "kelvane/numeric/simd_dispatch.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/rpc_batch_kernels.h"

namespace SatCommonUtils {

namespace {

/// Blocks that threads share out.
constexpr std::size_t PointsTogether = 2048;

/// So many points keep a thread busy for much longer than it takes to wake one.
constexpr std::size_t LeastProjected = 16384;
constexpr std::size_t LeastProjectedWithDerivatives = 8192;
constexpr std::size_t LeastLocated = 4096;
constexpr std::size_t LeastIntersected = 2048;

/// Of more, no batch is made: their points would take memory.
constexpr std::size_t MostModels = 16;

/// `work(first, last)` for all points, in blocks, on as many threads as have `least` points each; the sum of
/// what it gives. It must let no exception out.
template <class Work>
std::size_t ForBlocks(std::size_t count, std::size_t least, const Work& work) {
  // What is chosen, and perhaps told, at the first use is so here and not among the threads.
  SimdTargetIndex();
  const std::size_t blocks = (count + PointsTogether - 1) / PointsTogether;
  const auto block = [&](std::size_t number) {
    const std::size_t first = number * PointsTogether;
    return work(first, std::min(count, first + PointsTogether));
  };
  const int threads =
      static_cast<int>(std::min(count / least, static_cast<std::size_t>(std::max(1, KaGetThreadsCount()))));
  std::size_t sum = 0;
  if (threads <= 1) {
    for (std::size_t i = 0; i < blocks; ++i) sum += block(i);
    return sum;
  }
#pragma omp parallel for num_threads(threads) reduction(+ : sum) schedule(dynamic)
  for (std::size_t i = 0; i < blocks; ++i) sum += block(i);
  return sum;
}

/// Whether the model computes as its class is known to, and not as one derived from it pleases.
bool IsKnown(const TRPC& model) {
  return typeid(model) == typeid(TRPC) || typeid(model) == typeid(TAdjustedRPC);
}

TBatchModel ModelOf(const TRPC& model) {
  TRPCData data;
  model.GetRPCData(&data);
  TBatchModel batch = {};
  batch.Latitude = {data.LatitudeOffset, data.LatitudeScale};
  batch.Longitude = {data.LongitudeOffset, data.LongitudeScale};
  batch.Height = {data.HeightOffset, data.HeightScale};
  const auto set = [&](double offset, double scale, const auto& numerator, const auto& denominator,
                       TBatchModel::TImageAxis* axis) {
    axis->Offset = offset;
    axis->Scale = scale;
    const double ground[] = {data.LatitudeScale, data.LongitudeScale, data.HeightScale};
    std::transform(std::begin(ground), std::end(ground), axis->PerGround,
                   [=](double ground_scale) { return scale / ground_scale; });
    std::copy(std::begin(numerator), std::end(numerator), axis->Numerator);
    std::copy(std::begin(denominator), std::end(denominator), axis->Denominator);
  };
  set(data.LineOffset, data.LineScale, data.LineNum, data.LineDenom, &batch.Line);
  set(data.SampleOffset, data.SampleScale, data.SampleNum, data.SampleDenom, &batch.Sample);
  const auto* const adjusted = dynamic_cast<const TAdjustedRPC*>(&model);
  TRPCRefinementAffine refinement;
  batch.IsRefined = adjusted != nullptr && adjusted->GetRPCRefinement(&refinement);
  if (batch.IsRefined) {
    TRPCRefinementDataAffine direction;
    refinement.GetRefinementData(&direction);
    batch.Refinement.RawToRefined = direction;
    refinement.GetRefinedToRawCoefs(&direction);
    batch.Refinement.RefinedToRaw = direction;
  }
  return batch;
}

TBatchModel ModelWithApproximation(const TRPC& model) {
  TBatchModel batch = ModelOf(model);
  model.GetApproximation(batch.LineFraction.Numerator, batch.LineFraction.Denominator,
                         batch.SampleFraction.Numerator, batch.SampleFraction.Denominator);
  return batch;
}

void Tell(bool good, std::size_t i, unsigned char* flags, std::size_t* bad) {
  if (flags != nullptr) flags[i] = good ? 1 : 0;
  *bad += good ? 0 : 1;
}

std::size_t ProjectSingly(const TRPC& model, const TProjectedPoints& points, std::size_t count) {
  const auto is_wanted = [](double* const(&by)[3]) {
    return std::any_of(std::begin(by), std::end(by), [](const double* array) { return array != nullptr; });
  };
  const bool line_wanted = is_wanted(points.DLine);
  const bool sample_wanted = is_wanted(points.DSample);
  std::size_t bad = 0;
  for (std::size_t i = 0; i < count; ++i) {
    double line = 0.0;
    double sample = 0.0;
    double by_line[3] = {};
    double by_sample[3] = {};
    model.CalculateLineSample(points.Latitude[i], points.Longitude[i], points.Height[i], &line, &sample,
                              line_wanted ? by_line : nullptr, sample_wanted ? by_sample : nullptr);
    for (std::size_t x = 0; x < 3; ++x) {
      if (points.DLine[x] != nullptr) points.DLine[x][i] = by_line[x];
      if (points.DSample[x] != nullptr) points.DSample[x][i] = by_sample[x];
    }
    points.Line[i] = line;
    points.Sample[i] = sample;
    Tell(std::isfinite(line) && std::isfinite(sample), i, points.Finite, &bad);
  }
  return bad;
}

std::size_t LocateSingly(const TRPC& model, const TLocatedPoints& points, std::size_t count) {
  std::size_t bad = 0;
  for (std::size_t i = 0; i < count; ++i) {
    double lat = 0.0;
    double lon = 0.0;
    const TRPCInverse inverse =
        model.SolveLatLon(points.Line[i], points.Sample[i], points.Height[i], &lat, &lon);
    points.Latitude[i] = lat;
    points.Longitude[i] = lon;
    if (points.Residual != nullptr) points.Residual[i] = inverse.Residual;
    Tell(inverse.Converged, i, points.Converged, &bad);
  }
  return bad;
}

std::size_t IntersectSingly(const TIntersectedPoints& points, std::size_t first, std::size_t last) {
  TRPCCoordsDataItem usual[MostModels];
  std::vector<TRPCCoordsDataItem> many(points.ModelCount > MostModels ? points.ModelCount : 0);
  TRPCCoordsDataItem* const items = many.empty() ? usual : many.data();
  std::size_t bad = 0;
  for (std::size_t i = first; i < last; ++i) {
    for (std::size_t m = 0; m < points.ModelCount; ++m) {
      items[m] = {points.Singles[m], points.Lines[m][i], points.Samples[m][i], 1.0, 1.0};
    }
    const TGroundSolution solution =
        SolveLatLonH(items, points.ModelCount, &points.Latitude[i], &points.Longitude[i], &points.Height[i]);
    if (points.Residual != nullptr) points.Residual[i] = solution.Residual;
    if (points.Independence != nullptr) points.Independence[i] = solution.Independence;
    Tell(solution.Solved && solution.Converged, i, points.Converged, &bad);
  }
  return bad;
}

}  // namespace

std::size_t CalculateLineSamples(const TRPC& model, std::size_t count, const double* lat, const double* lon,
                                 const double* h, double* line, double* sample,
                                 const TRPCBatchDerivatives& derivatives, unsigned char* finite) {
  TProjectedPoints points = {lat, lon, h, line, sample, {}, {}, finite};
  std::copy(std::begin(derivatives.Line), std::end(derivatives.Line), points.DLine);
  std::copy(std::begin(derivatives.Sample), std::end(derivatives.Sample), points.DSample);
  if (!IsKnown(model)) return ProjectSingly(model, points, count);
  const TBatchModel batch = ModelOf(model);
  const std::size_t least = HasDerivatives(points) ? LeastProjectedWithDerivatives : LeastProjected;
  return ForBlocks(count, least, [&](std::size_t first, std::size_t last) {
    return ProjectPoints(batch, points, first, last);
  });
}

std::size_t SolveLatLons(const TRPC& model, std::size_t count, const double* line, const double* sample,
                         const double* h, double* lat, double* lon, const TRPCBatchReport& report) {
  const TLocatedPoints points = {line, sample, h, lat, lon, report.Converged, report.Residual};
  if (!IsKnown(model)) return LocateSingly(model, points, count);
  const TBatchModel batch = ModelWithApproximation(model);
  return ForBlocks(count, LeastLocated, [&](std::size_t first, std::size_t last) {
    return LocatePoints(batch, points, first, last);
  });
}

std::size_t SolveLatLonHs(const TRPC* const* models, std::size_t modelCount, std::size_t count,
                          const double* const* lines, const double* const* samples, double* lat, double* lon,
                          double* h, const TRPCBatchReport& report) {
  TIntersectedPoints points = {};
  points.ModelCount = modelCount;
  points.Lines = lines;
  points.Samples = samples;
  points.Latitude = lat;
  points.Longitude = lon;
  points.Height = h;
  points.Converged = report.Converged;
  points.Residual = report.Residual;
  points.Independence = report.Independence;
  points.Singly = IntersectSingly;
  points.Singles = models;
  const bool known = modelCount >= 2 && modelCount <= MostModels &&
                     std::all_of(models, models + modelCount, [](const TRPC* m) { return IsKnown(*m); });
  if (!known) return IntersectSingly(points, 0, count);
  std::vector<TBatchModel> batch(modelCount);
  std::transform(models, models + modelCount, batch.begin(),
                 [](const TRPC* model) { return ModelWithApproximation(*model); });
  points.Models = batch.data();
  return ForBlocks(count, LeastIntersected,
                   [&](std::size_t first, std::size_t last) { return IntersectPoints(points, first, last); });
}

}  // namespace SatCommonUtils
