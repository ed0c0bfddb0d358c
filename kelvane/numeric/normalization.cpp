#include "kelvane/numeric/normalization.h"

#include <string>

#include "kelvane/module/host/message.h"
#include "kelvane/module/host/string_tree.h"

namespace SatCommonUtils {

namespace {

enum TTreeIndex { OffsetIndex = 0, ScaleIndex = 1 };

}  // namespace

TLinearNormalization::TLinearNormalization(const double& offset, const double& scale) {
  if (!Reset(offset, scale)) {
    throw TKaMessage("TLinearNormalization::TLinearNormalization(const double&,const double&)");
  }
}

TLinearNormalization::TLinearNormalization(const double& i1, const double& i2, const double& n1,
                                           const double& n2) {
  if (!Reset(i1, i2, n1, n2)) {
    throw TKaMessage(
        "TLinearNormalization::TLinearNormalization(const double&, const double&, const double&, const "
        "double&)");
  }
}

TLinearNormalization::TLinearNormalization(TStringTree* src, int tag) {
  if (!Reset(src, tag)) {
    throw TKaMessage("TLinearNormalization::TLinearNormalization(TStringTree *src, int tag)");
  }
}

bool TLinearNormalization::Reset(const double& offset, const double& scale) {
  if (scale == 0.0) return false;
  offset_ = offset;
  scale_ = scale;
  return true;
}

bool TLinearNormalization::Reset(const double& i1, const double& i2, const double& n1, const double& n2) {
  const double normalized_span = n1 - n2;
  const double initial_span = i1 - i2;
  if (normalized_span == 0.0 || initial_span == 0.0) return false;
  return Reset((n1 * i2 - n2 * i1) / normalized_span, initial_span / normalized_span);
}

bool TLinearNormalization::Reset(TStringTree* src, int tag) {
  double offset = 0.0;
  double scale = 0.0;
  return src->GetDouble(tag, OffsetIndex, &offset) && src->GetDouble(tag, ScaleIndex, &scale) &&
         Reset(offset, scale);
}

bool TLinearNormalization::WriteToTree(TStringTree* tree, int tag, const char* prefix) const {
  const std::string start = prefix == nullptr ? std::string() : std::string(prefix) + ' ';
  return tree->InsertDouble(start + "offset", tag, OffsetIndex, offset_) &&
         tree->InsertDouble(start + "scale", tag, ScaleIndex, scale_);
}

}  // namespace SatCommonUtils
