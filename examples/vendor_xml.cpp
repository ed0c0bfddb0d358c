// Reads the model from the XML document in which an image's provider delivers it.
//
// $ vendor_xml samples/isd.xml
// satellite WV03, band Multi, errBias 1.49 m
// line 648.185, sample 1016.609
#include <cstdio>
#include <string>

#include "kelvane/module/module.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_vendor_xml.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 2) return 2;
  Init_Kelvane();

  TKaFileStream file;
  TRPCData record;
  TRPBHeader header;
  std::string problem;
  if (!file.Open(TKaPath(argv[1]), kaOpenRead, kaShareAll) ||
      !ReadVendorXml(&file, &record, &header, &problem)) {
    std::fprintf(stderr, "%s: %s\n", argv[1], problem.c_str());
    return 1;
  }
  std::printf("satellite %s, band %s, errBias %.2f m\n", header.SatId.value_or("unknown").c_str(),
              header.BandId.value_or("unknown").c_str(), header.ErrBias.value_or(0.0));

  const TRPC model(record, nullptr);
  double line = 0.0;
  double sample = 0.0;
  model.CalculateLineSample(41.8815, 12.583, 70.0, &line, &sample, nullptr, nullptr);
  std::printf("line %.3f, sample %.3f\n", line, sample);
  Deinit_Kelvane();
  return 0;
}
