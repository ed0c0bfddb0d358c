/// \file
/// Ground points from their images in several models, by least squares.
///
/// Each image gives two equations, of sample and line in pixels, all of weight 1. The full solutions are
/// Gauss-Newton iterations on the models (J. Grodecki, G. Dial, "Block adjustment of high-resolution
/// satellite images described by rational polynomials", PERS 69(1), 2003, has the equations); the approximate
/// ones solve, once, the linear equations that are left when the denominators of the models' approximations
/// are cleared, and start the full ones. Latitude and longitude are in degrees, heights in metres above the
/// ellipsoid.
///
/// Time is linear in the number of images; memory is not taken, but for approximations that are made: a model
/// that several threads share must have its own first. The longitudes of all models must be in one turn: a
/// model at 179.9 and one at -180.1 degrees have no common solution.
///
/// What the models' `CalculateLineSample` throws passes through. Nothing is checked beyond what is said: null
/// and empty models are the caller's fault, numbers that are not finite end in false in the full
/// solutions, and make the approximate ones of no use.
#pragma once

#include <cstddef>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"

namespace SatCommonUtils {

/// A point seen in one image.
struct TRPCCoordsDataItem {
  const TRPC* Model = nullptr;  ///< not owned
  double Line = 0.0;            ///< pixels
  double Sample = 0.0;          ///< pixels
  /// Not read: every equation has the weight 1.
  double LineWeight = 1.0;
  double SampleWeight = 1.0;
};

/// How an intersection ended.
struct TGroundSolution {
  static constexpr int MaxIterations = 10;  ///< systems solved at most
  /// The iteration ends when each component of a correction is smaller, in degrees and metres; it is applied.
  static constexpr double StepTolerance = 1e-10;

  bool Solved = false;     ///< every system had a solution
  bool Converged = false;  ///< a correction came within the tolerance
  int Iterations = 0;      ///< systems solved, at most 10
  /// The last correction: degrees of latitude and longitude, metres of height.
  double LastStep[3] = {0.0, 0.0, 0.0};
  /// How well the images tell the three unknowns apart: the smallest sine of the angles between what a change
  /// of longitude or height does to the image coordinates and what changes of the unknowns before it can do.
  /// Rays that are parallel leave no more than rounding, below 1e-6.
  double Independence = 0.0;
  /// Root mean square, in pixels, over all image coordinates, of what the answer's images miss them by; NaN
  /// when the iteration was not solved.
  double Residual = 0.0;
};

/// The ground point of two images at least, from the approximations. False, with nothing written, for fewer,
/// or when a model has no approximation and none can be made. A system that is singular leaves zeros.
KELVANE_API bool CalculateLatLonHApproximately(const std::vector<TRPCCoordsDataItem>& items, double* lat,
                                               double* lon, double* h);

/// The ground point of two images at least. False, with nothing written, where the approximate solution is
/// false; false with the last iterate when a step has no solution, as for one image taken twice where
/// rounding leaves nothing. True says that every step had one, not that the iteration converged, nor that the
/// rays meet. A caller that wants to know uses `SolveLatLonH`.
KELVANE_API bool CalculateLatLonH(const std::vector<TRPCCoordsDataItem>& items, double* lat, double* lon,
                                  double* h);

/// The same solution, and how it ended. `items` are `count` images. The outputs are written as those of
/// `CalculateLatLonH` are.
KELVANE_API TGroundSolution SolveLatLonH(const TRPCCoordsDataItem* items, std::size_t count, double* lat,
                                         double* lon, double* h);

/// The ground point of one image at least, and of a height that is known beforehand with a standard
/// deviation, both in metres: one more equation h = `height`, of weight 1 / `deviation`^2, an image
/// coordinate's standard deviation being one pixel. False, with nothing written, also when `deviation` is not
/// above 0 or so small that its weight is not finite; an infinite one leaves the height free. Otherwise as
/// the form without height.
KELVANE_API bool CalculateLatLonH(const std::vector<TRPCCoordsDataItem>& items, const double& height,
                                  const double& deviation, double* lat, double* lon, double* h);
/// The same from the approximations, whose equations carry their denominators as factors.
KELVANE_API bool CalculateLatLonHApproximatelyH(const std::vector<TRPCCoordsDataItem>& items,
                                                const double& height, const double& deviation, double* lat,
                                                double* lon, double* h);

/// The position, at a given height, that all images together fit best; two unknowns, one image at least.
/// Results and outputs as those of `CalculateLatLonH`.
KELVANE_API bool CalculateLatLon(const std::vector<TRPCCoordsDataItem>& items, const double& h, double* lat,
                                 double* lon);
/// The same from the approximations.
KELVANE_API bool CalculateLatLonApproximately(const std::vector<TRPCCoordsDataItem>& items, const double& h,
                                              double* lat, double* lon);

}  // namespace SatCommonUtils
