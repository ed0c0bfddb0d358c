/// \file
/// The version of the library.
#pragma once

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// The version of the library that is loaded, such as "1.4.2": never null, and lives as long as the process.
/// The first number moves when a program built against an older version would break; before 1.0, the
/// second.
KELVANE_API const char* KelvaneVersion();

}  // namespace SatCommonUtils
