#include "kelvane/refinement/affine_correction.h"

#include <algorithm>
#include <iterator>

#include "kelvane/module/host/runtime.h"
#include "kelvane/module/host/text.h"
#include "kelvane/refinement/affine_correction_xml.h"

namespace SatCommonUtils {

bool TAffineCorrection::IsUnity() const {
  constexpr TAffineCorrection unity;
  return std::all_of(
      std::begin(AffineCorrectionFields), std::end(AffineCorrectionFields),
      [&](const TAffineCorrectionField& field) { return this->*field.Value == unity.*field.Value; });
}

bool IsSet(const TAffineCorrection& correction) {
  return std::none_of(std::begin(AffineCorrectionFields), std::end(AffineCorrectionFields),
                      [&](const TAffineCorrectionField& field) {
                        return correction.*field.Value == TAffineCorrection::Unset;
                      });
}

void DebugOutputAffineCorrection(const TAffineCorrection& correction) {
  constexpr char Frame[] = "-------------------------------------------";
  constexpr char Between[] = "- - - - - - - - - - - - - - - - - - - - - -";
  KaPrintDbgMsg(Frame);
  for (const TAffineCorrectionField& field : AffineCorrectionFields) {
    if (field.Value == &TAffineCorrection::SampleBias) KaPrintDbgMsg(Between);
    KaPrintDbgMsg(Tessarin::ssprintf("%-14s%lg", field.Key, correction.*field.Value));
  }
  KaPrintDbgMsg(Frame);
}

bool TAffineCorrections::CalculateRefinedToRaw() {
  const TAffineCorrection& c = RawToRefined;
  T2DAffineParams inverse;
  if (!Invert2DAffineParams({c.LineDrift, c.LineTilt, c.LineBias, c.SampleDrift, c.SampleTilt, c.SampleBias},
                            &inverse)) {
    return false;
  }
  RefinedToRaw = AffineCorrectionOf(inverse);
  return true;
}

}  // namespace SatCommonUtils
