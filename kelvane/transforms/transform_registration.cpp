#include "kelvane/transforms/transform_registration.h"

#include <cstdint>

#include "kelvane/transforms/affine_transform_2d.h"

namespace SatCommonUtils {

namespace {

const char* AffineName() { return T2DAffineTransform().GetContentName(); }

std::int32_t use_count = 0;

}  // namespace

void U_InitTransforms_Initialize() {
  if (use_count == 0) {
    TKa2DTransform::TSerializer::RegisterName(AffineName(),
                                              &TKa2DTransform::TRegistrator<T2DAffineTransform>::CreateNewT);
  }
  ++use_count;
}

void U_InitTransforms_Finalize() {
  if (--use_count == 0) TKa2DTransform::TSerializer::UnregisterName(AffineName());
}

}  // namespace SatCommonUtils
