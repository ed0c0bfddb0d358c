/// The set of models as files: what it takes from a folder, and what it leaves there.
#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/problem.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"
#include "kelvane/rpc/rpc_vendor_xml.h"

namespace SatCommonUtils {

namespace {

namespace fs = std::filesystem;

constexpr char RPBSuffix[] = ".RPB";
constexpr char TextSuffix[] = ".TXT";
constexpr char ModelMark[] = "_RPC";

std::string SuffixOf(const std::string& file) { return toupper(fs::path(file).extension().string()); }

std::string PathIn(const std::string& folder, const std::string& file) {
  return folder.empty() || folder.back() == '/' ? folder + file : folder + '/' + file;
}

[[noreturn]] void RefuseFolder(int error) {
  throw std::runtime_error("the folder cannot be listed: " + std::generic_category().message(error));
}

bool Read(TE_RPCFileForm form, const var_a<TKaStream*>& stream, TRPCExchangeModel* model,
          std::string* problem) {
  if (form == TE_RPCFileForm::RPB) return model->Data.InitializeFromRPB(stream, &model->Header, problem);
  return model->Data.InitializeFromText(stream.get(), &model->Header, problem) && stream->Rewind() &&
         RPCTextNumbersAreWhole(stream.get(), problem);
}

/// Reads a file through `read(stream, model, problem)` and adds what it holds.
template <class Reader>
bool AddFile(TCipherRPCImpExpDataset* set, const std::string& path, Reader read, std::string* problem) try {
  TRPCExchangeModel model;
  model.Name = RPCModelName(path);
  model.File = fs::path(path).filename().string();
  const var_a<TKaStream*> file = new_a<TKaFileStream>(TKaPath(path), kaOpenRead, kaShareAll);
  return read(file, &model, problem) && set->Add(std::move(model), problem);
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
}

/// What is written must be read again as a model that is as good: the text itself is the witness.
void CheckWritten(const TRPCExchangeModel& model, TE_RPCFileForm form, const std::string& text) {
  TRPCExchangeModel back;
  std::string problem;
  if (!Read(form, new_a<TKaStringStream>(text), &back, &problem)) throw std::runtime_error(problem);
  for (const TRPCDataField& field : RPCDataFields) {
    if (field.IsScale && back.Data.*field.Value == 0.0 && model.Data.*field.Value != 0.0) {
      throw std::runtime_error(std::string(field.Name) + " becomes 0 in this form");
    }
  }
  if (form == TE_RPCFileForm::RPB && (back.Header.SatId != model.Header.SatId.value_or("") ||
                                      back.Header.BandId != model.Header.BandId.value_or(""))) {
    throw std::runtime_error("the name of satellite or band has no place in this form");
  }
}

std::string FileText(const TRPCExchangeModel& model, TE_RPCFileForm form) {
  TKaStringStream stream;
  const TRPBHeader& header = model.Header;
  const bool written =
      form == TE_RPCFileForm::RPB
          ? model.Data.SaveToRPB(&stream, header.SatId.value_or(""), header.BandId.value_or(""),
                                 header.ErrBias.value_or(0.0), header.ErrRand.value_or(0.0))
          : model.Data.SaveToText(&stream, "", "");
  if (!written) throw std::runtime_error("the host cannot write it");
  CheckWritten(model, form, stream.Text());
  return stream.Text();
}

/// The name of each model's file. Throws when two of them are one, or when the folder is none.
std::vector<std::string> FileNames(const std::vector<TRPCExchangeModel>& models, const std::string& folder,
                                   TE_RPCFileForm form) {
  std::error_code failure;
  const fs::file_status status = fs::status(folder, failure);
  if (status.type() == fs::file_type::none)
    throw std::runtime_error("the files cannot be written: " + failure.message());
  if (!fs::is_directory(status))
    throw std::runtime_error(fs::exists(status) ? "is no folder" : "no such folder");
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const TRPCExchangeModel& model : models) {
    names.push_back(RPCFileName(model.Name, form));
    if (!taken.insert(toupper(names.back())).second) {
      throw std::runtime_error("two models would be " + names.back());
    }
  }
  return names;
}

/// All files take their places, or, where those were to be free, none does.
void TakePlaces(std::vector<TFileReplacement>* files, TE_FilePlace place) {
  std::size_t taken = 0;
  try {
    for (; taken < files->size(); ++taken) (*files)[taken].TakePlace();
  } catch (...) {
    while (place == TE_FilePlace::Free && taken > 0) std::remove((*files)[--taken].Path().c_str());
    throw;
  }
}

}  // namespace

std::string RPCModelName(const std::string& path) {
  const std::string file = fs::path(path).filename().string();
  std::string name = CutFileExt(file);
  const std::size_t mark = sizeof ModelMark - 1;
  const bool is_text = toupper(file.substr(name.size())) == TextSuffix;
  if (is_text && name.size() > mark && toupper(name.substr(name.size() - mark)) == ModelMark) {
    name.resize(name.size() - mark);
  }
  return name;
}

std::vector<std::string> RPCModelFiles(const std::string& folder) {
  // Where there is no memory, a directory_iterator ends the process, and putting a path together leaves a
  // broken one.
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), ::closedir);
  if (entries == nullptr) RefuseFolder(errno);
  std::vector<std::string> files;
  while (true) {
    errno = 0;
    const dirent* const entry = ::readdir(entries.get());
    if (entry == nullptr) break;
    const std::string file = entry->d_name;
    const std::string suffix = SuffixOf(file);
    std::error_code ignored;
    if ((suffix == RPBSuffix || suffix == TextSuffix) && fs::is_regular_file(PathIn(folder, file), ignored)) {
      files.push_back(file);
    }
  }
  if (errno != 0) RefuseFolder(errno);
  std::sort(files.begin(), files.end());
  return files;
}

std::string RPCFileName(const std::string& model, TE_RPCFileForm form) {
  std::string name = model;
  for (char& c : name) {
    if (std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos) c = '_';
  }
  if (name.find_first_of(".-") == 0) name[0] = '_';
  return form == TE_RPCFileForm::RPB ? name + RPBSuffix : name + ModelMark + TextSuffix;
}

bool TCipherRPCImpExpDataset::ImportVendorXmlFile(const std::string& path, std::string* problem) {
  const auto read = [](const var_a<TKaStream*>& file, TRPCExchangeModel* model, std::string* why) {
    return ReadVendorXml(file.get(), &model->Data, &model->Header, why);
  };
  return AddFile(this, path, read, problem);
}

bool TCipherRPCImpExpDataset::ImportFolder(const std::string& folder, std::vector<TRPCFileProblem>* problems,
                                           std::string* problem) try {
  for (const std::string& name : RPCModelFiles(folder)) {
    const TE_RPCFileForm form = SuffixOf(name) == RPBSuffix ? TE_RPCFileForm::RPB : TE_RPCFileForm::Text;
    const auto read = [form](const var_a<TKaStream*>& file, TRPCExchangeModel* model, std::string* why) {
      return Read(form, file, model, why);
    };
    std::string why;
    if (!AddFile(this, PathIn(folder, name), read, &why) && problems != nullptr) {
      problems->push_back({name, why});
    }
  }
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
}

bool TCipherRPCImpExpDataset::ExportToFolder(const std::string& folder, TE_RPCFileForm form,
                                             TE_FilePlace place, std::string* problem) const try {
  const std::vector<std::string> names = FileNames(models_, folder, form);
  std::vector<TFileReplacement> files;
  for (std::size_t i = 0; i < models_.size(); ++i) {
    try {
      files.emplace_back(PathIn(folder, names[i]), FileText(models_[i], form), place);
    } catch (const std::runtime_error& failure) {
      throw std::runtime_error("model \"" + models_[i].Name + "\": " + failure.what());
    }
  }
  TakePlaces(&files, place);
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
}

}  // namespace SatCommonUtils
