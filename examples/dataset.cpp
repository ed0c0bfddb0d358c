// Gathers models into one document, and finds one in it by its name.
//
// $ dataset samples/worldview3.RPB samples
// worldview3_control.txt is no model
// worldview3_points.txt is no model
// worldview3_points_seen.txt is no model
// model first
// model worldview3
// 41.8791 12.5798
#include <cstdio>
#include <string>
#include <vector>

#include "kelvane/module/module.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 3) return 2;
  Init_Kelvane();

  TRPCExchangeModel model;
  model.Name = "first";
  model.File = argv[1];
  double err_rand = 0.0;
  if (!model.Data.InitializeFromRPBFile(argv[1], nullptr, &err_rand)) return 1;

  TCipherRPCImpExpDataset set;
  std::string problem;
  std::vector<TRPCFileProblem> unread;
  if (!set.Add(model, &problem) || !set.ImportFolder(argv[2], &unread, &problem)) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 1;
  }
  for (const TRPCFileProblem& file : unread) std::printf("%s is no model\n", file.File.c_str());

  TKaStringStream document;
  TCipherRPCImpExpDataset again;
  if (!set.SaveToDocument(&document, &problem) || !again.InitializeFromDocument(&document, &problem))
    return 1;
  for (const TRPCExchangeModel& found : again.Models()) std::printf("model %s\n", found.Name.c_str());
  const TRPCExchangeModel* const first = again.Find("first");
  std::printf("%.4f %.4f\n", first->Data.LatitudeOffset, first->Data.LongitudeOffset);
  Deinit_Kelvane();
  return 0;
}
