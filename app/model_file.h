/// \file
/// Models in files: recognised by what they hold, read, checked, written whole.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelvane/module/host/var_a.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_data.h"

namespace app {

enum class ModelFormat { Rpb, Text, Xml, RefinedXml };

/// "rpb", "text", "xml", "refined-xml".
const char* FormatName(ModelFormat format);

/// The correction that a refined model carries, by the names of its keys.
inline constexpr const char* RefinementKeys[] = {"LineBias",   "LineDrift",   "LineTilt",
                                                 "SampleBias", "SampleDrift", "SampleTilt"};

struct ModelFile {
  std::string path;  ///< the file that was read: the side-car, where an image was named
  ModelFormat format = ModelFormat::Rpb;
  SatCommonUtils::TRPCData data;
  SatCommonUtils::TRPBHeader header;  ///< error figures and names, where the file has them
  std::optional<std::array<double, std::size(RefinementKeys)>> refinement;
  std::string defect;                           ///< why the numbers make no model that can project
  std::unique_ptr<SatCommonUtils::TRPC> model;  ///< null when there is a defect
  std::vector<std::string> remarks;             ///< what a person may want to know
};

/// Reads a model, or the side-car of the image named. Throws `Problem` for a file that cannot be read or
/// holds no model: it says which form was tried and what is missing.
ModelFile ReadModelFile(const std::string& path);

/// The model of a file; throws `Problem` with its defect when it has none.
const SatCommonUtils::TRPC& UsableModel(const ModelFile& file);

/// What writing did to the numbers.
struct WrittenModel {
  ModelFormat format = ModelFormat::Xml;
  int rounded = 0;              ///< how many of the 90 numbers changed
  double max_difference = 0.0;  ///< pixels, between the projections of what was read and what was written
  std::vector<std::string> remarks;  ///< what the form has no place for
};

/// Writes a model in the form that the path's suffix names: ".rpb", ".txt", ".xml", in any letter case.
/// Throws `Problem`, with any file at `path` left as it was, when the suffix is another, when the model
/// does not survive the form's rounding, or when the file cannot be written.
WrittenModel WriteModelFile(const ModelFile& file, const std::string& path);

}  // namespace app
