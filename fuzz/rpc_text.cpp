/// RPC text: what reads is written so that it reads the same again, and says what it says at every turn.
#include "fuzz/fuzzing.h"
#include "fuzz/models.h"
#include "kelvane/rpc/rpc_data.h"

namespace {

using namespace SatCommonUtils;

std::string Written(const TRPCData& data, const std::string& angleUnit = "",
                    const std::string& lengthUnit = "") {
  TKaStringStream stream;
  fuzz::Require(data.SaveToText(&stream, angleUnit, lengthUnit), "a record is written");
  return stream.Text();
}

TRPCData ReadBack(const std::string& text) {
  TRPCData data;
  std::string problem = "untouched";
  fuzz::Require(data.InitializeFromText(fuzz::StreamOf(text).get(), &problem), "what is written is read");
  fuzz::Require(problem == "untouched", "a success leaves the reason alone");
  fuzz::Require(RPCTextNumbersAreWhole(fuzz::StreamOf(text).get(), nullptr), "written numbers are whole");
  return data;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  TRPCData record;
  TRPBHeader header;
  std::string problem;
  const bool read = record.InitializeFromText(fuzz::StreamOf(text).get(), &header, &problem);
  if (!read) fuzz::RequireReason(problem);

  std::string broken;
  const bool whole = RPCTextNumbersAreWhole(fuzz::StreamOf(text).get(), &broken);
  if (!whole) fuzz::RequireReason(broken);

  TRPCData without_header;
  fuzz::Require(without_header.InitializeFromText(fuzz::StreamOf(text).get()) == read,
                "a header changes nothing");
  fuzz::Require(fuzz::SameRecord(without_header, record), "a header changes no number");
  if (!read) return 0;

  // Sixteen digits of the greatest doubles are more than a double holds.
  for (const double value : RPCValues(record)) {
    if (std::isfinite(value) && std::fabs(value) > 1.797693134862315e308) return 0;
  }
  // The form rounds once; the rounded record is the same at every turn.
  const std::string once = Written(record);
  const TRPCData rounded = ReadBack(once);
  fuzz::RequireRounded(record, rounded, 0.001, 16);
  fuzz::RequireSameText(Written(rounded), once, "a record that was read back is written the same");
  fuzz::Require(fuzz::SameRecord(ReadBack(once), rounded), "the same text, the same record");
  fuzz::Require(fuzz::SameRecord(ReadBack(Written(record, "deg", "m")), rounded), "units are no numbers");
  return 0;
}
