#include "kelvane/rpc/rpc1.h"

#include <string>

#include "kelvane/module/host/ini.h"
#include "kelvane/numeric/linear_solvers.h"

namespace SatCommonUtils {

namespace {

using TCoefficients = double[TRPC1Params::CoefficientCount];

struct TCoefficientSet {
  const char* Key;
  TCoefficients TRPC1Params::*Values;
};

/// In the order of the form.
constexpr TCoefficientSet Sets[] = {
    {"LineNum", &TRPC1Params::LineNum},
    {"LineDenom", &TRPC1Params::LineDenom},
    {"SampleNum", &TRPC1Params::SampleNum},
    {"SampleDenom", &TRPC1Params::SampleDenom},
};

std::string Key(const TCoefficientSet& set, std::size_t k) { return set.Key + std::to_string(k); }

double Linear(const TCoefficients& c, double X, double Y, double Z) {
  return c[0] * X + c[1] * Y + c[2] * Z + c[3];
}

}  // namespace

bool TRPC1Params::InitializeFromXML(TKaXIniReader* reader) try {
  for (const TCoefficientSet& set : Sets) {
    for (std::size_t k = 0; k < CoefficientCount; ++k) {
      (this->*set.Values)[k] = reader->ReadE<double>(reader->FindFE(Key(set, k), 0));
    }
  }
  return true;
} catch (...) {
  return false;
}

bool TRPC1Params::SaveToXML(TKaXIniWriter* writer) const try {
  for (const TCoefficientSet& set : Sets) {
    for (std::size_t k = 0; k < CoefficientCount; ++k) {
      if (!writer->WriteS<double>(Key(set, k), (this->*set.Values)[k])) return false;
    }
  }
  return true;
} catch (...) {
  return false;
}

bool TRPC1::InitializeFromXML(TKaXIniReader* reader) {
  TRPC1Params params;
  if (!params.InitializeFromXML(reader)) return false;
  params_ = params;
  return true;
}

void TRPC1::CalculateLineSample(const double& X, const double& Y, const double& Z, double* line,
                                double* sample) const {
  // The outputs may be the variables of the inputs.
  const double x = X;
  const double y = Y;
  const double z = Z;
  *line = Linear(params_.LineNum, x, y, z) / Linear(params_.LineDenom, x, y, z);
  *sample = Linear(params_.SampleNum, x, y, z) / Linear(params_.SampleDenom, x, y, z);
}

bool TRPC1::CalculateXY(const double& line, const double& sample, const double& Z, double* X,
                        double* Y) const {
  const TCoefficients& ln = params_.LineNum;
  const TCoefficients& ld = params_.LineDenom;
  const TCoefficients& sn = params_.SampleNum;
  const TCoefficients& sd = params_.SampleDenom;
  // Both ratios multiplied out.
  return SolveEquationsSet(ld[0] * line - ln[0], ld[1] * line - ln[1],           //
                           sd[0] * sample - sn[0], sd[1] * sample - sn[1],       //
                           (ln[2] - ld[2] * line) * Z + (ln[3] - ld[3] * line),  //
                           (sn[2] - sd[2] * sample) * Z + (sn[3] - sd[3] * sample), X, Y);
}

}  // namespace SatCommonUtils
