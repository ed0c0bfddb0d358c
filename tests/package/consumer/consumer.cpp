/// A program outside the tree: the library on its reference host, installed.
#include <cstdio>

#include "host/ini_xml.h"
#include "host/runtime.h"
#include "kelvane/module/module.h"
#include "kelvane/module/version.h"
#include "kelvane/rpc/rpc_batch.h"

int main(int, char** argv) {
  using namespace SatCommonUtils;
  Init_Kelvane();
  TRPCData record;
  double err_bias = 0.0;
  double err_rand = 1.0;
  if (!record.InitializeFromRPBFile(argv[1], &err_bias, &err_rand)) return 1;
  const TRPC model(record, nullptr);
  TKaXIniXmlWriter writer;
  const var_a<TKaStream*> stream = new_a<TKaStringStream>();
  if (!model.SaveToXML(&writer) || !writer.Save(stream.get())) return 1;
  TKaXIniStreamReader reader(stream, true, nullptr);
  TRPC same(&reader);
  const double lat = 41.8815;
  const double lon = 12.583;
  const double h = 70.0;
  double line = 0.0;
  double sample = 0.0;
  if (CalculateLineSamples(same, 1, &lat, &lon, &h, &line, &sample) != 0) return 1;
  std::printf("%s %s\n%.3f %.3f\n", KelvaneVersion(), KaHostName(), line, sample);
  Deinit_Kelvane();
  return KaDataContainerUsers();
}
