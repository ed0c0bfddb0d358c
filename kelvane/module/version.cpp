#include "kelvane/module/version.h"

namespace SatCommonUtils {

const char* KelvaneVersion() { return KELVANE_VERSION; }

}  // namespace SatCommonUtils
