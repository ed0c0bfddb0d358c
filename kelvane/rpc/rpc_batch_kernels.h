/// \file
/// The arithmetic of batches on one thread (internal), with the instructions of the target in use.
#pragma once

#include <cstddef>

#include "kelvane/refinement/affine_correction.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// What the kernels read of a model.
struct TBatchModel {
  struct TAxis {
    double Offset;
    double Scale;
  };
  /// Numerator and denominator, constant term first.
  struct TImageAxis : TAxis {
    /// What normalised derivatives by latitude, longitude and height are multiplied by.
    double PerGround[3];
    double Numerator[TRPCData::CoefficientCount];
    double Denominator[TRPCData::CoefficientCount];
  };
  /// A fraction of latitude, longitude, height, free term.
  struct TFraction {
    double Numerator[4];
    double Denominator[4];
  };

  TAxis Latitude;
  TAxis Longitude;
  TAxis Height;
  TImageAxis Line;
  TImageAxis Sample;
  /// The approximation.
  TFraction LineFraction;
  TFraction SampleFraction;
  bool IsRefined = false;
  TAffineCorrections Refinement;
};

/// Points of a batch, by number of their place in each array. Results that are not wanted are null; `DLine`
/// and `DSample` are, or hold, null too.
struct TProjectedPoints {
  const double* Latitude;
  const double* Longitude;
  const double* Height;
  double* Line;
  double* Sample;
  double* DLine[3];
  double* DSample[3];
  unsigned char* Finite;
};
/// Whether any derivative is wanted.
inline bool HasDerivatives(const TProjectedPoints& points) {
  bool any = false;
  for (std::size_t x = 0; x < 3; ++x) any = any || points.DLine[x] != nullptr || points.DSample[x] != nullptr;
  return any;
}
struct TLocatedPoints {
  const double* Line;
  const double* Sample;
  const double* Height;
  double* Latitude;
  double* Longitude;
  unsigned char* Converged;
  double* Residual;
};
struct TIntersectedPoints {
  const TBatchModel* Models;
  std::size_t ModelCount;
  const double* const* Lines;
  const double* const* Samples;
  double* Latitude;
  double* Longitude;
  double* Height;
  unsigned char* Converged;
  double* Residual;
  double* Independence;
  /// Works on a few points by single calls; gives what `IntersectPoints` gives.
  std::size_t (*Singly)(const TIntersectedPoints& points, std::size_t first, std::size_t last);
  const TRPC* const* Singles;
};

/// Each works on points `first` to before `last`, and gives how many of them are not finite or did not
/// converge.
std::size_t ProjectPoints(const TBatchModel& model, const TProjectedPoints& points, std::size_t first,
                          std::size_t last);
std::size_t LocatePoints(const TBatchModel& model, const TLocatedPoints& points, std::size_t first,
                         std::size_t last);
std::size_t IntersectPoints(const TIntersectedPoints& points, std::size_t first, std::size_t last);

}  // namespace SatCommonUtils
