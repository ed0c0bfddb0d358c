/// RPC models in the XML documents of image providers: refused with a reason, or read so that the same
/// numbers in such a document give the same record.
#include "tests/support/vendor_xml.h"
#include "fuzz/fuzzing.h"
#include "fuzz/models.h"
#include "kelvane/rpc/rpc_vendor_xml.h"

using namespace SatCommonUtils;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto stream = fuzz::StreamOf(std::string(reinterpret_cast<const char*>(data), size));
  const TRPCData numbered = test::NumberedRecord();
  TRPCData record = numbered;
  TRPBHeader header;
  header.SatId = "untouched";
  std::string problem;
  if (!ReadVendorXml(stream.get(), &record, &header, &problem)) {
    fuzz::RequireReason(problem);
    fuzz::Require(fuzz::SameRecord(record, numbered) && header.SatId == "untouched",
                  "a failure writes the reason only");
    return 0;
  }
  fuzz::Require(problem.empty(), "a success has no problem");
  fuzz::Require(static_cast<bool>(record), "what was read is set");
  TRPCData again;
  fuzz::Require(ReadVendorXml(stream.get(), &again, nullptr, nullptr) && fuzz::SameRecord(again, record),
                "a stream is read from its beginning");
  // The text is made with an addition, which a negative zero does not survive.
  record.LineOffset += 0.0;
  record.SampleOffset += 0.0;
  fuzz::Require(ReadVendorXml(fuzz::StreamOf(test::IsdText(record)).get(), &again, nullptr, nullptr) &&
                    fuzz::SameRecord(again, record),
                "the other form gives the same numbers");
  return 0;
}
