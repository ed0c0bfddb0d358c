#include "app/model_set.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "app/problem.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"

namespace app {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> ModelFilesIn(const std::string& folder) try {
  std::vector<std::string> files = SatCommonUtils::RPCModelFiles(folder);
  const std::string start = folder.back() == '/' ? folder : folder + '/';
  for (std::string& file : files) file.insert(0, start);
  return files;
} catch (const std::runtime_error& failure) {
  throw Problem(folder + ": " + failure.what());
}

/// Any text may be called .txt; of other names the file is missed when it is no model.
bool IsCalledModel(const std::string& path) {
  const fs::path file(path);
  return toupper(file.extension().string()) != ".TXT" ||
         SatCommonUtils::RPCModelName(path) != file.stem().string();
}

void ReadFileInto(ModelSet* set, const std::string& path) try {
  std::string why;
  auto file = ReadIfModel(path, &why);
  if (!file && !IsCalledModel(path)) {
    set->remarks.push_back(path + ": holds nothing like a model and is passed over");
    return;
  }
  if (!file) throw Problem(path + ": " + why);
  if (file->name.empty()) {
    file->name = SatCommonUtils::RPCModelName(path);
    file->image = fs::path(path).filename().string();
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
    for (const std::string& file : ModelFilesIn(path)) ReadFileInto(&set, file);
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
