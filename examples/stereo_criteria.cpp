// Keeps the criteria of stereo pairs as XML, and judges a pair by one of them: the search is the host's.
//
// $ stereo_criteria samples/pleiades_1.xml samples/pleiades_2.xml
// criteria without sense are refused
// an angle of 4.61 degrees: a stereo pair
#include <cstdio>

#include "host/ini_xml.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/convergence.h"
#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 3) return 2;
  Init_Kelvane();

  StereopairsByOverlap::TStereopairsByOverlapParams criteria;  // nothing is checked
  criteria.CheckConvergenceAngle = true;
  criteria.MinConvergenceAngle = 20.0;
  criteria.MaxConvergenceAngle = 10.0;
  if (!criteria) std::printf("criteria without sense are refused\n");
  criteria.MinConvergenceAngle = 4.0;
  criteria.MaxConvergenceAngle = 40.0;

  TKaXIniXmlWriter writer;
  const auto text = new_a<TKaStringStream>();
  if (!criteria.SaveToXML(&writer, "Stereopairs") || !writer.Save(text.get())) return 1;
  TKaXIniStreamReader reader(text, true, nullptr);
  const auto read = StereopairsByOverlap::CreateStereopairsByOverlapParams(&reader, "Stereopairs");
  if (!read) return 1;

  TRPC models[2];
  for (int i = 0; i < 2; ++i) {
    TKaXIniStreamReader file(new_a<TKaFileStream>(TKaPath(argv[i + 1]), kaOpenRead, kaShareAll), true,
                             nullptr);
    if (!models[i].InitializeFromXML(&file)) return 1;
  }
  double angle = 0.0;
  const bool told = CalculateConvergenceAngle(models[0], models[1], 29.977, 31.134, 60.0, &angle);
  const bool taken = told ? angle >= read->MinConvergenceAngle && angle <= read->MaxConvergenceAngle
                          : !read->RejectUndefConvergenceAngle;
  std::printf("an angle of %.2f degrees: %s\n", angle, taken ? "a stereo pair" : "no stereo pair");
  Deinit_Kelvane();
  return 0;
}
