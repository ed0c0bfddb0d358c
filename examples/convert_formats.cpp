// Reads an RPB file, writes it as RPC text and as XML, and tells whether a form has rounded.
//
// $ convert_formats samples/worldview3.RPB
// WV03, errBias 1.49 m
// text: nothing rounded
// XML: nothing rounded
// LINE_OFF: +000812.00 pixels
#include <cstdio>
#include <string>

#include "host/ini_xml.h"
#include "kelvane/module/module.h"
#include "kelvane/rpc/rpc.h"

int main(int argc, char** argv) {
  using namespace SatCommonUtils;
  if (argc != 2) return 2;
  Init_Kelvane();

  TRPCData record;
  const auto file = new_a<TKaFileStream>();
  TRPBHeader header;
  std::string problem;
  if (!file->Open(TKaPath(argv[1]), kaOpenRead, kaShareAll) ||
      !record.InitializeFromRPB(file, &header, &problem)) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 1;
  }
  std::printf("%s, errBias %.2f m\n", header.SatId.value_or("unknown").c_str(), header.ErrBias.value_or(0.0));

  TKaStringStream text;  // TKaFileStream writes to a file instead
  TRPCData from_text;
  if (!record.SaveToText(&text, "degrees", "meters") || !from_text.InitializeFromText(&text)) return 1;

  TKaXIniXmlWriter writer;
  const auto xml = new_a<TKaStringStream>();
  if (!record.SaveToXML(&writer) || !writer.Save(xml.get())) return 1;
  TKaXIniStreamReader reader(xml, true, nullptr);
  TRPCData from_xml;
  if (!from_xml.InitializeFromXML(&reader)) return 1;

  std::printf("text: %s\n", DebugRPCDataAreIdentical(record, from_text) ? "nothing rounded" : "rounded");
  std::printf("XML: %s\n", DebugRPCDataAreIdentical(record, from_xml) ? "nothing rounded" : "rounded");
  std::printf("%s\n", text.Text().substr(0, text.Text().find('\r')).c_str());
  Deinit_Kelvane();
  return 0;
}
