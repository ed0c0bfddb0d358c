/// \file
/// Ground points as the commands take and give them.
#pragma once

#include "kelvane/rpc/rpc_data.h"

namespace app {

/// A longitude in the turn of the model's offset, and as it is given out, in (-180, 180]. Both leave alone
/// what is no longitude: an inverse model has samples there.
double InModelsTurn(double longitude, const SatCommonUtils::TRPCData& model);
double ForOutput(double longitude, const SatCommonUtils::TRPCData& model);

/// Null when the model can be asked about this place; else why not. Beyond a few of its scales the cubic
/// terms outweigh what was fitted; ten are past any use, and catch swapped columns. Heights hardly bend a
/// model, and some cover no more than a plain: they have a hundred.
const char* OutOfReach(double latitude, double longitude, double height,
                       const SatCommonUtils::TRPCData& model);

}  // namespace app
