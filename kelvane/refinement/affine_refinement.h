/// \file
/// The affine refinement of a sensor model's image coordinates, first generation: a record and its two
/// directions, without a kind. `TAdjustedRPC` takes these.
///
/// Raw coordinates are those that the model computes, refined ones those that are corrected; lines and
/// samples in pixels. Members that read or write XML let no exception out; reader and writer must not be
/// null.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/module/host/var_a.h"
#include "kelvane/refinement/affine_correction.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// The six coefficients, in the order `LineBias`, `LineDrift`, `LineTilt`, `SampleBias`, `SampleDrift`,
/// `SampleTilt`: refined line = LineDrift*line + LineTilt*sample + LineBias,
/// refined sample = SampleDrift*line + SampleTilt*sample + SampleBias. The default is the unity
/// (0, 1, 0, 0, 0, 1).
struct KELVANE_API TRPCRefinementDataAffine : TAffineCorrection {
  /// Reads the six keys, named as the fields, in their order, from the current section. False when one is
  /// missing or no number: the fields before it have then been overwritten.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes the six keys; false at the first write that fails.
  bool SaveToXML(TKaXIniWriter* writer) const;

  /// A new copy; throws `std::bad_alloc`.
  var_a<TRPCRefinementDataAffine*> CreateCopyE() const;
  /// The same; empty where the other throws.
  var_a<TRPCRefinementDataAffine*> CreateCopyN() const;

  /// True when it only shifts: the four factors are exactly 1, 0, 0, 1, the biases any. So is the unity.
  bool IsBias() const;

  /// Prints the six values through the host's `KaPrintDbgMsg`, framed by dashes, one message a line.
  void DebugOutput() const;
};

/// A refinement at work. The two directions are unset (`TAffineCorrection::Unset` in all twelve coefficients)
/// until they are given. Nothing is checked when coordinates are corrected. Safe to use from several threads
/// while none of them changes it.
class KELVANE_API TRPCRefinementAffine {
 public:
  /// Unset.
  TRPCRefinementAffine() = default;
  /// Throws `std::runtime_error` "TRPCRefinementAffine::TRPCRefinementAffine(const TRPCRefinementDataAffine&
  /// src)" (on one line) when the correction is singular (see `Invert2DAffineParams`). Whether it is set and
  /// finite is not checked, here and below: the way back of one that is not has no use.
  explicit TRPCRefinementAffine(const TRPCRefinementDataAffine& src);

  /// Takes the correction and derives the way back; false, and the way back stays, when it is singular.
  bool Setup(const TRPCRefinementDataAffine& data);
  /// Take one direction, and leave the other as it is.
  void SetRawToRefinedCoefs(const TRPCRefinementDataAffine& data);
  void SetRefinedToRawCoefs(const TRPCRefinementDataAffine& data);
  /// The coefficients from raw to refined, and those back, set or not.
  void GetRefinementData(TRPCRefinementDataAffine* data) const;
  void GetRefinedToRawCoefs(TRPCRefinementDataAffine* data) const;
  /// Derives the way back anew; false, and it stays, when the correction is singular.
  bool CalculateRefinedToRawCoefs();
  /// Unsets both directions.
  void Reset();

  /// Correct a pair of coordinates. The results' places may be those of the coordinates.
  void RawToRefined(const double& line, const double& sample, double* refinedLine,
                    double* refinedSample) const {
    Correct(corrections_.RawToRefined, line, sample, refinedLine, refinedSample);
  }
  void RefinedToRaw(const double& line, const double& sample, double* rawLine, double* rawSample) const {
    Correct(corrections_.RefinedToRaw, line, sample, rawLine, rawSample);
  }

  /// Reads section "RawToRefined", a record, and "RefinedToRaw", another, as it stands; where that one cannot
  /// be read the way back is derived. False, unchanged, when the first cannot be read; false, with the first
  /// taken, when it must be inverted and has no inverse.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes both sections; false at the first failure.
  bool SaveToXML(TKaXIniWriter* writer) const;

 private:
  TAffineCorrections corrections_;
};

}  // namespace SatCommonUtils
