/// \file
/// Models that lie together, in a folder or in a dataset.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/model_file.h"

namespace app {

struct ModelSet {
  bool is_folder = false;
  std::vector<ModelFile> models;      ///< each with its name; which of them project is not asked
  std::vector<std::string> problems;  ///< of files that could not be read
  std::vector<std::string> remarks;   ///< of files that are nothing like a model
};

/// The models of a dataset, or of a folder those in files that end in .rpb and .txt, in the order of their
/// names; none where `path` is neither. Throws `Problem` where there is no model in it.
std::optional<ModelSet> ReadModelSet(const std::string& path);

}  // namespace app
