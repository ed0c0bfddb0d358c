// Corrects a model by control points, locates an image point by it, and writes it, also as a plain one.
//
// $ refine_and_export samples/worldview3.RPB samples/worldview3_control.txt refined.xml plain.RPB
// 7 of 8 points kept, rms 0.349 pixels
// line 806.2, sample 847.8 at 95 m: 41.8791593 12.5798465
#include <cstdio>
#include <fstream>
#include <limits>
#include <locale>
#include <vector>

#include "host/ini_xml.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/refinement_estimation.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 5) return 2;
  Init_Kelvane();

  TRPCData record;
  double err_bias = 0.0;
  double err_rand = 1.0;  // not zero: we want the file's value
  if (!record.InitializeFromRPBFile(argv[1], &err_bias, &err_rand)) return 1;
  const TRPC model(record, nullptr);

  std::ifstream text(argv[2]);
  text.imbue(std::locale::classic());
  constexpr auto rest = std::numeric_limits<std::streamsize>::max();
  text.ignore(rest, '\n');  // the heading
  std::vector<TRPCEstimationDataItem> points;
  TRPCEstimationDataItem p;
  while (text >> p.Latitude >> p.Longitude >> p.Height >> p.Line >> p.Sample) {
    points.push_back(p);
    text.ignore(rest, '\n');
  }

  TRefinementEstimate estimate;
  if (!EstimateRefinement(model, points, TE_RefinementKind::Shift, &estimate)) {
    std::fprintf(stderr, "%s\n", estimate.Problem.c_str());
    return 1;
  }
  std::printf("%zu of %zu points kept, rms %.3f pixels\n", estimate.Kept, points.size(), estimate.RmsAfter);

  const TAdjustedRPC refined(record, nullptr, &estimate.Refinement);
  TKaXIniXmlWriter writer;
  TKaFileStream xml(TKaPath(argv[3]), kaOpenWrite, kaShareAll);
  if (!refined.SaveToXML(&writer) || !writer.Save(&xml)) return 1;
  TRPCData plain;
  TKaFileStream rpb(TKaPath(argv[4]), kaOpenWrite, kaShareAll);
  if (!refined.ExportClosely(&plain) || !plain.SaveToRPB(&rpb, "WV03", "Multi", err_bias, err_rand)) return 1;
  double lat = 0.0;
  double lon = 0.0;
  if (!refined.SolveLatLon(806.2, 847.8, 95.0, &lat, &lon).IsAnswer()) return 1;
  std::printf("line 806.2, sample 847.8 at 95 m: %.7f %.7f\n", lat, lon);
  Deinit_Kelvane();
  return 0;
}
