/// \file
/// Models into files, and what that does to their numbers.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/model_file.h"

namespace app {

/// What writing did to the numbers.
struct WrittenModel {
  ModelFormat format = ModelFormat::Xml;
  int rounded = 0;              ///< how many of the 90 numbers changed
  double max_difference = 0.0;  ///< pixels, between the projections of what was read and what was written
  std::unique_ptr<SatCommonUtils::TRPC> model;  ///< what was written, as it will be read
  std::vector<std::string> remarks;  ///< what the form has no place for, and what it asks for besides
};

/// The form that a path's suffix names: ".rpb", ".txt", ".xml", in any letter case. Throws `Problem` for
/// another.
ModelFormat FormatOfSuffix(const std::string& path);

/// A model in a form, checked: what a file of it will hold.
struct PreparedModel {
  WrittenModel written;
  std::string text;
};

/// Throws `Problem`, calling the file `path`, when the model does not survive the form's rounding or has more
/// than the form has a place for.
PreparedModel PrepareModel(const ModelFile& file, ModelFormat format, const std::string& path);

/// Throws `Problem` when a model that was read from `in`, which may be FILE:NAME, would take the place of the
/// whole dataset FILE.
void KeepDataset(const std::string& in, const std::string& out);

/// Writes a model in the form that the path's suffix names.
/// Throws `Problem`, with any file at `path` left as it was, when the suffix is another, when the model is
/// one of a dataset there or cannot be prepared, or when the file cannot be written.
WrittenModel WriteModelFile(const ModelFile& file, const std::string& path);

}  // namespace app
