#include "kelvane/rpc/ground_covariance.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kelvane/numeric/small_systems.h"

namespace SatCommonUtils {

namespace {

/// Metres that a degree of longitude, a degree of latitude and a metre of height are long.
struct TLengths {
  double Axis[3];

  TLengths(const TEllipsoid& ellipsoid, double lat, double lon, double h)
      : Axis{Length(ellipsoid.EarthCentredChange(lat, lon, h, 0.0, 1.0, 0.0)),
             Length(ellipsoid.EarthCentredChange(lat, lon, h, 1.0, 0.0, 0.0)), 1.0} {}
};

/// The derivatives of an image's line and sample by east, north and up, pixels per metre.
struct TRows {
  double Image[2][3];

  TRows(const TRPC& model, double lat, double lon, double h, const TLengths& lengths) {
    double line = 0.0;
    double sample = 0.0;
    model.CalculateLineSample(lat, lon, h, &line, &sample, Image[0], Image[1]);
    for (double(&row)[3] : Image) {
      std::swap(row[0], row[1]);
      for (std::size_t x = 0; x < 3; ++x) row[x] /= lengths.Axis[x];
    }
  }
};

bool IsFinite(const double (&matrix)[3][3]) {
  return std::all_of(&matrix[0][0], &matrix[0][0] + 9, [](double x) { return std::isfinite(x); });
}

}  // namespace

double TGroundCovariance::Deviation(std::size_t axis) const { return std::sqrt(EastNorthUp[axis][axis]); }

bool CalculateGroundCovariance(const TRPCCoordsDataItem* items, const double* sigmas, std::size_t count,
                               const double& lat, const double& lon, const double& h,
                               TGroundCovariance* covariance, const TEllipsoid& ellipsoid) {
  const auto is_usable = [](double sigma) { return sigma >= 0.0 && std::isfinite(sigma); };
  if (count < 2 || !std::all_of(sigmas, sigmas + count, is_usable)) return false;
  const TLengths lengths(ellipsoid, lat, lon, h);
  const auto for_rows = [&](const auto& work) {
    for (std::size_t i = 0; i < count; ++i) {
      const TRows rows(*items[i].Model, lat, lon, h, lengths);
      for (const double(&row)[3] : rows.Image) work(row, sigmas[i]);
    }
  };
  double normal[3][3] = {};
  double factor[3][3] = {};
  double no_free[3] = {};
  for_rows([&](const double(&row)[3], double) {
    AddObservation(row, 0.0, 1.0, TFixedSize<3>(), 0, 3, TFixedRows<double, 3>{normal}, no_free);
  });
  if (!SmallCholeskyDecomposition(normal, factor)) return false;
  TGroundCovariance sum;
  for_rows([&](const double(&row)[3], double sigma) {
    double influence[3];  // metres a pixel
    SmallCholeskySolution(factor, row, influence);
    for (double& metres : influence) metres *= sigma;
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j < 3; ++j) {
        sum.EastNorthUp[i][j] += influence[i] * influence[j];
      }
    }
  });
  if (!IsFinite(sum.EastNorthUp)) return false;
  *covariance = sum;
  return true;
}

}  // namespace SatCommonUtils
