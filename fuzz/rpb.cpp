/// RPB and the PVL below it: what reads is written so that it reads the same again.
#include <optional>

#include "fuzz/fuzzing.h"
#include "fuzz/models.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/rpc_data.h"

namespace {

using namespace SatCommonUtils;

/// What PVL converts to is a configuration; what it does not convert writes nothing.
void Convert(const std::string& text) {
  const auto xml = new_a<TKaStringStream>();
  try {
    PVLtoXML(fuzz::StreamOf(text), xml);
  } catch (const TKaMessage& failure) {
    fuzz::RequireReason(failure.what());
    fuzz::Require(xml->Text().empty(), "a failure writes nothing");
    return;
  }
  const TKaXIniStreamReader reader(xml, true, nullptr);
}

std::string Written(const TRPCData& data, const TRPBHeader& header) {
  TKaStringStream stream;
  const bool written = data.SaveToRPB(&stream, header.SatId.value_or(""), header.BandId.value_or(""),
                                      header.ErrBias.value_or(0.0), header.ErrRand.value_or(0.0));
  fuzz::Require(written, "a record that is set is written");
  return stream.Text();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Convert(text);
  TRPCData record;
  TRPBHeader header;
  std::string problem;
  if (!record.InitializeFromRPB(fuzz::StreamOf(text), &header, &problem)) {
    fuzz::RequireReason(problem);
    fuzz::Require(!record, "a failed read leaves the record invalid");
    return 0;
  }
  fuzz::Require(static_cast<bool>(record) && header.HasImage, "what was read is set");
  // The form has no way to write a quote.
  for (std::optional<std::string>* name : {&header.SatId, &header.BandId}) {
    if (*name && (*name)->find('"') != std::string::npos) name->reset();
  }

  const std::string once = Written(record, header);
  TRPCData rounded;
  TRPBHeader again;
  const bool read = rounded.InitializeFromRPB(fuzz::StreamOf(once), &again, &problem);
  if (!read) fuzz::RequireSameText(once, problem, "what is written is read");
  fuzz::RequireRounded(record, rounded, 0.01, 9);
  fuzz::Require(again.SatId == header.SatId.value_or("") && again.BandId == header.BandId.value_or(""),
                "names are read back");
  fuzz::RequireSameText(Written(rounded, again), once, "a record that was read back is written the same");
  return 0;
}
