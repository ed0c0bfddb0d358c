/// \file
/// A sensor model whose image coordinates are corrected, and its ways back to a plain record.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "kelvane/module/export.h"
#include "kelvane/refinement/affine_refinement.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_estimation.h"

namespace SatCommonUtils {

/// A model with an affine refinement of its image coordinates, or without one. The virtual members of `TRPC`
/// speak of refined coordinates, and so does all that projects through them: the approximation, the ground
/// solutions, the height surface in metres. What is said to work on the class's own polynomials
/// (`CalculateLineSampleNormalized`, `CalculateLatLonNormalized`, `CalculateLatLonNormalizedAlt`, the
/// inverted model) speaks of raw ones.
///
/// The refinement stays when `SetRPCData` or `Reset` changes the model.
class KELVANE_API TAdjustedRPC : public TRPC {
 public:
  /// Nodes of a grid over normalised ground coordinates: `Steps` steps, one node more, an axis.
  struct KELVANE_API TRPCEstimationDataSetParams {
    /// Of a normalised coordinate; -1 <= `Min` < `Max` <= 1.
    struct TRange {
      double Min = -1.0;  ///< -1 is offset less scale
      double Max = 1.0;   ///< 1 is offset plus scale
    };
    /// Within -1 and 1, where the model was made for.
    TRange Latitude;
    TRange Longitude;
    TRange Height;
    int Steps = 10;  ///< 1 to `MostReApproximationSteps`
  };
  static constexpr int MostReApproximationSteps = 200;  ///< of `Steps`: 201³ nodes

  /// The model of a record, which must not be null, and of a refinement, which may be. Throws as
  /// `TRPC::SetRPCData` and as the constructor of `TRPCRefinementAffine`.
  TAdjustedRPC(const TRPCData* rpc, const TRPCRefinementDataAffine* refinement);
  /// The same with a margin, which may be null.
  TAdjustedRPC(const TRPCData& rpc, const TPolygon* margin, const TRPCRefinementDataAffine* refinement);
  /// The model that stands in the reader's current section. Throws `std::runtime_error`
  /// "TAdjustedRPC::TAdjustedRPC(TKaXIniReader *src)" when it cannot be read, and as `TRPC::SetRPCData`.
  explicit TAdjustedRPC(TKaXIniReader* src);
  ~TAdjustedRPC() override;

  /// A new adjusted model of the same record, refinement (its inverse derived anew), margin and raster size;
  /// empty when the copy fails.
  var_a<TRPC*> CreateVCopy() const override;

  /// Ground to refined image coordinates; see `TRPC`. The refinement's linear part maps the derivatives too.
  void CalculateLineSample(const double& lat, const double& lon, const double& h, double* line,
                           double* sample, double* dLine, double* dSample) const override;

  /// Refined image coordinates and height to ground; see `TRPC`. With a refinement, when there is no
  /// approximation or a step had no solution, it is false and the outputs are the model's latitude and
  /// longitude offsets; without one, what `TRPC` says of its own.
  bool CalculateLatLon(const double& line, const double& sample, const double& h, double* lat,
                       double* lon) const override;

  /// Refined image coordinates and height to ground; see `TRPC`. The residual is one of refined coordinates.
  TRPCInverse SolveLatLon(double line, double sample, double h, double* lat, double* lon) const override;

  /// Reads the model as `TRPC` does, then section "Refinement". Without that section, or when what stands in
  /// it is no refinement, the model has none. False, the model then without a refinement, when the plain
  /// model cannot be read, and when the section cannot be left. Throws `TKaMessage`, the former refinement
  /// then kept, for a zero scale, as `TRPC` does.
  bool InitializeFromXML(TKaXIniReader* reader) override;
  /// Writes the model as `TRPC` does, then its refinement, if any, into section "Refinement"; false at the
  /// first failure.
  bool SaveToXML(TKaXIniWriter* writer) const override;

  /// The correction from raw to refined; false, with nothing written, when there is no refinement.
  bool GetRPCRefinementData(TRPCRefinementDataAffine* data) const;
  /// The correction with its way back; false, with nothing written, when there is no refinement.
  bool GetRPCRefinement(TRPCRefinementAffine* refinement) const;

  /// Where the model sees the nodes of a grid: items for `EstimateRPC`, normalised with the record's offsets
  /// and scales, in place of what `*data` held. On each axis the nodes stand much as the extremes of a
  /// Chebyshev polynomial, the ends of the range among them: closer there, where polynomials that are fitted
  /// stray most (L. N. Trefethen, "Approximation theory and approximation practice", SIAM 2013). Nodes
  /// outside the raster are kept, since the record promises the whole cube; nodes without an image are left
  /// out. A fit may come out badly for one layout of nodes and well for the next (its systems are nearly
  /// singular); so it is tried, and where it misses the model by more than a thousandth of a pixel at the
  /// nodes of an even grid of 41 an axis, even layouts of up to two steps fewer or more on each axis are
  /// tried too, as long as they make no more than 100000 nodes together, and the best is taken. False, with
  /// `*data` untouched, when fewer than `RPCEstimationLeastItems` nodes are left, when a range is empty or
  /// reaches beyond -1 to 1, when `Steps` is out of its bounds, or when the model is empty.
  bool CreateReApproximationDataset(TRPCEstimationDataSetParams* params, TRPCEstimationDataSet* data) const;

  /// Writes a plain record of the refined model. Without refinement, or with a unity, that is the model's
  /// own; where the refinement only shifts, its biases are added to the offsets; otherwise coefficients are
  /// fitted by `EstimateRPC` to a grid of 11 nodes an axis or so (of 101, where that gives too few items),
  /// and offsets and scales kept. False when there are too few items, or the model is empty, `*rpc` then
  /// untouched, or when the fit fails: it then holds the model's own record. How far the result is from the
  /// refined model is told by `CalculateMaxCubeDifference`: where the denominators of line and sample differ
  /// much and the refinement turns by more than some 1e-4, a fit may keep poles within the cube and be of no
  /// use. `ExportClosely` comes nearer.
  bool Export(TRPCData* rpc) const;

  /// Writes a plain record of the refined model where there is one that equals it:
  /// - when the refinement has no tilt of line by sample nor drift of sample by line, offsets and scales take
  ///   it up (a negative factor turns the numerator's signs, the scale keeps its own);
  /// - when line and sample have the same denominator, coefficient by coefficient, the numerators take up any
  ///   refinement. Each scale becomes the reach that the refined image has in its direction.
  /// False, with `*rpc` untouched, when neither holds, when a factor or scale would be zero or not finite,
  /// and when the model is empty or a field of its record is unset.
  ///
  /// What is left is rounding: projections differ by less than `ExactExportBound` times the largest absolute
  /// value of the image coordinates, offsets and scales involved, as long as the denominators stay away from
  /// zero.
  bool ExportExactly(TRPCData* rpc) const;
  /// Relative: see `ExportExactly`.
  static constexpr double ExactExportBound = 1e-14;

  /// Writes the plain record that comes nearest: `ExportExactly` where that can; else offsets and scales
  /// embrace the refined image, in whole pixels, and coefficients that begin between the model's own are
  /// adapted (`AdaptRPC`) to a grid of 11 nodes an axis, as `CreateReApproximationDataset` lays it. The more
  /// the denominators of line and sample differ, and the further the refinement turns, the more is left: the
  /// result is true also when that is many pixels (see `CalculateMaxCubeDifference`). False, with `*rpc`
  /// untouched, where neither can.
  bool ExportClosely(TRPCData* rpc) const;

 private:
  /// Steps of a grid, its nodes even or closer towards the ends.
  struct TLayout {
    int Latitude;
    int Longitude;
    int Height;
    bool Even;
  };
  /// Nodes and the record that was fitted to them; where that failed, the model's own.
  struct TReApproximation {
    TRPCEstimationDataSet Data;
    TRPCData Record;
    bool Fits = false;
    double Miss = std::numeric_limits<double>::infinity();  ///< of other nodes, pixels
  };

  static std::int64_t NodeCount(const TLayout& layout);
  /// The nodes of so many steps, seen and so normalised; false, nothing written, when they are too few.
  bool SeeNodes(const TRPCEstimationDataSetParams& params, const TLayout& layout,
                const TLinearNormalization& line, const TLinearNormalization& sample,
                TRPCEstimationDataSet* data) const;
  /// Once the miss has reached the limit it is not followed further.
  TReApproximation FitTo(TRPCEstimationDataSet data, const TRPCEstimationDataSet& others, double limit) const;
  /// The nodes that `CreateReApproximationDataset` takes, and their fit.
  bool ReApproximate(const TRPCEstimationDataSetParams& params, TReApproximation* best) const;

  std::optional<TRPCRefinementAffine> refinement_;
};

}  // namespace SatCommonUtils
