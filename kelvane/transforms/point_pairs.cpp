#include "kelvane/transforms/point_pairs.h"

#include <string>

#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/text.h"

namespace SatCommonUtils {

void DebugOutput(const std::vector<T2DTransformParamsSourceDataItem>& points) {
  constexpr std::size_t LongestText = 127;
  for (const T2DTransformParamsSourceDataItem& point : points) {
    const std::string text = Tessarin::ssprintf("Xfrom=%20.3lf Yfrom=%20.3lf Xto=%20.3lf Yto=%20.3lf",
                                                point.Xfrom, point.Yfrom, point.Xto, point.Yto);
    KaPrintDbgMsg(text.substr(0, LongestText));
  }
}

}  // namespace SatCommonUtils
