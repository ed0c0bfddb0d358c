/// An application with a host of its own: reads an RPB file, keeps the model in its own configuration, and
/// projects by both.
#include <cstdio>

#include "kelvane/module/host/message.h"
#include "kelvane/module/host/transform.h"
#include "kelvane/module/module.h"
#include "kelvane/numeric/raw_matrix.h"
#include "kelvane/rpc/rpc.h"
#include "own_host.h"

using SatCommonUtils::TRPC;

int main(int, char** argv) try {
  Init_Kelvane();
  SatCommonUtils::TRPCData record;
  double err_bias = 0.0;
  double err_rand = 1.0;
  if (!record.InitializeFromRPBFile(argv[1], &err_bias, &err_rand)) throw TKaMessage("no RPB file");
  const TRPC model(record, nullptr);
  TOwnWriter writer;
  if (!model.SaveToXML(&writer)) throw TKaMessage("not written");
  TKaXIniStreamReader reader(new_a<TKaStringStream>(writer.Text()), true, nullptr);
  const TRPC same(&reader);
  for (const TRPC* each : {&model, &same}) {
    double line = 0.0;
    double sample = 0.0;
    each->CalculateLineSample(41.8815, 12.583, 70.0, &line, &sample, nullptr, nullptr);
    std::printf("%.17g %.17g\n", line, sample);
  }
  std::printf("registered: %d\n", TKa2DTransform::TSerializer::CreateByName("sat_affine") ? 1 : 0);
  Deinit_Kelvane();
  std::printf("registered: %d\n", TKa2DTransform::TSerializer::CreateByName("sat_affine") ? 1 : 0);
  for (const std::string& message : OwnDbgMessages()) std::printf("%s\n", message.c_str());
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "%s\n", failure.what());
  return 1;
}
