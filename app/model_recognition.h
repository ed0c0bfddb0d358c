/// \file
/// Which form a model is in, by what its file holds, and where the model of an image lies.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace app {

enum class ModelFormat { Rpb, Text, Xml, RefinedXml, Dimap, Isd, Dataset };

/// "rpb", "text", "xml", "refined-xml", "dimap", "isd", "dataset".
const char* FormatName(ModelFormat format);

/// The form of the model that begins with `head`: XML by its root, the others by the first line that only
/// one form has. None for bytes that are no text as far as that line.
std::optional<ModelFormat> Recognise(std::string_view head);

/// True for the declarations and comments that may stand before the document's tag: long ones hide it from a
/// short head.
bool BeginsAsXml(std::string_view head);

/// True when the key of a line "KEY: number" is one of the text form's 90, or is spelt like one of its
/// coefficients.
bool IsTextKey(std::string_view key);

/// The side-cars that an image of this name may have, in the order in which they are looked for.
std::vector<std::string> SideCars(const std::string& image);

}  // namespace app
