/// How well fitted models see points that they were not fitted to: of each camera a grid of points with
/// Gaussian noise, the classic fit beside the one with a report. Prints the tables of docs/numerics.md.
///   fit_quality [SEEDS]    each figure is the worst of so many draws of the noise; 5 unless told
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc.h"

namespace {

using namespace SatCommonUtils;

struct Camera {
  std::string name;
  double offset[3];  ///< of latitude, longitude, height
  double scale[3];
  std::function<void(TRPCEstimationDataItem*)> see;

  /// Sees the ground point at normalised coordinates.
  TRPCEstimationDataItem At(double P, double L, double H) const {
    TRPCEstimationDataItem item;
    item.Latitude = offset[0] + scale[0] * P;
    item.Longitude = offset[1] + scale[1] * L;
    item.Height = offset[2] + scale[2] * H;
    see(&item);
    return item;
  }
};

TRPCData Record(const std::string& path) {
  TRPCData data;
  double bias = 0.0;
  double rand = 0.0;
  if (data.InitializeFromRPBFile(path, &bias, &rand)) return data;
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  TKaXIniStreamReader reader(new_a<TKaStringStream>(text), true, nullptr);
  if (!data.InitializeFromXML(&reader)) throw std::runtime_error(path + " cannot be read");
  return data;
}

Camera FromSample(const std::string& name) {
  const TRPCData data = Record(std::string(KELVANE_SOURCE_DIR) + "/samples/" + name);
  return {name.substr(0, name.find('.')),
          {data.LatitudeOffset, data.LongitudeOffset, data.HeightOffset},
          {data.LatitudeScale, data.LongitudeScale, data.HeightScale},
          [model = std::make_shared<TRPC>(data, nullptr)](TRPCEstimationDataItem* item) {
            model->CalculateLineSample(item->Latitude, item->Longitude, item->Height, &item->Line,
                                       &item->Sample, nullptr, nullptr);
          }};
}

/// A parallel projection: 20000 lines by 16000 samples over 10 km.
Camera Affine() {
  const auto see = [](TRPCEstimationDataItem* item) {
    const double north = 111000.0 * (item->Latitude - 50.0);
    const double east = 71000.0 * (item->Longitude - 30.0);
    item->Line = 10000.0 - 1.9 * north + 0.3 * east + 0.4 * item->Height;
    item->Sample = 8000.0 + 0.25 * north + 1.6 * east - 0.2 * item->Height;
  };
  return {"affine", {50.0, 30.0, 400.0}, {0.045, 0.07, 400.0}, see};
}

/// A frame camera 3 km above a plane of 3 km, looking 10 degrees off the vertical: 16000 by 12000 pixels.
Camera Frame() {
  const auto see = [](TRPCEstimationDataItem* item) {
    const double c = std::cos(0.1745);
    const double s = std::sin(0.1745);
    const double north = 111000.0 * (item->Latitude - 50.0);
    const double east = 71000.0 * (item->Longitude - 30.0);
    const double down = 3000.0 - item->Height;
    const double depth = c * down + s * north;
    item->Line = 8000.0 - 16000.0 * (c * north - s * down) / depth;
    item->Sample = 6000.0 + 16000.0 * east / depth;
  };
  return {"frame", {50.0, 30.0, 250.0}, {0.0135, 0.0211, 250.0}, see};
}

using Items = std::vector<TRPCEstimationDataItem>;

Items Grid(const Camera& camera, const std::array<int, 3>& nodes) {
  Items items;
  const auto node = [](int i, int count) { return 2.0 * i / (count - 1) - 1.0; };
  for (int i = 0; i < nodes[0]; ++i) {
    for (int j = 0; j < nodes[1]; ++j) {
      for (int k = 0; k < nodes[2]; ++k)
        items.push_back(camera.At(node(i, nodes[0]), node(j, nodes[1]), node(k, nodes[2])));
    }
  }
  return items;
}

Items Anywhere(const Camera& camera, int count) {
  std::mt19937_64 random(20261121);
  std::uniform_real_distribution<double> in_cube(-1.0, 1.0);
  Items items;
  for (int i = 0; i < count; ++i) {
    const double at[] = {in_cube(random), in_cube(random), in_cube(random)};
    items.push_back(camera.At(at[0], at[1], at[2]));
  }
  return items;
}

/// Noise, and blunders in every twentieth point.
void Disturb(double sigma, bool blunders, unsigned seed, Items* items) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::uniform_real_distribution<double> turn(0.0, 6.283185307179586);
  std::uniform_int_distribution<int> pick(1, 20);
  for (TRPCEstimationDataItem& item : *items) {
    item.Line += sigma * noise(random);
    item.Sample += sigma * noise(random);
    const double angle = turn(random);
    if (pick(random) != 1 || !blunders) continue;
    item.Line += 100.0 * std::cos(angle);
    item.Sample += 100.0 * std::sin(angle);
  }
}

/// The larger of line and sample: the worst of all draws, and over all draws.
struct Misses {
  double rms = 0.0;
  double max = 0.0;
  double squares = 0.0;
  void Take(const TRPCResiduals& residuals) {
    const double larger = std::fmax(residuals.RmsLine, residuals.RmsSample);
    rms = std::fmax(rms, larger);
    max = std::fmax(max, std::fmax(residuals.MaxLine, residuals.MaxSample));
    squares += residuals.RmsLine * residuals.RmsLine + residuals.RmsSample * residuals.RmsSample;
  }
};

TRPCResiduals Miss(bool fitted, const TRPCData& data, const Items& others) {
  if (fitted) return CalculateResiduals(TRPC(data, nullptr), others);
  return {HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL};
}

void Measure(const Camera& camera, const std::array<int, 3>& nodes, double sigma, unsigned seeds) {
  const Items others = Anywhere(camera, 5000);
  const Items grid = Grid(camera, nodes);
  Misses classic;
  Misses fit;
  Misses robust;
  TRPCFitReport report;
  for (unsigned seed = 1; seed <= seeds; ++seed) {
    TRPCEstimationDataSet data;
    data.Items = grid;
    Disturb(sigma, false, seed, &data.Items);
    TRPCData record;
    classic.Take(Miss(EstimateRPC(data, &record), record, others));
    TRPCFitOptions options;
    fit.Take(Miss(FitRPC(data, options, &record, &report), record, others));
    data.Items = grid;
    Disturb(sigma, true, seed, &data.Items);
    options.Weights = TE_RPCFitWeights::Tukey;
    TRPCFitReport with_blunders;
    robust.Take(Miss(FitRPC(data, options, &record, &with_blunders), record, others));
  }
  const double change = std::sqrt(robust.squares / fit.squares);
  const double bound = 1.5 * sigma * std::sqrt(39.0 / static_cast<double>(grid.size()));
  std::printf("| %s | %zu | %g | %.2g | %.2g | %.2g | %.2g | %d, %d | ", camera.name.c_str(), grid.size(),
              sigma, sigma > 0.0 ? bound : 1e-6, classic.rms, fit.rms, fit.max, report.Line.Degree,
              report.Sample.Degree);
  if (sigma > 0.0)
    std::printf("%.2g (%+.0f %%) |", robust.rms, 100.0 * (change - 1.0));
  else
    std::printf("%.2g |", robust.rms);
  const bool good = sigma > 0.0 ? fit.rms <= bound && change < 1.2 : fit.max <= 1e-6 && robust.max <= 1e-6;
  std::printf("%s\n", good ? "" : " MISSED");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const auto seeds = static_cast<unsigned>(argc > 1 ? std::atoi(argv[1]) : 5);
  std::vector<Camera> cameras;
  for (const char* name : {"worldview3.RPB", "geoeye1.xml", "pleiades_1.xml", "pleiades_2.xml", "skysat.xml",
                           "frame_crop.xml"}) {
    cameras.push_back(FromSample(name));
  }
  cameras.push_back(Affine());
  cameras.push_back(Frame());
  std::printf(
      "| Camera | Points | Noise | Bound | Classic | Fit | Its largest error | Orders (line, sample) | With "
      "blunders |\n");
  std::printf("|---|---|---|---|---|---|---|---|---|\n");
  const std::array<int, 3> grids[] = {{10, 10, 5}, {11, 11, 11}, {40, 25, 20}};
  for (const Camera& camera : cameras) {
    for (const auto& nodes : grids) {
      for (const double sigma : {0.0, 0.01, 0.3, 1.0}) Measure(camera, nodes, sigma, seeds);
    }
  }
  return 0;
}
