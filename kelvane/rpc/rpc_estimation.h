/// \file
/// Models fitted to points, and the inverse of a model as a model.
///
/// The fit is linear first (both rational functions of first order, by least squares), then Gauss-Newton on
/// the 39 free coefficients of each of the two functions, line and sample: the method of the iterative,
/// terrain-independent solution in C. V. Tao, Y. Hu, "A comprehensive study of the rational function model
/// for photogrammetric processing", Photogrammetric Engineering & Remote Sensing 67(12), 2001. In each step
/// the normal equations are summed item by item in their order, so that neither memory nor threads change a
/// bit: it takes some 40 bytes an item beside the items, and nothing when those are normalised.
#pragma once

#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_data.h"

class TKaProgressHandler;

namespace SatCommonUtils {

/// One correspondence: a ground point, degrees and metres above the ellipsoid, and where it is seen, pixels;
/// or all five normalised.
struct TRPCEstimationDataItem {
  /// Degrees and metres, then pixels; or normalised.
  double Latitude = 0.0;
  double Longitude = 0.0;
  double Height = 0.0;
  double Line = 0.0;
  double Sample = 0.0;
};

/// The correspondences of one image. Sums run in their order, so another order moves the last bits.
struct TRPCEstimationDataSet {
  std::vector<TRPCEstimationDataItem> Items;  ///< 40 at least, in no particular order
  /// The items are normalised already, with the offsets and scales that the result will have: those are
  /// then neither read nor written. Otherwise they are found from the items, so that each field's smallest
  /// value becomes -1 and its largest +1.
  bool Normalized = false;
};

/// How many items an estimation needs at least, and how many iterations it makes at most.
constexpr std::size_t RPCEstimationLeastItems = 40;
constexpr int RPCEstimationMostIterations = 10;

/// Fits a model to the items, on the calling thread. Line and sample step together; the iteration ends when
/// no coefficient moves by 1e-11 (normalised), or at its limit, which is no failure. False, with `*rpc`
/// untouched, for fewer items than `RPCEstimationLeastItems`, when a field that must be normalised is the
/// same in all items, when a system is singular (its determinant 0.0), or when a coefficient is no finite
/// number in the end. With items in a plane or on a line the systems are near to singular: such a fit may be
/// false, or true and of no use away from the items.
KELVANE_API bool EstimateRPC(const TRPCEstimationDataSet& data, TRPCData* rpc);

/// The same model, fitted on up to two of the host's threads, one for each function, and with another control
/// of its steps: line and sample step each by itself, a step that does not lower the root mean square of the
/// residuals is taken back, and the function is finished, as it is when a step lowers it by less than 1e-10
/// (normalised, so that large images are fitted less closely than by the first form). `progress` (may be
/// null) is told how many calls of `cancel` come next: 7 before each linear solution, 78 before each step of
/// one function. `cancel` (may be null) stops the estimation by a result other than 0: it is then false,
/// `*rpc` untouched. Both are called on the calling thread.
KELVANE_API bool EstimateRPC(const TRPCEstimationDataSet& data, TRPCData* rpc, void (*progress)(int),
                             int (*cancel)());

/// How the steps of an estimation are controlled: as by the first form above, or as by the second.
enum class TE_RPCEstimationSteps { Together, Apart };

/// How an estimation runs; the defaults are those of the first form above.
struct TRPCEstimationControl {
  TE_RPCEstimationSteps Steps = TE_RPCEstimationSteps::Together;  ///< which of the two forms' steps
  int Threads = 1;                  ///< less than 1 counts as 1; more than 2 are not used
  void (*Progress)(int) = nullptr;  ///< may be null; called as by the first form
  int (*Cancel)() = nullptr;        ///< may be null; a result other than 0 ends the estimation
};

/// How an estimation ended.
struct TRPCEstimationReport {
  int Iterations = 0;      ///< done, in the coordinate that took more
  bool Converged = false;  ///< it ended by itself, not at the limit of iterations
};

/// Both forms, telling how they ended; the report is written in every case.
KELVANE_API bool EstimateRPC(const TRPCEstimationDataSet& data, TRPCData* rpc,
                             const TRPCEstimationControl& control, TRPCEstimationReport* report);

/// How far the ground of the items reaches in the direction in which it reaches least: the standard deviation
/// there, with each coordinate scaled so that its values run from -1 to 1. Near 0 they lie in a plane or on a
/// line, and a model fitted to them is of no use beside it; a coordinate without extent gives 0.
KELVANE_API double CalculateLeastExtent(const std::vector<TRPCEstimationDataItem>& items);

/// How far a model sees points from where they were seen, in pixels.
struct TRPCResiduals {
  double RmsLine = 0.0;    ///< root mean square
  double RmsSample = 0.0;  ///< likewise
  double MaxLine = 0.0;    ///< largest absolute value
  double MaxSample = 0.0;  ///< likewise
};

/// Over items that are not normalised, at least one.
KELVANE_API TRPCResiduals CalculateResiduals(const TRPC& model,
                                             const std::vector<TRPCEstimationDataItem>& items);

/// Fits the inverse of a model, a record that takes (line, sample, height) where others take latitude,
/// longitude and height, and gives latitude as its line, longitude as its sample: to the nodes of a grid
/// over the model's normalised ground cube, -1 and what adding 2 / gridSteps again and again reaches up to 1
/// on each axis (the last node may miss 1 by rounding and is then none), that are seen within its normalised
/// image. False, with nothing but the offsets and scales of `*inverted` written, where
/// `EstimateRPC` is, and for fewer than 1 step. `progress` may be null and is not used.
KELVANE_API bool EstimateInvertedRPC(const TRPC& rpc, TRPCData* inverted, int gridSteps,
                                     TKaProgressHandler* progress);

/// The same, controlled, and telling how the estimation ended; the report is written in every case.
KELVANE_API bool EstimateInvertedRPC(const TRPC& rpc, TRPCData* inverted, int gridSteps,
                                     const TRPCEstimationControl& control, TRPCEstimationReport* report);

}  // namespace SatCommonUtils
