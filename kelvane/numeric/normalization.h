/// \file
/// The affine map between a quantity and its normalised form.
#pragma once

#include "kelvane/module/export.h"

namespace SatCommonUtils {

class TStringTree;

/// Offset and scale: initial = normalized * scale + offset, normalized = (initial - offset) / scale.
/// Both quantities are in the unit of the initial one; the normalised value has none. The scale is never
/// zero; it may be negative, and any other number, NaN included, is taken as it is.
class KELVANE_API TLinearNormalization {
 public:
  /// The identity: offset 0, scale 1.
  TLinearNormalization() = default;

  /// Throws `TKaMessage` "TLinearNormalization::TLinearNormalization(const double&,const double&)" when
  /// the scale is 0.
  TLinearNormalization(const double& offset, const double& scale);

  /// The map that sends normalised `n1` to initial `i1` and `n2` to `i2`. Throws `TKaMessage`
  /// "TLinearNormalization::TLinearNormalization(const double&, const double&, const double&, const
  /// double&)" (on one line) when n1 - n2 or i1 - i2 is 0, or so small that the scale underflows to 0.
  TLinearNormalization(const double& i1, const double& i2, const double& n1, const double& n2);

  /// Reads offset (index 0) and scale (index 1) of the tag. Throws `TKaMessage`
  /// "TLinearNormalization::TLinearNormalization(TStringTree *src, int tag)" when either is missing, or
  /// when the scale is 0.
  TLinearNormalization(TStringTree* src, int tag);

  /// As the constructors, but false instead of an exception; the map then stays as it was.
  bool Reset(const double& offset, const double& scale);
  bool Reset(const double& i1, const double& i2, const double& n1, const double& n2);
  bool Reset(TStringTree* src, int tag);

  /// Inserts offset (index 0) and scale (index 1) under the tag, named "offset" and "scale"; with a
  /// `prefix` (may be null), each is preceded by it and a blank. False at the first insert that fails.
  bool WriteToTree(TStringTree* tree, int tag, const char* prefix) const;

  /// v · scale + offset.
  double Normalized2Initial(const double& v) const { return v * scale_ + offset_; }
  /// (v - offset) / scale.
  double Initial2Normalized(const double& v) const { return (v - offset_) / scale_; }

  /// In the unit of the initial values; the scale is never 0.
  double Offset() const { return offset_; }
  double Scale() const { return scale_; }

 private:
  double offset_ = 0.0;
  double scale_ = 1.0;
};

}  // namespace SatCommonUtils
