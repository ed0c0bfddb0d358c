/// \file
/// Ground points as the commands take and give them.
#pragma once

#include "kelvane/rpc/rpc_data.h"

namespace app {

/// The same longitude in the turn that lies within 180 degrees of the model's offset.
double InModelsTurn(double longitude, const SatCommonUtils::TRPCData& model);

/// The same longitude in (-180, 180].
double WithinHalfTurn(double longitude);

/// Null when the model can be asked about this place; else why not. Beyond a few of its scales the cubic
/// terms outweigh what was fitted; ten is past any use, and catches swapped columns.
const char* OutOfReach(double latitude, double longitude, const SatCommonUtils::TRPCData& model);

}  // namespace app
