#include "kelvane/refinement/refinement_type.h"

#include <algorithm>
#include <iterator>

#include "kelvane/module/host/ini.h"

namespace SatCommonUtilsNext {

namespace {

constexpr char TypeKey[] = "RPCRefinementType";
constexpr char NameKey[] = "RPCRefinementTypeName";

struct TKind {
  TRPCRefinementType::TType Type;
  const char* Name;
  std::size_t ParametersCount;
  const char* ParametersNames[6];
};

constexpr TKind Kinds[] = {
    {TRPCRefinementType::Undefined, "Undefined", 0, {}},
    {TRPCRefinementType::Auto, "Auto", 0, {}},
    {TRPCRefinementType::Shift, "Shift", 2, {"dL", "dS"}},
    {TRPCRefinementType::Affine, "Affine", 6, {"A1", "A2", "A3", "B1", "B2", "B3"}},
    {TRPCRefinementType::None, "None", 0, {}},
};
constexpr TKind UnknownKind = {TRPCRefinementType::Undefined, "Unknown", 0, {}};

const TKind& KindOf(TRPCRefinementType::TType type) {
  const auto* const kind = std::find_if(std::begin(Kinds), std::end(Kinds),
                                        [type](const TKind& candidate) { return candidate.Type == type; });
  return kind == std::end(Kinds) ? UnknownKind : *kind;
}

}  // namespace

bool TRPCRefinementType::Setup(int type) {
  const bool is_kind = type >= Auto && type <= None;
  Value = is_kind ? static_cast<TType>(type) : Undefined;
  return is_kind;
}

bool TRPCRefinementType::InitializeFromXML(TKaXIniReader* reader) try {
  return reader != nullptr && Setup(reader->Read<int>(reader->FindF(TypeKey, 0), Undefined));
} catch (...) {
  return Setup(Undefined);
}

bool TRPCRefinementType::SaveToXML(TKaXIniWriter* writer) const try {
  return writer != nullptr && Value != Undefined && writer->WriteS<int>(TypeKey, Value) &&
         writer->WriteS<std::string>(NameKey, GetDebugName());
} catch (...) {
  return false;
}

std::string TRPCRefinementType::GetDebugName() const { return KindOf(Value).Name; }

std::string TRPCRefinementType::GetUserName() const { return GetDebugName(); }

std::size_t TRPCRefinementType::GetParametersCount() const { return KindOf(Value).ParametersCount; }

std::size_t TRPCRefinementType::GetParametersNames(std::vector<std::string>* names) const {
  const TKind& kind = KindOf(Value);
  names->assign(kind.ParametersNames, kind.ParametersNames + kind.ParametersCount);
  return names->size();
}

}  // namespace SatCommonUtilsNext
