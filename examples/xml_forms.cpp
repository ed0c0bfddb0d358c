// Writes small objects into a configuration, each in a section or under a key of its own, and prints it.
//
// $ xml_forms | head -4
// <?xml version="1.0" encoding="UTF-8"?>
// <configuration>
// 	<value key="Vector">(1;2.5;-3)</value>
// 	<section key="Matrix">
#include <cstdio>

#include "host/ini_xml.h"
#include "kelvane/geometry/polygon.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/polynomial.h"
#include "kelvane/rpc/rpc1.h"
#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"
#include "kelvane/transforms/affine_2d.h"
#include "kelvane/transforms/similarity_3d.h"

int main() {
  using namespace SatCommonUtils;
  TKaXIniXmlWriter writer;

  bool written = TVector(1.0, 2.5, -3.0).SaveToXML(&writer, "Vector");
  TMatrix matrix(3, 2);  // three columns, two rows
  matrix.SetElement(2, 0, 0.5);
  written = written && matrix.SaveToXML(&writer, "Matrix");
  written = written && TPolynome("(3;2;1)").SaveToXML(&writer, "Polynomial");  // 1 + 2x + 3x²
  written = written && SaveToXML(T2DAffineParams{2.0, 0.0, 10.0, 0.0, 2.0, 20.0}, &writer, "Affine");
  written = written && SaveToXML(T7Params(), &writer, "Similarity");

  unsigned long section = writer.BeginSection("Polygon");
  written = written && TPolygon({{-0.5, -0.5}, {1023.5, -0.5}, {12.1, 800.25}}).SaveToXML(&writer);
  written = written && writer.EndSection(section);

  TRPC1Params first_order;  // line = 1.5 X - 0.25 Y, sample = 0
  first_order.LineNum[0] = 1.5;
  first_order.LineNum[1] = -0.25;
  first_order.LineDenom[3] = first_order.SampleDenom[3] = 1.0;
  section = writer.BeginSection("FirstOrder");
  written = written && first_order.SaveToXML(&writer) && writer.EndSection(section);

  StereopairsByOverlap::TStereopairsByOverlapParams criteria;
  criteria.CheckTimeGap = true;
  criteria.MinTimeGap = 0.05;
  criteria.MaxTimeGap = 0.1;
  written = written && criteria.SaveToXML(&writer, "StereoPairs");

  TKaStringStream text;
  if (!written || !writer.Save(&text)) return 1;
  std::printf("%s\n", text.Text().c_str());
  return 0;
}
