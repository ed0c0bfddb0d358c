#include <cstdio>
#include <filesystem>
#include <memory>

#include "app/commands/commands.h"
#include "app/files.h"
#include "app/interrupt.h"
#include "app/json_report.h"
#include "app/model_set.h"
#include "app/model_writing.h"
#include "app/problem.h"
#include "host/quoted_text.h"
#include "kelvane/module/host/text.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"

namespace app {

namespace {

using SatCommonUtils::TCipherRPCImpExpDataset;
using SatCommonUtils::TE_RPCFileForm;
using SatCommonUtils::TRPCExchangeModel;

struct ConvertOptions {
  std::string in;
  std::string out;
  bool dataset = false;
  std::string each;  ///< "rpb" or "text": OUT is a folder
  bool json = false;
  bool quiet = false;
};

int Convert(const ConvertOptions& options) {
  const ModelFile file = ReadModelFile(options.in);
  const WrittenModel written = WriteModelFile(file, options.out);
  PrintRemarks(file.remarks, options.quiet);
  PrintRemarks(written.remarks, options.quiet);
  if (options.json) {
    nlohmann::ordered_json report;
    report["input"] = file.path;
    report["inputFormat"] = FormatName(file.format);
    report["output"] = options.out;
    report["format"] = FormatName(written.format);
    report["rounded"] = written.rounded;
    report["maxDifference"] = written.max_difference;
    PrintJson(report);
  } else if (!options.quiet) {
    std::printf("%s (%s)\n", KaPrintable(file.path).c_str(), FormatName(file.format));
    PrintWritten(written, options.out);
  }
  return AllComputed;
}

/// A model as one of a set: what a set has no place for is refused, or said.
TRPCExchangeModel ForExchange(const ModelFile& file, bool quiet) {
  const SatCommonUtils::TRPC& model = UsableModel(file);
  if (file.refinement) {
    throw Problem(file.path +
                  ": a dataset has no place for a refinement; \"kelvane export\" makes a plain model of it");
  }
  PrintRemarks(file.remarks, quiet);
  SatCommonUtils::TPolygon margin;
  if (model.GetMargin(&margin) || model.GetRasterDims(nullptr, nullptr)) {
    PrintRemarks({file.path + ": a dataset has no place for the margin and the raster size"}, quiet);
  }
  if (!file.name.empty()) return {file.name, file.image, file.data, file.header};
  const std::string name = std::filesystem::path(file.path).filename().string();
  return {SatCommonUtils::RPCModelName(name), name, file.data, file.header};
}

/// The models of a folder, of a dataset, or of any other file the one; and how many files could not be read.
struct Gathered {
  TCipherRPCImpExpDataset dataset;
  std::size_t unread = 0;
};

Gathered GatherFolder(const ModelSet& folder, const std::string& in, bool quiet) {
  Gathered gathered;
  std::vector<std::string> problems = folder.problems;
  PrintRemarks(folder.remarks, quiet);
  for (const ModelFile& file : folder.models) {
    try {
      std::string problem;
      if (gathered.dataset.Add(ForExchange(file, quiet), &problem)) continue;
      problems.push_back(file.path + ": " + problem);
    } catch (const Problem& problem) {
      problems.emplace_back(problem.what());
    }
  }
  PrintRemarks(problems, false);
  gathered.unread = problems.size();
  if (!gathered.dataset) throw Problem(in + ": none of its models can be taken");
  return gathered;
}

Gathered Gather(const std::string& in, bool quiet) {
  Gathered gathered;
  std::string problem;
  if (auto dataset = ReadDataset(in)) {
    if (!*dataset) throw Problem(in + ": is a dataset without a model");
    // As it stands: a copy keeps models, too, that cannot project.
    gathered.dataset = std::move(*dataset);
  } else if (const auto folder = ReadModelSet(in)) {
    gathered = GatherFolder(*folder, in, quiet);
  } else if (!gathered.dataset.Add(ForExchange(ReadModelFile(in), quiet), &problem)) {
    throw Problem(in + ": " + problem);
  }
  return gathered;
}

void WriteDataset(const TCipherRPCImpExpDataset& dataset, const std::string& path) {
  if (toupper(std::filesystem::path(path).extension().string()) != ".XML") {
    throw Problem(path + ": the name of a dataset to write ends in .xml");
  }
  TKaStringStream stream;
  std::string problem;
  if (!dataset.SaveToDocument(&stream, &problem)) throw Problem(path + ": " + problem);
  ReplaceFile(path, stream.Text());
}

struct WrittenFile {
  std::string name;  ///< of the model
  std::string path;
  WrittenModel written;
};

/// Writes all models into a folder, and tells of each what its form does to it.
std::vector<WrittenFile> WriteEach(const TCipherRPCImpExpDataset& dataset, const ConvertOptions& options) {
  const bool rpb = options.each == FormatName(ModelFormat::Rpb);
  const TE_RPCFileForm form = rpb ? TE_RPCFileForm::RPB : TE_RPCFileForm::Text;
  std::vector<WrittenFile> files;
  for (const TRPCExchangeModel& model : dataset.Models()) {
    const std::filesystem::path path =
        std::filesystem::path(options.out) / SatCommonUtils::RPCFileName(model.Name, form);
    PreparedModel prepared = PrepareModel(ModelOfDataset(options.in, model),
                                          rpb ? ModelFormat::Rpb : ModelFormat::Text, path.string());
    files.push_back({model.Name, path.string(), std::move(prepared.written)});
  }
  std::string problem;
  const SignalsHeldBack held_back;
  if (!dataset.ExportToFolder(options.out, form, SatCommonUtils::TE_FilePlace::Any, &problem)) {
    throw Problem(options.out + ": " + problem);
  }
  return files;
}

void TellSet(const ConvertOptions& options, const Gathered& gathered, const std::vector<WrittenFile>& files) {
  const std::string form = options.dataset ? FormatName(ModelFormat::Dataset) : options.each;
  const std::size_t models = gathered.dataset.Models().size();
  for (const WrittenFile& file : files) {
    for (const std::string& remark : file.written.remarks) {
      PrintRemarks({file.path + ": " + remark}, options.quiet);
    }
  }
  if (options.json) {
    nlohmann::ordered_json report;
    report["input"] = options.in;
    report["output"] = options.out;
    report["format"] = form;
    report["models"] = models;
    report["unread"] = gathered.unread;
    for (const WrittenFile& file : files) {
      report["files"].push_back({{"name", file.name},
                                 {"output", file.path},
                                 {"rounded", file.written.rounded},
                                 {"maxDifference", file.written.max_difference}});
    }
    PrintJson(report);
  } else if (!options.quiet) {
    std::printf("%s\n", KaPrintable(options.in).c_str());
    for (const WrittenFile& file : files) PrintWritten(file.written, file.path);
    std::printf("-> %s (%s), models: %zu\n", KaPrintable(options.out).c_str(), form.c_str(), models);
  }
}

int ConvertSet(const ConvertOptions& options) {
  if (options.dataset) KeepDataset(options.in, options.out);
  const Gathered gathered = Gather(options.in, options.quiet);
  std::vector<WrittenFile> files;
  if (options.dataset) {
    WriteDataset(gathered.dataset, options.out);
  } else {
    files = WriteEach(gathered.dataset, options);
  }
  TellSet(options, gathered, files);
  return gathered.unread == 0 ? AllComputed : SomePointsFailed;
}

}  // namespace

void AddConvertCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand(
      "convert", "Between RPB, RPC text and XML, by the suffix of OUT; to and from datasets");
  const auto options = std::make_shared<ConvertOptions>();
  AddModelArgument(command, "IN", &options->in);
  constexpr char OutText[] =
      "The model to write: .rpb, .txt or .xml; with --dataset, .xml; with --each, an existing folder";
  const auto out = command->add_option("OUT", options->out, OutText)->type_name("FILE");
  const auto output =
      command->add_option("-o,--output", options->out, "The same, as an option")->type_name("FILE");
  output->excludes(out);
  const auto dataset =
      command->add_flag("--dataset", options->dataset,
                        "Write a dataset: the models of IN, which may be a folder of RPB and "
                        "RPC text files, or a dataset");
  command->add_option("--each", options->each, "Write every model of such an IN into the folder OUT")
      ->check(CLI::IsMember({"rpb", "text"}).description(""))
      ->type_name("rpb|text")
      ->excludes(dataset);
  command->callback([=] {
    if (out->empty() && output->empty()) throw CLI::RequiredError("OUT");
    const bool set = options->dataset || !options->each.empty();
    *chosen = [=] { return set ? ConvertSet(*options) : Convert(*options); };
  });
  AddJsonOption(command, &options->json);
  AddQuietOption(command, &options->quiet);
}

}  // namespace app
