/// \file
/// Refinements at work, second generation: both directions between raw coordinates, which a model computes,
/// and refined ones. Lines and samples in pixels.
///
/// Members that read or write XML let no exception out. The factories whose names end in E throw
/// `std::runtime_error` where they fail; those that end in N return an empty pointer there, and throw
/// nothing.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/module/host/var_a.h"
#include "kelvane/refinement/affine_correction.h"
#include "kelvane/refinement/refinement_data.h"
#include "kelvane/refinement/refinement_type.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtilsNext {

/// A refinement of some kind. Virtual operations stand in the order of the interface.
class KELVANE_API TRPCRefinementBase {
 public:
  virtual ~TRPCRefinementBase();

  /// Forgets the kind.
  virtual void Reset();
  /// Correct a pair of coordinates; whether the transform is usable is not asked.
  virtual void RawToRefined(const double& line, const double& sample, double* refinedLine,
                            double* refinedSample) const = 0;
  virtual void RefinedToRaw(const double& line, const double& sample, double* rawLine,
                            double* rawSample) const = 0;
  /// A new record of the correction; empty when the transform is not usable.
  virtual var_a<TRPCRefinementData*> GetRefinementData() const = 0;
  /// Reads the kind (see `TRPCRefinementType::InitializeFromXML`).
  virtual bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes the kind (see `TRPCRefinementType::SaveToXML`).
  virtual bool SaveToXML(TKaXIniWriter* writer) const;
  /// Whether the correction is exactly one that changes nothing.
  virtual bool IsUnity() const = 0;
  /// Whether there is a kind.
  explicit virtual operator bool() const;

  /// The kind; `Undefined` after `Reset`.
  const TRPCRefinementType& GetType() const { return type_; }

 protected:
  /// By derived classes.
  explicit TRPCRefinementBase(TRPCRefinementType::TType type) : type_(type) {}
  TRPCRefinementBase(const TRPCRefinementBase&) = default;
  TRPCRefinementBase& operator=(const TRPCRefinementBase&) = default;

 private:
  TRPCRefinementType type_;
};

/// The affine refinement. Usable, to `operator bool`, is only one that was read from XML: one that was built
/// from a record corrects coordinates just as well, but answers false, and so gives no record and copies as
/// unset. That it was read is remembered until a read fails: after `Reset`, `Setup` makes it usable again.
/// The twelve coefficients of an unset transform are `SatCommonUtils::TAffineCorrection::Unset`. Safe to use
/// from several threads while none of them changes it.
class KELVANE_API TRPCRefinementAffine : public TRPCRefinementBase {
 public:
  /// Unset.
  TRPCRefinementAffine() : TRPCRefinementBase(TRPCRefinementType::Affine) {}
  /// Throws `std::runtime_error` "TRPCRefinementAffine::TRPCRefinementAffine(const
  /// TRPCRefinementDataAffine&)" when the correction is singular (see `Invert2DAffineParams`). Whether it is
  /// set and finite is not checked, here and below: the way back of one that is not has no use.
  explicit TRPCRefinementAffine(const TRPCRefinementDataAffine& data);
  /// Takes the coefficients of a usable source; of another one it takes nothing. The copy is not usable to
  /// `operator bool`: it was not read.
  TRPCRefinementAffine(const TRPCRefinementAffine& src);
  TRPCRefinementAffine& operator=(const TRPCRefinementAffine&) = default;

  /// Takes the correction and derives the way back; false, and the way back stays, when it is singular.
  bool Setup(const TRPCRefinementDataAffine& data);
  /// Take one direction, and leave the other as it is.
  void SetRawToRefinedCoefs(const TRPCRefinementDataAffine& data);
  void SetRefinedToRawCoefs(const TRPCRefinementDataAffine& data);
  /// The coefficients of the way back, set or not.
  void GetRefinedToRawCoefs(TRPCRefinementDataAffine* data) const;
  /// The coefficients from raw to refined; false, with nothing written, when `data` is null or the transform
  /// is not usable.
  bool GetRefinementData(TRPCRefinementDataAffine* data) const;
  /// Derives the way back anew; false, and it stays, when the correction is singular.
  bool CalculateRefinedToRawCoefs();

  /// Unsets the twelve coefficients; that the transform was read is not forgotten.
  void Reset() override;
  /// By the six coefficients of its direction, in pixels.
  void RawToRefined(const double& line, const double& sample, double* refinedLine,
                    double* refinedSample) const override;
  void RefinedToRaw(const double& line, const double& sample, double* rawLine,
                    double* rawSample) const override;
  /// An affine record of the direction from raw to refined.
  var_a<TRPCRefinementData*> GetRefinementData() const override;
  /// Reads the kind, which may be missing; section "RawToRefined", an affine record; and "RefinedToRaw",
  /// another, as it stands. Where that one cannot be read the way back is derived. False, with the transform
  /// unset and not usable, when the kind is another one, the first section cannot be read, or the correction
  /// must be inverted and has no inverse; also for a null reader.
  bool InitializeFromXML(TKaXIniReader* reader) override;
  /// Writes the kind and both sections; false at the first failure.
  bool SaveToXML(TKaXIniWriter* writer) const override;
  /// Whether the direction from raw to refined is exactly the unity.
  bool IsUnity() const override;
  /// True when the transform was read and none of its coefficients is unset.
  explicit operator bool() const override;

 private:
  /// The kind as it was read; `Undefined` otherwise.
  TRPCRefinementType read_type_;
  SatCommonUtils::TAffineCorrections corrections_;
};

/// A new transform, unset. Kinds other than affine throw "var_a<TRPCRefinementBase*>
/// CreateRefinementE(TRPCRefinementType::TType type)" (on one line).
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementE(TRPCRefinementType::TType type);
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementType& type);
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementN(TRPCRefinementType::TType type);
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementN(const TRPCRefinementType& type);

/// A transform of an affine record; throws as its constructor does. Records of another kind throw
/// "var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementData& src)".
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementE(const TRPCRefinementData& src);
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementN(const TRPCRefinementData& src);

/// A copy of an affine transform, as its copy constructor makes it; any other throws
/// "var_a<TRPCRefinementBase*> CreateRefinementCopyE(const TRPCRefinementBase& src)".
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementCopyE(const TRPCRefinementBase& src);
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementCopyN(const TRPCRefinementBase& src);

/// A new transform of the kind that stands in the current section, read from there. A null reader, a kind
/// that is missing, unknown or without transforms, and a transform that cannot be read throw
/// "var_a<TRPCRefinementBase*> CreateRefinementFromXMLE(TKaXIniReader* from_xml)".
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementFromXMLE(TKaXIniReader* reader);
KELVANE_API var_a<TRPCRefinementBase*> CreateRefinementFromXMLN(TKaXIniReader* reader);

}  // namespace SatCommonUtilsNext
