/// \file
/// Records of refinements, second generation: a record knows its kind, and is made, copied and read by it.
///
/// Members that read or write XML let no exception out. The factories whose names end in E throw
/// `std::runtime_error` where they fail; those that end in N return an empty pointer there, and throw
/// nothing.
#pragma once

#include <cstddef>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/module/host/var_a.h"
#include "kelvane/refinement/affine_correction.h"
#include "kelvane/refinement/refinement_type.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtilsNext {

/// The parameters of a refinement of some kind. Virtual operations stand in the order of the interface.
class KELVANE_API TRPCRefinementData {
 public:
  virtual ~TRPCRefinementData();

  /// Sets the parameters that change nothing.
  virtual void InitializeUnity() = 0;
  /// Forgets the kind.
  virtual void Reset();
  /// Resets the record and reads its kind; one that is missing or unknown resets it again. A null reader only
  /// resets. Returns whether the record is usable.
  virtual bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes the kind (see `TRPCRefinementType::SaveToXML`).
  virtual bool SaveToXML(TKaXIniWriter* writer) const;
  /// `CreateCopyE`; empty where that throws.
  virtual var_a<TRPCRefinementData*> CreateCopyN() const;
  /// A new copy. A kind without one throws `std::runtime_error` "TRPCRefinementDataBase::CreateCopyE".
  virtual var_a<TRPCRefinementData*> CreateCopyE() const;
  /// Whether the record is usable: every parameter is set.
  explicit virtual operator bool() const = 0;
  /// Whether the parameters are exactly those that change nothing.
  virtual bool IsUnity() const = 0;
  /// Writes the parameters, in the order of their names, in place of what `*values` held; returns their
  /// count, 0 for a record that is not usable.
  virtual std::size_t GetParametersValues(std::vector<double>* values) const = 0;
  /// Prints kind and parameters through the host's `KaPrintDbgMsg`.
  virtual void DebugOutput() const;

  /// The kind; `Undefined` after `Reset`.
  const TRPCRefinementType& GetType() const { return type_; }

 protected:
  TRPCRefinementData() = default;
  /// By derived classes.
  explicit TRPCRefinementData(TRPCRefinementType::TType type) : type_(type) {}
  TRPCRefinementData(const TRPCRefinementData&) = default;
  TRPCRefinementData& operator=(const TRPCRefinementData&) = default;

  TRPCRefinementType type_;  ///< of the record; written by derived classes on reading
};

/// The affine correction of image coordinates (see `TAffineCorrection` for the six fields).
class KELVANE_API TRPCRefinementDataAffine : public TRPCRefinementData,
                                             public SatCommonUtils::TAffineCorrection {
 public:
  /// The unity.
  TRPCRefinementDataAffine() : TRPCRefinementData(TRPCRefinementType::Affine) {}
  /// The six numbers as they are, not checked.
  explicit TRPCRefinementDataAffine(const TAffineCorrection& correction)
      : TRPCRefinementData(TRPCRefinementType::Affine), TAffineCorrection(correction) {}

  void InitializeUnity() override;
  /// Unsets the six fields; the kind stays.
  void Reset() override;
  /// Reads the six keys, named as the fields; those that are missing, or no numbers, are left unset. A record
  /// without a kind is taken for affine; one of another kind is not read, and of no use. Returns whether the
  /// record is usable; a null reader leaves it reset.
  bool InitializeFromXML(TKaXIniReader* reader) override;
  /// Writes the kind, then the six keys; false at the first write that fails.
  bool SaveToXML(TKaXIniWriter* writer) const override;
  /// See `CreateRefinementDataCopyE`.
  var_a<TRPCRefinementData*> CreateCopyE() const override;
  /// True when the kind is affine and all six fields are set.
  explicit operator bool() const override;
  /// Whether the six are exactly those of the unity; the kind is not asked.
  bool IsUnity() const override;
  /// `LineDrift`, `LineTilt`, `LineBias`, `SampleDrift`, `SampleTilt`, `SampleBias`, which are called "A1",
  /// "A2", "A3", "B1", "B2", "B3".
  std::size_t GetParametersValues(std::vector<double>* values) const override;
  /// Prints the six values, framed by dashes, one message a line.
  void DebugOutput() const override;
};

/// A new record, the unity. Kinds other than affine throw "var_a<TRPCRefinementData*> CreateE(const
/// TRPCRefinementType& src)" (on one line).
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataE(TRPCRefinementType::TType type);
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataE(const TRPCRefinementType& type);
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataN(TRPCRefinementType::TType type);
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataN(const TRPCRefinementType& type);

/// A new copy of an affine record. Anything else throws "var_a<TRPCRefinementData*>
/// CreateRefinementDataCopyE(const TRPCRefinementData&)" (on one line).
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataCopyE(const TRPCRefinementData& src);
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataCopyN(const TRPCRefinementData& src);

/// A new record of the kind that stands in the current section, read from there. A null reader, a kind that
/// is missing, unknown or without records, and a record that is not usable throw "var_a<TRPCRefinementData*>
/// CreateFromXMLE(TKaXIniReader* XML_reader)" (on one line).
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataFromXMLE(TKaXIniReader* reader);
KELVANE_API var_a<TRPCRefinementData*> CreateRefinementDataFromXMLN(TKaXIniReader* reader);

}  // namespace SatCommonUtilsNext
