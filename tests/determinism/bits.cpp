// One hash for each capability over the bits of its results, and one over all of them. The same numbers must
// come out with every compiler, optimisation, set of instructions, number of threads, locale and version of
// the C library's functions: bits.txt has them.
//
// $ bits THREADS
// $ bits --instructions
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include "host/runtime.h"
#include "kelvane/geometry/ellipsoid.h"
#include "kelvane/geometry/spatial.h"
#include "kelvane/numeric/polynomial.h"
#include "kelvane/numeric/raw_matrix.h"
#include "kelvane/numeric/raw_products.h"
#include "kelvane/numeric/raw_solvers.h"
#include "kelvane/numeric/simd_target.h"
#include "kelvane/orientation/angle_unit_set.h"
#include "kelvane/orientation/attitude_angles.h"
#include "kelvane/orientation/quaternion.h"
#include "kelvane/orientation/rzyx_rotation.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/footprint.h"
#include "kelvane/rpc/ground_covariance.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/refinement_estimation.h"
#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc_batch.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/transforms/affine_2d.h"
#include "kelvane/transforms/projective_2d.h"
#include "kelvane/transforms/similarity_3d.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using Numbers = std::vector<double>;

/// FNV-1a. Every NaN counts as the same one: which payload survives an operation is the compiler's choice.
class THash {
 public:
  THash& operator<<(double value) {
    std::uint64_t bits = 0x7ff8000000000000U;
    if (value == value) std::memcpy(&bits, &value, sizeof bits);
    for (int byte = 0; byte < 8; ++byte) Take(static_cast<unsigned char>(bits >> (8 * byte)));
    return *this;
  }
  THash& operator<<(bool value) { return *this << (value ? 1.0 : 0.0); }
  THash& operator<<(int value) { return *this << static_cast<double>(value); }
  THash& operator<<(std::size_t value) { return *this << static_cast<double>(value); }
  THash& operator<<(const std::string& text) {
    for (const char c : text) Take(static_cast<unsigned char>(c));
    return *this;
  }
  THash& operator<<(const Numbers& values) {
    for (const double value : values) *this << value;
    return *this;
  }
  THash& operator<<(const TRPCData& data) {
    for (const auto& field : RPCDataFields) *this << data.*field.Value;
    for (const auto& set : RPCDataCoefficients) {
      for (const double value : data.*set.Values) *this << value;
    }
    return *this;
  }
  THash& operator<<(const TMatrix& m) {
    for (std::size_t row = 0; row < m.height; ++row) {
      for (std::size_t col = 0; col < m.width; ++col) *this << m.GetElement(col, row);
    }
    return *this;
  }
  THash& operator<<(const T3DPoint& p) { return *this << p.X << p.Y << p.Z; }
  std::uint64_t Value() const { return value_; }

 private:
  void Take(unsigned char byte) { value_ = (value_ ^ byte) * 1099511628211U; }
  std::uint64_t value_ = 14695981039346656037U;
};

/// The standard fixes the engine, but not its distributions.
class TRandom {
 public:
  explicit TRandom(std::uint64_t seed) : engine_(seed) {}
  double In(double low, double high) {
    return low + (high - low) * (static_cast<double>(engine_() >> 11) * 0x1p-53);
  }

 private:
  std::mt19937_64 engine_;
};

TRPCEstimationDataItem GroundOf(const TRPCData& data, TRandom* random) {
  TRPCEstimationDataItem item;
  item.Latitude = data.LatitudeOffset + data.LatitudeScale * random->In(-1.0, 1.0);
  item.Longitude = data.LongitudeOffset + data.LongitudeScale * random->In(-1.0, 1.0);
  item.Height = data.HeightOffset + data.HeightScale * random->In(-1.0, 1.0);
  return item;
}

std::vector<TRPCEstimationDataItem> Seen(const TRPC& model, const TRPCData& data, std::size_t count,
                                         double noise, std::uint64_t seed) {
  TRandom random(seed);
  std::vector<TRPCEstimationDataItem> items(count);
  for (TRPCEstimationDataItem& item : items) {
    item = GroundOf(data, &random);
    model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample, nullptr,
                              nullptr);
    item.Line += random.In(-noise, noise);
    item.Sample += random.In(-noise, noise);
  }
  return items;
}

const TRPCRefinementDataAffine Refinement{{12.5, 1.0003, -2e-4, -7.25, 3e-4, 0.9996}};
constexpr const char* Samples[] = {"worldview3.RPB", "pleiades_1.xml", "geoeye1.xml", "skysat.xml",
                                   "frame_crop.xml"};

/// More points than one thread is given.
constexpr std::size_t BatchLength = 40000;

struct TPoints {
  Numbers Lat, Lon, H, Line, Sample;
  explicit TPoints(const std::vector<TRPCEstimationDataItem>& items) {
    for (const TRPCEstimationDataItem& item : items) {
      Lat.push_back(item.Latitude);
      Lon.push_back(item.Longitude);
      H.push_back(item.Height);
      Line.push_back(item.Line);
      Sample.push_back(item.Sample);
    }
  }
};

/// `act(model, points)` for each sample, plain and refined, with points that the plain one has seen.
template <class Act>
void ForModels(std::uint64_t seed, Act act) {
  for (const char* sample : Samples) {
    const TRPCData data = test::SampleRecord(sample);
    const TRPC plain(data, nullptr);
    const TAdjustedRPC adjusted(&data, &Refinement);
    for (const TRPC* model : {&plain, static_cast<const TRPC*>(&adjusted)}) {
      act(*model, TPoints(Seen(plain, data, BatchLength, 0.0, seed)));
    }
  }
}

THash Projections() {
  THash hash;
  ForModels(1, [&hash](const TRPC& model, TPoints points) {
    hash << CalculateLineSamples(model, BatchLength, points.Lat.data(), points.Lon.data(), points.H.data(),
                                 points.Line.data(), points.Sample.data())
         << points.Line << points.Sample;
    double by[6] = {};
    double at[2] = {};
    model.CalculateLineSample(points.Lat[7], points.Lon[7], points.H[7], &at[0], &at[1], by, by + 3);
    hash << Numbers(at, at + 2) << Numbers(by, by + 6);
  });
  return hash;
}

THash Inverses() {
  THash hash;
  ForModels(2, [&hash](const TRPC& model, TPoints points) {
    hash << SolveLatLons(model, BatchLength, points.Line.data(), points.Sample.data(), points.H.data(),
                         points.Lat.data(), points.Lon.data())
         << points.Lat << points.Lon;
    double lat = 0.0;
    double lon = 0.0;
    hash << model.SolveLatLon(points.Line[3], points.Sample[3], points.H[3], &lat, &lon).Residual << lat
         << lon;
    TGroundSampleDistance distance;
    hash << CalculateGroundSampleDistance(model, &distance) << distance.Line << distance.Sample;
  });
  return hash;
}

THash Intersections() {
  THash hash;
  const TRPCData records[] = {test::SampleRecord("pleiades_1.xml"), test::SampleRecord("pleiades_2.xml")};
  const TRPC first(records[0], nullptr);
  const TRPC second(records[1], nullptr);
  const TAdjustedRPC third(&records[0], &Refinement);
  const TRPC* models[] = {&first, &second, &third};
  TPoints points(Seen(first, records[0], BatchLength, 0.5, 3));
  Numbers lines[2];
  Numbers samples[2];
  for (std::size_t m = 0; m < 2; ++m) {
    lines[m].resize(BatchLength);
    samples[m].resize(BatchLength);
    CalculateLineSamples(*models[m + 1], BatchLength, points.Lat.data(), points.Lon.data(), points.H.data(),
                         lines[m].data(), samples[m].data());
  }
  const double* all_lines[] = {points.Line.data(), lines[0].data(), lines[1].data()};
  const double* all_samples[] = {points.Sample.data(), samples[0].data(), samples[1].data()};
  for (const std::size_t count : {std::size_t{2}, std::size_t{3}}) {
    hash << SolveLatLonHs(models, count, BatchLength, all_lines, all_samples, points.Lat.data(),
                          points.Lon.data(), points.H.data())
         << points.Lat << points.Lon << points.H;
  }
  const TRPCCoordsDataItem items[] = {{&first, points.Line[5], points.Sample[5]},
                                      {&second, lines[0][5], samples[0][5]}};
  const double sigmas[] = {0.3, 0.5};
  double lat = 0.0;
  double lon = 0.0;
  double h = 0.0;
  hash << SolveLatLonH(items, 2, &lat, &lon, &h).Residual << lat << lon << h;
  TGroundCovariance covariance;
  hash << CalculateGroundCovariance(items, sigmas, 2, lat, lon, h, &covariance);
  for (const auto& row : covariance.EastNorthUp) hash << Numbers(row, row + 3);
  return hash;
}

THash Fits(int threads) {
  THash hash;
  const TRPCData data = test::SampleRecord("pleiades_1.xml");
  const TRPC model(data, nullptr);
  const TRPCEstimationDataSet exact = {Seen(model, data, 700, 0.0, 4), false};
  TRPCEstimationDataSet noisy = {Seen(model, data, 700, 0.4, 5), false};
  TRPCData found;
  hash << EstimateRPC(exact, &found) << found << EstimateRPC(noisy, &found, nullptr, nullptr) << found;
  TRPCEstimationReport report;
  TRPCEstimationControl control;
  control.Threads = threads;
  hash << EstimateInvertedRPC(model, &found, 6, control, &report) << found << report.Iterations;

  noisy.Items[11].Line += 300.0;
  TRPCFitOptions options;
  options.Threads = threads;
  options.Weights = TE_RPCFitWeights::Tukey;
  TRPCFitReport fit;
  hash << FitRPC(noisy, options, &found, &fit) << found << fit.Line.Rms << fit.Sample.Rms
       << fit.DownWeighted.size();

  TRefinementEstimate estimate;
  const TAdjustedRPC adjusted(&data, &Refinement);
  const bool refined =
      EstimateRefinement(model, Seen(adjusted, data, 30, 0.3, 6), TE_RefinementKind::Affine, &estimate);
  hash << refined << estimate.RmsAfter;
  TRPCData exported;
  hash << TAdjustedRPC(&data, &estimate.Refinement).ExportClosely(&exported) << exported;
  TKaStringStream text;
  hash << exported.SaveToText(&text, "", "") << text.Text();
  return hash;
}

THash Transforms() {
  THash hash;
  TRandom random(7);
  std::vector<T2DTransformParamsSourceDataItem> pairs(40);
  for (auto& pair : pairs) {
    pair.Xfrom = random.In(0.0, 5000.0);
    pair.Yfrom = random.In(0.0, 5000.0);
    pair.Xto = 3.0 + 1.01 * pair.Xfrom - 0.02 * pair.Yfrom + random.In(-1.0, 1.0);
    pair.Yto = -8.0 + 0.03 * pair.Xfrom + 0.98 * pair.Yfrom + random.In(-1.0, 1.0);
  }
  T2DAffineParams affine;
  hash << Calculate2DAffineParams(pairs, &affine) << affine.A1 << affine.A2 << affine.A3 << affine.B1
       << affine.B2 << affine.B3;
  T2DProjectiveParams projective;
  hash << Calculate2DProjectiveParams(pairs, &projective);
  for (std::size_t i = 0; i < 8; ++i) hash << projective[i];

  const TEllipsoid ellipsoid;
  T7ParamsTransform turned(T7Params{120.0, -60.0, 30.0, 0.3, -0.7, 1.9, 1.0001});
  std::vector<T7ParamsSourceDataItem> bodies(50);
  for (auto& body : bodies) {
    const double lat = random.In(-89.0, 89.0);
    const double lon = random.In(-180.0, 180.0);
    body.From = ellipsoid.ToEarthCentred(lat, lon, random.In(-100.0, 9000.0));
    body.To = turned.DirectTransform(body.From);
    body.To.X += random.In(-0.1, 0.1);
    double back[3] = {};
    ellipsoid.ToGeodetic(body.To, &back[0], &back[1], &back[2]);
    hash << body.From << body.To << Numbers(back, back + 3) << ConvergenceAngle(body.From, body.To);
  }
  T7Params params;
  hash << Calculate7Params(bodies, &params) << params.ShiftX << params.ShiftY << params.ShiftZ << params.Alpha
       << params.Beta << params.Gamma << params.Scale;
  return hash;
}

THash Rotations() {
  THash hash;
  TRandom random(8);
  std::vector<TMatrix> matrices;
  Numbers times;
  for (int i = 0; i < 200; ++i) {
    const double a = random.In(-1.5, 1.5);
    const double b = random.In(-1.5, 1.5);
    const double c = random.In(-3.1, 3.1);
    TMatrix R(3);
    RzyxGetR(a, b, c, &R);
    double angles[3] = {};
    RzyxGetAlphaBetaGamma(R, &angles[0], &angles[1], &angles[2]);
    hash << R << Numbers(angles, angles + 3);
    SatAttitudeAngles::DirectionalCosMatrix(&R, a, b, c);
    hash << R << SatAttitudeAngles::GetAnglesExt(R, angles[0], angles[1], angles[2])
         << Numbers(angles, angles + 3);
    SatAttitudeAngles::GetAlphaOmegaKappa(R, &angles[0], &angles[1], &angles[2]);
    hash << Numbers(angles, angles + 3);
    const TQuaternion from(a, b, c, 0.5);
    const TQuaternion to(b, c, a, 0.25);
    for (TQuaternion q : {SLERP(from, to, 0.3), InterpolateRotation(from, to, 0.3)}) {
      for (int k = 0; k < 4; ++k) hash << q[k];
    }
    times.push_back(0.01 * i);
    SatAttitudeAngles::DirectionalCosMatrix(&R, 0.1 + 0.01 * i, -0.2 + 0.002 * i,
                                            0.05 * times.back() + 1e-4 * a);
    matrices.push_back(R);
  }
  double coefs[9] = {};
  hash << SatAttitudeAngles::ApproximateAngles(matrices.data(), times.data(), times.size(), 2, 2, 2, coefs,
                                               coefs + 3, coefs + 6)
       << Numbers(coefs, coefs + 9);
  return hash;
}

int Continue() { return 1; }

THash Numerics() {
  constexpr std::size_t Rows = 3000;
  constexpr std::size_t Cols = 39;
  THash hash;
  TRandom random(9);
  double** A = CreateMatrix(Cols, Rows);
  double** N = CreateMatrix(Cols);
  double** inverse = CreateMatrix(Cols);
  for (std::size_t i = 0; i < Rows; ++i) {
    for (std::size_t k = 0; k < Cols; ++k) A[i][k] = random.In(-1.0, 1.0);
  }
  hash << CalculateNormalMatrix(A, Rows, Cols, N, Continue);
  for (std::size_t i = 0; i < Cols; ++i) hash << Numbers(N[i], N[i] + Cols);
  Numbers b(A[0], A[0] + Cols);
  Numbers x(Cols);
  hash << CholeskyMatrixInversion(N, inverse, Cols, Continue);
  for (std::size_t i = 0; i < Cols; ++i) hash << Numbers(inverse[i], inverse[i] + Cols);
  hash << Gauss(N, b.data(), x.data(), Cols, Continue) << x;
  ReleaseMatrix(A, Rows);
  ReleaseMatrix(N, Cols);
  ReleaseMatrix(inverse, Cols);
  TPolynome p(4, x.data());
  TPolynome shifted(0, x.data());
  LinearSubstitution(&p, 1.7, -0.3, &shifted);
  return hash << shifted.GetValue(0.77) << shifted.GetCoefsString();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "--instructions") {
    for (const std::string& target : SimdTargets()) std::puts(target.c_str());
    return 0;
  }
  const int threads = argc > 1 ? std::atoi(argv[1]) : 1;
  KaSetThreadsCount(threads);
  if (std::getenv("LC_ALL") != nullptr) {
    if (std::setlocale(LC_ALL, "") == nullptr) {
      std::fprintf(stderr, "the locale LC_ALL=%s is not installed\n", std::getenv("LC_ALL"));
      return 1;
    }
    std::locale::global(std::locale(""));
  }
  const struct {
    const char* Name;
    THash Hash;
  } groups[] = {
      {"projections", Projections()}, {"inverses", Inverses()},     {"intersections", Intersections()},
      {"fits", Fits(threads)},        {"transforms", Transforms()}, {"rotations", Rotations()},
      {"numerics", Numerics()}};
  THash all;
  for (const auto& group : groups) {
    char line[64];
    std::snprintf(line, sizeof line, "%s %016llx\n", group.Name,
                  static_cast<unsigned long long>(group.Hash.Value()));
    std::fputs(line, stdout);
    all << std::string(line);
  }
  std::printf("all %016llx\n", static_cast<unsigned long long>(all.Value()));
  return 0;
}
