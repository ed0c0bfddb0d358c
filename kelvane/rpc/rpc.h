/// \file
/// The rational polynomial sensor model.
///
/// Notation: P, L, H are latitude, longitude and height normalised with the model's offsets and scales;
/// line (row) and sample (column) are the image coordinates. Ground points are (latitude, longitude,
/// height) in degrees and metres above the ellipsoid, image points (line, sample) in pixels, the centre of
/// the first pixel at (0, 0).
#pragma once

#include <array>
#include <functional>
#include <optional>

#include "kelvane/geometry/polygon.h"
#include "kelvane/module/export.h"
#include "kelvane/module/host/var_a.h"
#include "kelvane/numeric/normalization.h"
#include "kelvane/rpc/rpc_data.h"

namespace SatCommonUtils {

struct TLineSample;
class TPairRatio;

/// How an inverse projection ended, and what inverse projections promise. The bounds hold for image points
/// whose ground lies in the model's normalised cube (P, L and H from -1 to 1), where the model can be
/// inverted at all, with scales of up to 40 000 pixels and of at least a thousandth of a degree: what an
/// iteration leaves is in proportion to the former, what the rounding of degrees leaves to the latter.
struct TRPCInverse {
  static constexpr int MaxIterations = 10;  ///< systems solved at most
  /// The iteration ends at a correction of at most this Euclidean norm, in normalised units.
  static constexpr double StepTolerance = 1e-10;
  /// The sum of squares of the largest such correction, whose root is taken in extended precision and
  /// rounded.
  static constexpr double LargestStepSquares = 0x1.79ca10c924224p-67;
  /// Pixels by which the image of what `TRPC::CalculateLatLon` gives may miss the given point, by line and
  /// by sample.
  static constexpr double RoundTripBound = 5e-6;
  /// The same of `TRPC::SolveLatLon`.
  static constexpr double SolvedRoundTripBound = 1e-6;

  bool Converged = false;  ///< a correction came within the tolerance
  int Iterations = 0;      ///< systems solved, 1 to 10
  double LastStep = 0.0;   ///< norm of the last correction, normalised; NaN when its system had no solution
  double Residual = 0.0;  ///< pixels between the given image point and that of the answer; NaN if it has none

  /// A residual beyond this, in pixels, says that there is no such ground point.
  static constexpr double LargestResidual = 1e-3;
  bool IsAnswer() const { return Residual <= LargestResidual; }
};

/// A height surface: metres above the ellipsoid at a latitude and longitude in degrees, or none where it has
/// a hole; a height that is not finite counts for none.
using TRPCHeightSurface = std::function<std::optional<double>(double lat, double lon)>;

/// A model is empty (after the default constructor, `Reset`, or a `SetRPCData` that threw) or loaded. An
/// empty model must not project. A loaded one may be read from several threads at once.
class KELVANE_API TRPC {
 public:
  /// An empty model.
  TRPC();
  /// The model of a record, with a margin where that is given and usable; raster size 0 by 0. `data` must
  /// not be null, `margin` may be. Throws as `SetRPCData`.
  TRPC(const TRPCData* data, const TPolygon* margin);
  TRPC(const TRPCData& data, const TPolygon* margin);
  /// The model that stands in the reader's current section, through the virtual `InitializeFromXML`. Throws
  /// `std::runtime_error` "TRPC::TRPC(TKaXIniReader *src)" when that fails, and what it lets out.
  explicit TRPC(TKaXIniReader* src);
  TRPC(const TRPC&) = delete;
  TRPC& operator=(const TRPC&) = delete;

  virtual ~TRPC();

  /// A new model of the same record, margin and raster size; approximation and inverted model are not
  /// copied. Empty when the copy fails, as that of an empty model does.
  virtual var_a<TRPC*> CreateVCopy() const;

  /// Ground to image. `dLine` and `dSample` (each null or an array of three) receive the derivatives by
  /// latitude and longitude (pixels per degree) and by height (pixels per metre). Where a denominator is
  /// zero the results are infinities or NaN, as the division gives them.
  virtual void CalculateLineSample(const double& lat, const double& lon, const double& h, double* line,
                                   double* sample, double* dLine, double* dSample) const;

  /// Image and height (metres) to ground (degrees), by Gauss-Newton iteration on the rational polynomials
  /// from where the approximation sees the point (J. Grodecki, G. Dial, "Block adjustment of
  /// high-resolution satellite images described by rational polynomials", PERS 69(1), 2003, has the model;
  /// the iteration is that of least squares). The outputs are written in every case. False when a step had
  /// no solution: they hold the last iterate then. True says that the last step had one, not that the
  /// iteration converged: it ends after `TRPCInverse::MaxIterations` too. The correction that meets
  /// `TRPCInverse::StepTolerance` is not applied; the round trip stays within `TRPCInverse::RoundTripBound`.
  /// A caller that wants to know uses `SolveLatLon`. Longitudes come in the turn of the model's offset.
  virtual bool CalculateLatLon(const double& line, const double& sample, const double& h, double* lat,
                               double* lon) const;

  /// Reads the model from the current section: the record; section "Margin"; "RasterWidth" and
  /// "RasterHeight"; section "Approximation". All but the record may be absent. False when the record
  /// cannot be read, the model then as it was, or when a section cannot be left. The only exception let
  /// out is that of `SetRPCData` for a zero scale.
  virtual bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes the model into the current section; false on failure, as for an empty model.
  virtual bool SaveToXML(TKaXIniWriter* writer) const;

  /// Takes a record in place of what the model held. Margin, raster size and approximation are dropped;
  /// the inverted model is not. Throws `TKaMessage`
  /// "TLinearNormalization::TLinearNormalization(const double&,const double&)" when a scale is zero; the
  /// model is then empty. Whether the record's fields are set is not asked.
  void SetRPCData(const TRPCData& data);
  /// The model's record; that of an empty model is unset.
  void GetRPCData(TRPCData* out) const;

  /// Ground to image in normalised coordinates. `dLine` and `dSample` (each null or an array of three)
  /// receive the derivatives by P, L and H.
  void CalculateLineSampleNormalized(const double& P, const double& L, const double& H, double* line,
                                     double* sample, double* dLine, double* dSample) const;

  /// The same iteration as `CalculateLatLon`, on this class's polynomials, with the last correction applied
  /// and each step solved as the square system that it is; tells how it ended. The outputs are written in
  /// every case, with the last iterate where it did not converge: the residual decides whether that is an
  /// answer. A model that several threads share must have its approximation first.
  virtual TRPCInverse SolveLatLon(double line, double sample, double h, double* lat, double* lon) const;
  /// `CalculateLatLon` with all five values normalised. False also, with the outputs untouched, when there
  /// is no approximation and none can be made.
  bool CalculateLatLonNormalized(const double& line, const double& sample, const double& h, double* lat,
                                 double* lon) const;

  /// The approximation: line and sample as linear-fractional functions of latitude, longitude (degrees) and
  /// height (metres). It is made at most once for a record, by whichever of these functions, or of the
  /// inverse ones, needs it first; that call writes to the model and must not run beside another on it. All
  /// of them need a loaded model.
  ///
  /// Makes it anew from a grid of n nodes an axis, at -1, -1 + 2/n, ... in normalised coordinates, through
  /// the virtual `CalculateLineSample`. Where it misses a node by 1000 pixels or more, affine functions take
  /// its place. Throws the C string of `TOverdefinedLinearSystem` for n < 2, the model then without one.
  bool CreateApproximation(int n) const;
  /// The nodes an axis of an approximation that is made on demand.
  static constexpr int ApproximationNodes = 5;
  /// Makes it, with n = 5, unless there is one.
  bool EnsureApproximation() const;
  /// Copies four coefficients each (latitude, longitude, height, free term).
  bool GetApproximation(double* lineNum, double* lineDenom, double* sampleNum, double* sampleDenom) const;
  /// The two fractions at a ground point, as the divisions give them.
  void CalculateLineSampleApproximately(const double& lat, const double& lon, const double& h, double* line,
                                        double* sample) const;
  /// Solves the two fractions for latitude and longitude; both are 0 when that system is singular.
  void CalculateLatLonApproximately(const double& line, const double& sample, const double& h, double* lat,
                                    double* lon) const;

  /// Estimates the inverse of the model (`EstimateInvertedRPC`) and keeps it, in place of one that it had;
  /// false, and none is kept, when that fails. Not beside other calls on this model.
  bool CreateInvertedRPC(int gridSteps) const;
  /// The inverse that is kept, or an empty pointer: a model that takes (line, sample, height) for latitude,
  /// longitude and height, and gives latitude as line, longitude as sample.
  var_a<TRPC*> GetInvertedRPC() const;

  /// The ground point of an image point in each of two models; see `CalculateLatLonH` in ground_solution.h.
  /// Throws `std::runtime_error` "TRPC::CalculateLatLonH" where that is false, the outputs as it leaves them.
  static void CalculateLatLonH(const TRPC& a, const double& lineA, const double& sampleA, const TRPC& b,
                               const double& lineB, const double& sampleB, double* lat, double* lon,
                               double* h);
  /// The same from the approximations; throws "TRPC::CalculateLatLonHApproximately", nothing written then.
  static void CalculateLatLonHApproximately(const TRPC& a, const double& lineA, const double& sampleA,
                                            const TRPC& b, const double& lineB, const double& sampleB,
                                            double* lat, double* lon, double* h);

  /// Where the ray of an image point meets a height surface: a ground point (degrees, metres) whose height is
  /// the surface's there within `HeightTolerance`, or lies on the face of a step of the surface, or of the
  /// ray where that jumps. The ray is that of the virtual `CalculateLatLon`. The search begins at the height
  /// offset (in a hole, half a scale below or above it), goes to the surface's height there, and so on; once
  /// it has been on both sides of the surface it closes in between them, halving where the steps from side to
  /// side do not shrink. Of several meetings it finds one, not always the highest; one where the surface
  /// rises along the ray as steeply as the ray itself may be missed. The surface is asked at most
  /// `MaxSurfaceLookups` times. False, with nothing written, when that ends without a meeting: the surface is
  /// not reached, or has holes on the way, or the ray has no point there. Throws `TKaMessage`
  /// "TRPC::CalculateLatLonNormalizedAlt debug check failure", with nothing written, when the image of the
  /// point found misses the given one by more than `SurfaceCheckBound`, as where the inverse does not
  /// converge; what the surface throws passes through.
  bool CalculateLatLonAlt(const double& line, const double& sample, const TRPCHeightSurface& surface,
                          double* lat, double* lon, double* h) const;
  /// The same with image point and ground point normalised, on this class's polynomials; the surface is asked
  /// and answers in degrees and metres.
  bool CalculateLatLonNormalizedAlt(const double& line, const double& sample,
                                    const TRPCHeightSurface& surface, double* lat, double* lon,
                                    double* h) const;
  /// For one image point; each lookup costs an inverse projection, too.
  static constexpr int MaxSurfaceLookups = 100;
  static constexpr double HeightTolerance = 1e-6;    ///< metres
  static constexpr double SurfaceCheckBound = 1e-3;  ///< pixels, by line and by sample

  /// Sets the size of the raster, in pixels; false, unchanged, unless both are at least 1.
  bool SetRasterDims(int width, int height);
  /// The size of the raster; false, nothing written, when none is set. With a null pointer nothing is
  /// written, and the result still tells.
  bool GetRasterDims(int* width, int* height) const;
  /// The margin (x sample, y line, pixels); false, `*out` unchanged, when none is set.
  bool GetMargin(TPolygon* out) const;

  /// Empties the model. The inverted model stays.
  void Reset();

 protected:
  /// Offsets and scales of the record, as the projections use them.
  struct TNormalizations {
    TLinearNormalization Line;       ///< pixels
    TLinearNormalization Sample;     ///< pixels
    TLinearNormalization Latitude;   ///< degrees
    TLinearNormalization Longitude;  ///< degrees
    TLinearNormalization Height;     ///< metres
  };

  /// Null while the model is empty.
  const TNormalizations* Normalizations() const { return normalizations_ ? &*normalizations_ : nullptr; }

 private:
  static constexpr std::size_t ApproximationSize = 16;

  struct TNormalizedPosition {
    double P;
    double L;
  };

  TPairRatio Ratio() const;
  /// Where the approximation sees a normalised image point at a normalised height.
  TNormalizedPosition StartLatLon(double line, double sample, double h) const;
  TLineSample Project(double P, double L, double H) const;
  TLineSample ProjectWithDerivatives(double P, double L, double H, double* dLine, double* dSample) const;
  /// Derivatives by normalised ground coordinates of a normalised image coordinate, made real.
  void ToPixels(double* derivatives, double scale) const;
  void ReadMargin(TKaXIniReader* reader);
  bool ReadApproximation(TKaXIniReader* reader);
  bool SaveMargin(TKaXIniWriter* writer) const;
  bool SaveApproximation(TKaXIniWriter* writer) const;

  /// Coefficient k of the line beside that of the sample: the two are evaluated side by side.
  alignas(16) double numerators_[TRPCData::CoefficientCount][2] = {};
  alignas(16) double denominators_[TRPCData::CoefficientCount][2] = {};
  /// None while the model is empty.
  std::optional<TNormalizations> normalizations_;
  TPolygon margin_;
  int raster_width_ = 0;
  int raster_height_ = 0;
  /// Two linear-fractional functions of latitude, longitude, height: see the keys in the source.
  mutable std::array<double, ApproximationSize> approximation_ = {};
  mutable bool approximation_valid_ = false;
  mutable var_a<TRPC*> inverted_;
};

}  // namespace SatCommonUtils
