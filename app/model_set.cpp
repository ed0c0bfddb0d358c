#include "app/model_set.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "app/problem.h"
#include "kelvane/module/host/text.h"

namespace app {

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> ModelFilesIn(const std::string& folder) {
  std::vector<fs::path> files;
  std::error_code failure;
  for (fs::directory_iterator at(folder, failure), end; !failure && at != end; at.increment(failure)) {
    const std::string suffix = toupper(at->path().extension().string());
    std::error_code ignored;
    if ((suffix == ".RPB" || suffix == ".TXT") && at->is_regular_file(ignored)) files.push_back(at->path());
  }
  if (failure) throw Problem(folder + ": " + failure.message());
  std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.native() < b.native(); });
  return files;
}

/// Any text may be called .txt; of other names the file is missed when it is no model.
bool IsCalledModel(const fs::path& path) {
  return toupper(path.extension().string()) != ".TXT" ||
         SatCommonUtils::RPCModelName(path.string()) != path.stem().string();
}

void ReadFileInto(ModelSet* set, const fs::path& path) try {
  std::string why;
  auto file = ReadIfModel(path.string(), &why);
  if (!file && !IsCalledModel(path)) {
    set->remarks.push_back(path.string() + ": holds nothing like a model and is passed over");
    return;
  }
  if (!file) throw Problem(path.string() + ": " + why);
  if (file->name.empty()) {
    file->name = SatCommonUtils::RPCModelName(path.string());
    file->image = path.filename().string();
  }
  set->models.push_back(std::move(*file));
} catch (const Problem& problem) {
  set->problems.emplace_back(problem.what());
}

}  // namespace

std::optional<ModelSet> ReadModelSet(const std::string& path) {
  ModelSet set;
  std::error_code failure;
  set.is_folder = fs::is_directory(path, failure);
  if (set.is_folder) {
    for (const fs::path& file : ModelFilesIn(path)) ReadFileInto(&set, file);
    if (!set.models.empty()) return set;
    throw Problem(path + ": no RPB or RPC text in this folder can be read" +
                  (set.problems.empty() ? "" : "; " + set.problems.front()));
  }
  const auto dataset = ReadDataset(path);
  if (!dataset) return std::nullopt;
  if (!*dataset) throw Problem(path + ": is a dataset without a model");
  for (const auto& model : dataset->Models()) set.models.push_back(ModelOfDataset(path, model));
  return set;
}

}  // namespace app
