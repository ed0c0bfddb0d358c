/// \file
/// The kinds of refinements, with their names and parameters (second generation).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kelvane/module/export.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtilsNext {

/// The kind of a refinement. Of the kinds, only `Affine` has a record and a transform here; the others are
/// passed through for the host. Members that read or write XML let no exception out.
struct KELVANE_API TRPCRefinementType {
  /// The number is that of `RPCRefinementType` in XML.
  enum TType : std::int32_t { Undefined = -1, Auto = 0, Shift = 1, Affine = 2, None = 3 };

  TType Value = Undefined;  ///< any number that was read, not only those above

  TRPCRefinementType() = default;
  /// Takes the number as it is.
  explicit TRPCRefinementType(TType type) : Value(type) {}

  /// Takes a kind from 0 to 3. False for any other number: the kind is then `Undefined`.
  bool Setup(int type);
  /// The same with the number under "RPCRefinementType"; false, `Undefined`, also when there is none. False,
  /// unchanged, for a null reader.
  bool InitializeFromXML(TKaXIniReader* reader);
  /// Writes the number under "RPCRefinementType", then the name under "RPCRefinementTypeName"; false at the
  /// first write that fails. False, with nothing written, for `Undefined` and for a null writer.
  bool SaveToXML(TKaXIniWriter* writer) const;

  /// "Undefined", "Auto", "Shift", "Affine", "None"; "Unknown" for any other number.
  std::string GetDebugName() const;
  /// The same name.
  std::string GetUserName() const;

  /// How many parameters the kind has: 2 for `Shift`, 6 for `Affine`, else 0.
  std::size_t GetParametersCount() const;
  /// Writes the names of the parameters in place of what `*names` held: "dL", "dS"; or "A1", "A2", "A3",
  /// "B1", "B2", "B3". Returns their count.
  std::size_t GetParametersNames(std::vector<std::string>* names) const;
};

}  // namespace SatCommonUtilsNext
