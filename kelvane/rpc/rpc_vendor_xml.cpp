#include "kelvane/rpc/rpc_vendor_xml.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <utility>

#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/xml.h"
#include "kelvane/module/problem.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/rpc/xml_tags.h"

namespace SatCommonUtils {

namespace {

/// The line and the sample of the centre of the first pixel in DIMAP.
constexpr double DimapFirstPixel = 1.0;

/// The other orders of terms have the same names for their coefficients.
void CheckOrder(const TKaXmlTagItem& parent, const char* key) {
  const std::optional<std::string> order = FindText(parent, key);
  if (order && trim(*order) != "RPC00B") throw std::runtime_error(std::string(key) + " is not RPC00B");
}

/// Refuses what has more coefficients than the record: its terms are not those of RPC00B.
void CheckCount(const TKaXmlTagItem& model, const TRPCDataCoefficients& set) {
  const std::ptrdiff_t count = std::count_if(model.Items.begin(), model.Items.end(), [&](const auto& item) {
    return item->AsTag() != nullptr && item->AsTag()->Name.rfind(set.TextPrefix, 0) == 0;
  });
  if (count != std::ptrdiff_t{TRPCData::CoefficientCount}) {
    throw std::runtime_error(std::string(set.TextPrefix) + "1 to 20 are not all that there is");
  }
}

/// Refuses a domain that counts its rows and columns from elsewhere.
void CheckFirstPixel(const TKaXmlTagItem& validity) {
  const TKaXmlTagItem* const domain = FindOnlyTag(validity, "Direct_Model_Validity_Domain");
  if (domain == nullptr) return;
  for (const char* key : {"FIRST_ROW", "FIRST_COL"}) {
    if (FindOnlyTag(*domain, key) != nullptr && NumberIn(*domain, key) != DimapFirstPixel) {
      throw std::runtime_error(std::string(key) + " is not 1, from where this form counts pixels");
    }
  }
}

void ReadDimap(const TKaXmlTagItem& document, TRPCData* data) {
  const TKaXmlTagItem& model = OnlyTag(document, "Rational_Function_Model");
  const TKaXmlTagItem* const reference = FindOnlyTag(model, "Resource_Reference");
  if (reference != nullptr) CheckOrder(*reference, "RESOURCE_ID");
  const TKaXmlTagItem& global = OnlyTag(model, "Global_RFM");
  const TKaXmlTagItem& inverse = OnlyTag(global, "Inverse_Model");
  const TKaXmlTagItem& validity = OnlyTag(global, "RFM_Validity");
  for (const TRPCDataField& field : RPCDataFields) data->*field.Value = NumberIn(validity, field.TextKey);
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
      (data->*set.Values)[k] = NumberIn(inverse, set.TextPrefix + std::to_string(k + 1));
    }
    CheckCount(inverse, set);
  }
  CheckFirstPixel(validity);
  data->LineOffset -= DimapFirstPixel;
  data->SampleOffset -= DimapFirstPixel;
}

/// Absent, too, when what stands there is no number: as in RPB.
std::optional<double> FindErrorFigure(const TKaXmlTagItem& image, const char* key) {
  const double value = StringToDoubleDef(FindText(image, key).value_or(""), TRPCData::Unset);
  if (value == TRPCData::Unset) return std::nullopt;
  return value;
}

void ReadIsd(const TKaXmlTagItem& document, TRPCData* data, TRPBHeader* header) {
  const TKaXmlTagItem& rpb = OnlyTag(document, "RPB");
  CheckOrder(rpb, "SPECID");
  header->SatId = FindText(rpb, "SATID");
  header->BandId = FindText(rpb, "BANDID");
  const TKaXmlTagItem& image = OnlyTag(rpb, "IMAGE");
  header->HasImage = true;
  header->ErrBias = FindErrorFigure(image, "ERRBIAS");
  header->ErrRand = FindErrorFigure(image, "ERRRAND");
  for (const TRPCDataField& field : RPCDataFields) {
    data->*field.Value = NumberIn(image, toupper(std::string(field.RPBKey)));
  }
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    const std::string key = toupper(std::string(set.RPBKey));
    const TKaXmlTagItem& list = OnlyTag(image, key + "List");
    ReadCoefficients(OnlyText(OnlyTag(list, key)), "", key, data->*set.Values);
  }
}

}  // namespace

bool ReadVendorXml(TKaStream* stream, TRPCData* data, TRPBHeader* header, std::string* problem) try {
  const var_a<TKaXmlTagItem*> document = KaReadXml(stream, true, nullptr);
  TRPCData read;
  TRPBHeader read_header;
  if (document->Name == "Dimap_Document") {
    ReadDimap(*document, &read);
  } else if (document->Name == "isd") {
    ReadIsd(*document, &read, &read_header);
  } else {
    return Fail(problem, "the document is neither Dimap_Document nor isd");
  }
  if (!read) return Fail(problem, "a value is the mark of an unset field");
  *data = read;
  if (header != nullptr) *header = std::move(read_header);
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot read it");
}

}  // namespace SatCommonUtils
