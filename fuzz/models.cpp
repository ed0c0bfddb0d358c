/// Projection, inverse and intersection of any model: single calls and batches give the same bits, and what
/// is told of an answer is so. The input is a model, points, and a second model, all in a few bytes each.
#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include "fuzz/fuzzing.h"
#include "fuzz/models.h"
#include "host/ini_xml.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_batch.h"

namespace {

using namespace SatCommonUtils;

using Column = std::vector<double>;

constexpr double Untouched = 42.0;

/// Points as the functions take them: three numbers each.
struct TPoints {
  std::array<Column, 3> Columns;

  std::size_t Count() const { return Columns[0].size(); }
  const double* operator[](std::size_t column) const { return Columns[column].data(); }
  void Add(double a, double b, double c) {
    Columns[0].push_back(a);
    Columns[1].push_back(b);
    Columns[2].push_back(c);
  }
};

/// Ground points in and about the model's cube, or anywhere.
TPoints GroundPoints(const TRPCData& data, fuzz::TInput* input) {
  constexpr std::size_t MostPoints = 40;
  TPoints points;
  for (std::size_t count = input->Choice(MostPoints) + 1; count > 0; --count) {
    const bool anywhere = input->Choice(8) == 0;
    const double p[] = {input->Number(), input->Number(), input->Number()};
    if (anywhere) {
      points.Add(p[0], p[1], p[2]);
    } else {
      points.Add(data.LatitudeOffset + p[0] * data.LatitudeScale,
                 data.LongitudeOffset + p[1] * data.LongitudeScale,
                 data.HeightOffset + p[2] * data.HeightScale);
    }
  }
  return points;
}

/// What the batch gives is what the single call gives.
TPoints CheckProjection(const TRPC& model, const TPoints& ground) {
  const std::size_t count = ground.Count();
  Column batch[8];
  for (Column& column : batch) column.assign(count, Untouched);
  std::vector<unsigned char> finite(count, 2);
  TRPCBatchDerivatives derivatives;
  for (std::size_t i = 0; i < 3; ++i) {
    derivatives.Line[i] = batch[2 + i].data();
    derivatives.Sample[i] = batch[5 + i].data();
  }
  const std::size_t bad = CalculateLineSamples(model, count, ground[0], ground[1], ground[2], batch[0].data(),
                                               batch[1].data(), derivatives, finite.data());
  Column plain[2] = {Column(count), Column(count)};
  CalculateLineSamples(model, count, ground[0], ground[1], ground[2], plain[0].data(), plain[1].data());

  TPoints seen;
  std::size_t not_finite = 0;
  for (std::size_t i = 0; i < count; ++i) {
    double single[8];
    model.CalculateLineSample(ground[0][i], ground[1][i], ground[2][i], &single[0], &single[1], &single[2],
                              &single[5]);
    for (std::size_t k = 0; k < 8; ++k) {
      fuzz::Require(fuzz::SameNumber(single[k], batch[k][i]), "a batch projects as single calls do");
    }
    for (std::size_t k = 0; k < 2; ++k) {
      fuzz::Require(fuzz::SameNumber(single[k], plain[k][i]), "derivatives do not change a projection");
    }
    const bool is_finite = std::isfinite(single[0]) && std::isfinite(single[1]);
    fuzz::Require(finite[i] == (is_finite ? 1 : 0), "what is not finite is told");
    not_finite += is_finite ? 0U : 1U;
    seen.Add(single[0], single[1], ground[2][i]);
  }
  fuzz::Require(bad == not_finite, "what is not finite is counted");
  return seen;
}

/// Whether the bounds of inverses hold at a ground point: it lies in the model's cube, and the model is of
/// usual size and slopes there.
bool CanBeInverted(const TRPC& model, double lat, double lon, double h) {
  TRPCData data;
  model.GetRPCData(&data);
  const double P = (lat - data.LatitudeOffset) / data.LatitudeScale;
  const double L = (lon - data.LongitudeOffset) / data.LongitudeScale;
  const double H = (h - data.HeightOffset) / data.HeightScale;
  const auto within = [](double value, double least, double most) {
    return std::fabs(value) >= least && std::fabs(value) <= most;
  };
  if (!fuzz::IsOfUsualSize(data) || !within(P, 0, 1) || !within(L, 0, 1) || !within(H, 0, 1)) return false;
  const long double denominators[] = {test::Polynomial(data.LineDenom, P, L, H),
                                      test::Polynomial(data.SampleDenom, P, L, H)};
  if (std::fabs(denominators[0]) < 0.1 || std::fabs(denominators[1]) < 0.1) return false;
  double seen[2];
  double line[3];
  double sample[3];
  model.CalculateLineSample(lat, lon, h, &seen[0], &seen[1], line, sample);
  for (double* const slopes : {line, sample}) {
    const double scale = slopes == line ? data.LineScale : data.SampleScale;
    slopes[0] *= data.LatitudeScale / scale;
    slopes[1] *= data.LongitudeScale / scale;
    if (!within(slopes[0], 0, 10) || !within(slopes[1], 0, 10)) return false;
  }
  return within(line[0] * sample[1] - line[1] * sample[0], 0.01, 200) && within(seen[0], 0, 1e7) &&
         within(seen[1], 0, 1e7);
}

/// What is told of an inverse is so, and the batch tells the same.
void CheckInverse(const TRPC& model, const TPoints& image) {
  const std::size_t count = image.Count();
  Column lat(count, Untouched);
  Column lon(count, Untouched);
  Column residual(count, Untouched);
  std::vector<unsigned char> converged(count, 2);
  TRPCBatchReport report;
  report.Converged = converged.data();
  report.Residual = residual.data();
  const std::size_t bad =
      SolveLatLons(model, count, image[0], image[1], image[2], lat.data(), lon.data(), report);
  std::size_t not_converged = 0;
  for (std::size_t i = 0; i < count; ++i) {
    double at[2] = {Untouched, Untouched};
    const TRPCInverse inverse = model.SolveLatLon(image[0][i], image[1][i], image[2][i], &at[0], &at[1]);
    fuzz::Require(fuzz::SameNumber(at[0], lat[i]) && fuzz::SameNumber(at[1], lon[i]) &&
                      fuzz::SameNumber(inverse.Residual, residual[i]) &&
                      converged[i] == (inverse.Converged ? 1 : 0),
                  "a batch inverts as single calls do");
    not_converged += inverse.Converged ? 0U : 1U;
    fuzz::Require(inverse.Iterations >= 1 && inverse.Iterations <= TRPCInverse::MaxIterations,
                  "iterations are counted");
    if (inverse.Converged)
      fuzz::Require(inverse.LastStep <= TRPCInverse::StepTolerance, "the step of what converged");
    const auto missed = [&](const double* ground) {
      double back[2];
      model.CalculateLineSample(ground[0], ground[1], image[2][i], &back[0], &back[1], nullptr, nullptr);
      return std::array<double, 2>{std::fabs(back[0] - image[0][i]), std::fabs(back[1] - image[1][i])};
    };
    const auto off = missed(at);
    const double miss = std::sqrt(off[0] * off[0] + off[1] * off[1]);
    fuzz::Require(fuzz::SameNumber(miss, inverse.Residual), "the residual is that of the answer");
    fuzz::Require(!inverse.IsAnswer() || (off[0] <= 0.001 && off[1] <= 0.001),
                  "an answer is within a thousandth of a pixel");
    double plain[2] = {Untouched, Untouched};
    const bool solved = model.CalculateLatLon(image[0][i], image[1][i], image[2][i], &plain[0], &plain[1]);
    fuzz::Require(!solved || !(std::isnan(plain[0]) && !std::isnan(at[0]) && inverse.IsAnswer()),
                  "both iterations go the same way");
    constexpr int Sure = 6;  // of ten, so that rounding cannot keep the other iteration from its end
    if (inverse.Converged && inverse.Iterations <= Sure && CanBeInverted(model, at[0], at[1], image[2][i])) {
      const auto plain_off = missed(plain);
      fuzz::Require(solved && plain_off[0] <= 0.001 && plain_off[1] <= 0.001,
                    "both find what is within a thousandth of a pixel");
    }
  }
  fuzz::Require(bad == not_converged, "what did not converge is counted");
}

/// The forms that are given a height, the approximate ones, and those of two models.
void CheckOtherIntersections(const std::vector<TRPCCoordsDataItem>& items, const TGroundSolution& solution,
                             const double* at) {
  constexpr double untouched[3] = {Untouched, Untouched, Untouched};
  double got[3];
  const auto reset = [&] { std::copy_n(untouched, 3, got); };
  for (const double deviation : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e-200}) {
    reset();
    fuzz::Require(!CalculateLatLonH(items, at[2], deviation, &got[0], &got[1], &got[2]) &&
                      !CalculateLatLonHApproximatelyH(items, at[2], deviation, &got[0], &got[1], &got[2]) &&
                      fuzz::SameNumbers(got, untouched, 3),
                  "a deviation that is none");
  }
  CalculateLatLonH(items, at[2], 1.0, &got[0], &got[1], &got[2]);
  CalculateLatLonHApproximatelyH(items, at[2], 1.0, &got[0], &got[1], &got[2]);
  CalculateLatLonHApproximately(items, &got[0], &got[1], &got[2]);
  CalculateLatLon(items, at[2], &got[0], &got[1]);
  CalculateLatLonApproximately(items, at[2], &got[0], &got[1]);
  items[0].Model->CalculateLineSampleApproximately(got[0], got[1], at[2], &got[0], &got[1]);
  items[0].Model->CalculateLatLonApproximately(got[0], got[1], at[2], &got[0], &got[1]);

  const std::vector<TRPCCoordsDataItem> one = {items[0]};
  const std::vector<TRPCCoordsDataItem> none;
  reset();
  fuzz::Require(!CalculateLatLonH(one, &got[0], &got[1], &got[2]) &&
                    !CalculateLatLonHApproximately(one, &got[0], &got[1], &got[2]) &&
                    !CalculateLatLon(none, at[2], &got[0], &got[1]) &&
                    !CalculateLatLonApproximately(none, at[2], &got[0], &got[1]) &&
                    fuzz::SameNumbers(got, untouched, 3),
                "too few images");
  if (items.size() != 2) return;
  bool solved = true;
  try {
    TRPC::CalculateLatLonH(*items[0].Model, items[0].Line, items[0].Sample, *items[1].Model, items[1].Line,
                           items[1].Sample, &got[0], &got[1], &got[2]);
  } catch (const std::runtime_error&) {
    solved = false;
  }
  fuzz::Require(solved == solution.Solved && fuzz::SameNumbers(got, at, 3), "the form of two models");
}

/// Points seen in two or three models, exactly or not.
void CheckIntersection(const std::vector<const TRPC*>& models, const std::vector<TPoints>& images) {
  const std::size_t count = images[0].Count();
  std::vector<const double*> lines;
  std::vector<const double*> samples;
  for (const TPoints& image : images) {
    lines.push_back(image[0]);
    samples.push_back(image[1]);
  }
  Column ground[3] = {Column(count, Untouched), Column(count, Untouched), Column(count, Untouched)};
  Column residual(count);
  Column independence(count);
  std::vector<unsigned char> converged(count, 2);
  TRPCBatchReport report;
  report.Converged = converged.data();
  report.Residual = residual.data();
  report.Independence = independence.data();
  const std::size_t bad = SolveLatLonHs(models.data(), models.size(), count, lines.data(), samples.data(),
                                        ground[0].data(), ground[1].data(), ground[2].data(), report);
  std::size_t not_converged = 0;
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<TRPCCoordsDataItem> items;
    for (std::size_t m = 0; m < models.size(); ++m) items.push_back({models[m], lines[m][i], samples[m][i]});
    double at[3] = {Untouched, Untouched, Untouched};
    const TGroundSolution solution = SolveLatLonH(items.data(), items.size(), &at[0], &at[1], &at[2]);
    for (std::size_t k = 0; k < 3; ++k) {
      fuzz::Require(fuzz::SameNumber(at[k], ground[k][i]), "a batch intersects as single calls do");
    }
    fuzz::Require(fuzz::SameNumber(solution.Residual, residual[i]) &&
                      fuzz::SameNumber(solution.Independence, independence[i]) &&
                      converged[i] == (solution.Converged ? 1 : 0),
                  "a batch tells what single calls tell");
    not_converged += solution.Converged ? 0U : 1U;
    fuzz::Require(solution.Iterations <= TGroundSolution::MaxIterations, "iterations are counted");
    fuzz::Require(!solution.Converged || solution.Solved, "what converged was solved");
    double squares = 0.0;
    for (const TRPCCoordsDataItem& item : items) {
      double seen[2];
      item.Model->CalculateLineSample(at[0], at[1], at[2], &seen[0], &seen[1], nullptr, nullptr);
      squares +=
          (item.Sample - seen[1]) * (item.Sample - seen[1]) + (item.Line - seen[0]) * (item.Line - seen[0]);
    }
    const double rms = std::sqrt(squares / static_cast<double>(2 * items.size()));
    fuzz::Require(solution.Solved ? fuzz::SameNumber(rms, solution.Residual) : std::isnan(solution.Residual),
                  "the residual is that of the answer");
    double plain[3] = {Untouched, Untouched, Untouched};
    fuzz::Require(CalculateLatLonH(items, &plain[0], &plain[1], &plain[2]) == solution.Solved &&
                      fuzz::SameNumbers(plain, at, 3),
                  "both forms give the same");
    if (solution.Converged) {
      for (const double step : solution.LastStep) {
        fuzz::Require(std::fabs(step) < TGroundSolution::StepTolerance, "the step of what converged");
      }
    }
    CheckOtherIntersections(items, solution, at);
  }
  fuzz::Require(bad == not_converged, "what did not converge is counted");
}

std::string Saved(const TRPC& model) {
  TKaXIniXmlWriter writer;
  TKaStringStream stream;
  fuzz::Require(model.SaveToXML(&writer) && writer.Save(&stream), "a model is saved");
  return stream.Text();
}

/// With its approximation, which comes back bit for bit.
void CheckSaving(const TRPC& model) {
  const std::string once = Saved(model);
  TKaXIniStreamReader reader(fuzz::StreamOf(once), true, nullptr);
  const var_a<TRPC*> back = model.CreateVCopy();
  fuzz::Require(back && back->InitializeFromXML(&reader), "a model is read back");
  fuzz::RequireSameText(Saved(*back), once, "a model that was read back is saved the same");
}

/// A plane, with a step and a hole, at heights about the model's.
struct TSurface {
  explicit TSurface(const TRPCData& data, fuzz::TInput* input)
      : data_(data),
        height_(input->Small()),
        slope_(input->Small()),
        step_(input->Bool()),
        hole_(input->Bool()) {}

  std::optional<double> operator()(double lat, double lon) const {
    const double P = (lat - data_.LatitudeOffset) / data_.LatitudeScale;
    const double L = (lon - data_.LongitudeOffset) / data_.LongitudeScale;
    if (hole_ && P > 0.5) return std::nullopt;
    const double H = height_ + 0.1 * slope_ * (P + L) + (step_ && L > 0.0 ? 0.25 : 0.0);
    return data_.HeightOffset + H * data_.HeightScale;
  }

 private:
  const TRPCData& data_;
  double height_;
  double slope_;
  bool step_;
  bool hole_;
};

/// Where a meeting is told, it is seen there. The rays of any model may jump, so it need not lie on the
/// surface.
void CheckSurface(const TRPC& model, const TPoints& image, const TSurface& surface) {
  constexpr std::size_t MostPoints = 4;  // each asks the surface up to a hundred times
  for (std::size_t i = 0; i < std::min(image.Count(), MostPoints); ++i) {
    double at[3] = {Untouched, Untouched, Untouched};
    const double untouched[3] = {Untouched, Untouched, Untouched};
    int lookups = 0;
    const auto counted = [&](double lat, double lon) {
      ++lookups;
      return surface(lat, lon);
    };
    bool found = false;
    try {
      found = model.CalculateLatLonAlt(image[0][i], image[1][i], counted, &at[0], &at[1], &at[2]);
    } catch (const TKaMessage&) {
      // The inverse did not converge.
    }
    fuzz::Require(lookups <= TRPC::MaxSurfaceLookups, "the surface is not asked without end");
    if (!found) {
      fuzz::Require(fuzz::SameNumbers(at, untouched, 3), "without a meeting nothing is written");
      continue;
    }
    double back[2];
    model.CalculateLineSample(at[0], at[1], at[2], &back[0], &back[1], nullptr, nullptr);
    fuzz::Require(std::fabs(back[0] - image[0][i]) <= TRPC::SurfaceCheckBound &&
                      std::fabs(back[1] - image[1][i]) <= TRPC::SurfaceCheckBound,
                  "a meeting is seen in the image point");
  }
}

/// A plain record that equals a refined model, or nothing.
void CheckExport(const TRPC& model) {
  const auto* const refined = dynamic_cast<const TAdjustedRPC*>(&model);
  if (refined == nullptr) return;
  const TRPCData before = test::NumberedRecord();
  TRPCData result = before;
  if (!refined->ExportExactly(&result)) {
    fuzz::Require(fuzz::SameRecord(result, before), "an export that fails leaves the record");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  TRPCData first_data;
  TRPCData second_data;
  const std::unique_ptr<TRPC> first = fuzz::Model(&input, &first_data);
  if (!first) return 0;
  const TPoints ground = GroundPoints(first_data, &input);
  const TPoints seen = CheckProjection(*first, ground);
  if (input.Bool()) first->EnsureApproximation();
  CheckInverse(*first, seen);
  CheckInverse(*first, ground);  // as image points they are mostly off the image
  CheckSaving(*first);
  CheckExport(*first);
  CheckSurface(*first, seen, TSurface(first_data, &input));

  const std::unique_ptr<TRPC> second = fuzz::Model(&input, &second_data);
  if (!second) return 0;
  const TPoints seen_again = CheckProjection(*second, ground);
  std::vector<const TRPC*> models = {first.get(), second.get()};
  std::vector<TPoints> images = {seen, seen_again};
  if (input.Bool()) {
    models.push_back(first.get());
    images.push_back(ground);
  }
  CheckIntersection(models, images);
  return 0;
}
