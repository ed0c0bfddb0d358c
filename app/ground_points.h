/// \file
/// Ground points as the commands take and give them.
#pragma once

#include "kelvane/rpc/rpc_data.h"

namespace app {

/// Null when the model can be asked about this place; else why not. Beyond a few of its scales the cubic
/// terms outweigh what was fitted; ten are past any use, and catch swapped columns. Heights hardly bend a
/// model, and some cover no more than a plain: they have a hundred.
const char* OutOfReach(double latitude, double longitude, double height,
                       const SatCommonUtils::TRPCData& model);

}  // namespace app
