/// The set of models as files: what it takes from a folder, and what it leaves there.
#include <algorithm>
#include <exception>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "kelvane/module/host/message.h"
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
constexpr char UnfinishedSuffix[] = ".part";

std::string SuffixOf(const fs::path& path) { return toupper(path.extension().string()); }

/// The model files of a folder, sorted. Throws `std::filesystem::filesystem_error`.
std::vector<fs::path> ModelFiles(const std::string& folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string suffix = SuffixOf(entry.path());
    std::error_code ignored;
    if ((suffix == RPBSuffix || suffix == TextSuffix) && entry.is_regular_file(ignored)) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end(),
            [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
  return files;
}

bool Read(TE_RPCFileForm form, const var_a<TKaStream*>& stream, TRPCExchangeModel* model,
          std::string* problem) {
  if (form == TE_RPCFileForm::RPB) return model->Data.InitializeFromRPB(stream, &model->Header, problem);
  return model->Data.InitializeFromText(stream.get(), &model->Header, problem);
}

/// Reads a file through `read(stream, model, problem)` and adds what it holds.
template <class Reader>
bool AddFile(TCipherRPCImpExpDataset* set, const fs::path& path, Reader read, std::string* problem) try {
  TRPCExchangeModel model;
  model.Name = RPCModelName(path.string());
  model.File = path.filename().string();
  const var_a<TKaStream*> file = new_a<TKaFileStream>(TKaPath(path.string()), kaOpenRead, kaShareAll);
  return read(file, &model, problem) && set->Add(std::move(model), problem);
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
}

/// A name that stays in its folder, on whatever system that is.
std::string FileName(const TRPCExchangeModel& model, TE_RPCFileForm form) {
  std::string name = model.Name;
  for (char& c : name) {
    if (std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos) c = '_';
  }
  if (name[0] == '.' || name[0] == '-') name[0] = '_';
  return form == TE_RPCFileForm::RPB ? name + RPBSuffix : name + ModelMark + TextSuffix;
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

/// Files that come into a folder together, or leave nothing behind.
class TNewFiles {
 public:
  explicit TNewFiles(fs::path folder) : folder_(std::move(folder)) {}
  ~TNewFiles() {
    std::error_code ignored;
    for (const fs::path& path : unwanted_) fs::remove(path, ignored);
  }
  TNewFiles(const TNewFiles&) = delete;
  TNewFiles& operator=(const TNewFiles&) = delete;

  /// Refuses a name that another file has, here or in the folder.
  void Claim(const std::string& name) {
    if (!names_.insert(toupper(name)).second) throw std::runtime_error("two models would be " + name);
    for (const std::string& taken : {name, name + UnfinishedSuffix}) {
      if (fs::exists(fs::symlink_status(folder_ / taken))) {
        throw std::runtime_error(taken + " stands in the folder already");
      }
    }
  }

  void Write(const std::string& name, const std::string& text) {
    const fs::path unfinished = folder_ / (name + UnfinishedSuffix);
    TKaFileStream file(TKaPath(unfinished.string()), kaOpenWrite, kaShareNone);
    unwanted_.push_back(unfinished);
    if (file.Write(text.data(), text.size()) != text.size() || !file.Close()) {
      throw std::runtime_error(name + " cannot be written");
    }
  }

  void Keep() {
    for (fs::path& path : unwanted_) {
      fs::path finished = path;
      fs::rename(path, finished.replace_extension());
      path = std::move(finished);
    }
    unwanted_.clear();
  }

 private:
  fs::path folder_;
  std::set<std::string> names_;
  std::vector<fs::path> unwanted_;
};

}  // namespace

std::string RPCModelName(const std::string& path) {
  std::string name = CutFileExt(fs::path(path).filename().string());
  const std::size_t mark = sizeof ModelMark - 1;
  if (name.size() > mark && toupper(name.substr(name.size() - mark)) == ModelMark) {
    name.resize(name.size() - mark);
  }
  return name;
}

bool TCipherRPCImpExpDataset::ImportVendorXmlFile(const std::string& path, std::string* problem) {
  const auto read = [](const var_a<TKaStream*>& file, TRPCExchangeModel* model, std::string* why) {
    return ReadVendorXml(file.get(), &model->Data, &model->Header, why);
  };
  return AddFile(this, path, read, problem);
}

bool TCipherRPCImpExpDataset::ImportFolder(const std::string& folder, std::vector<TRPCFileProblem>* problems,
                                           std::string* problem) try {
  for (const fs::path& path : ModelFiles(folder)) {
    const TE_RPCFileForm form = SuffixOf(path) == RPBSuffix ? TE_RPCFileForm::RPB : TE_RPCFileForm::Text;
    const auto read = [form](const var_a<TKaStream*>& file, TRPCExchangeModel* model, std::string* why) {
      return Read(form, file, model, why);
    };
    std::string why;
    if (!AddFile(this, path, read, &why) && problems != nullptr) {
      problems->push_back({path.filename().string(), why});
    }
  }
  return true;
} catch (const fs::filesystem_error& failure) {
  return Fail(problem, "the folder cannot be listed: " + failure.code().message());
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
}

bool TCipherRPCImpExpDataset::ExportToFolder(const std::string& folder, TE_RPCFileForm form,
                                             std::string* problem) const try {
  TNewFiles files(folder);
  for (const TRPCExchangeModel& model : models_) files.Claim(FileName(model, form));
  for (const TRPCExchangeModel& model : models_) {
    std::string text;
    try {
      text = FileText(model, form);
    } catch (const std::runtime_error& failure) {
      throw std::runtime_error("model \"" + model.Name + "\": " + failure.what());
    }
    files.Write(FileName(model, form), text);
  }
  files.Keep();
  return true;
} catch (const fs::filesystem_error& failure) {
  return Fail(problem, "the files cannot be written: " + failure.code().message());
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
}

}  // namespace SatCommonUtils
