/// \file
/// What the factories of the second generation have in common (internal).
#pragma once

#include "kelvane/refinement/refinement_type.h"

namespace SatCommonUtilsNext {

/// The `var_a` that a factory makes, or an empty one where it throws.
template <class Create>
auto EmptyOnFailure(Create create) noexcept -> decltype(create()) {
  try {
    return create();
  } catch (...) {
    return nullptr;
  }
}

/// What `create` makes of the kind in the reader's current section, read from there; empty when the reader is
/// null, no kind is there, or nothing usable comes of it.
template <class Create>
auto CreateFromXML(TKaXIniReader* reader, Create create) noexcept -> decltype(create(TRPCRefinementType())) {
  return EmptyOnFailure([&]() -> decltype(create(TRPCRefinementType())) {
    TRPCRefinementType type;
    if (!type.InitializeFromXML(reader)) return nullptr;
    auto made = create(type);
    if (!made || !made->InitializeFromXML(reader)) return nullptr;
    return made;
  });
}

}  // namespace SatCommonUtilsNext
