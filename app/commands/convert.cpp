#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "app/commands/commands.h"
#include "app/model_file.h"
#include "app/problem.h"

namespace app {

namespace {

struct ConvertOptions {
  std::string in;
  std::string out;
  bool json = false;
  bool quiet = false;
};

int Convert(const ConvertOptions& options) {
  const ModelFile file = ReadModelFile(options.in);
  PrintRemarks(file.remarks, options.quiet);
  const WrittenModel written = WriteModelFile(file, options.out);
  PrintRemarks(written.remarks, options.quiet);
  if (options.json) {
    nlohmann::ordered_json report;
    report["input"] = file.path;
    report["inputFormat"] = FormatName(file.format);
    report["output"] = options.out;
    report["format"] = FormatName(written.format);
    report["rounded"] = written.rounded;
    report["maxDifference"] = written.max_difference;
    std::printf("%s\n", report.dump(2).c_str());
  } else if (!options.quiet) {
    std::printf("%s (%s) -> %s (%s)\n", file.path.c_str(), FormatName(file.format), options.out.c_str(),
                FormatName(written.format));
    if (written.rounded == 0) {
      std::printf("all 90 numbers kept bit for bit\n");
    } else {
      std::printf("rounded by this form: %d of 90 numbers; projections differ by up to %.3g pixels\n",
                  written.rounded, written.max_difference);
    }
  }
  return AllComputed;
}

}  // namespace

void AddConvertCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command =
      program->add_subcommand("convert", "Between RPB, RPC text and XML, by the suffix of OUT");
  const auto options = std::make_shared<ConvertOptions>();
  command->add_option("IN", options->in, "RPC file, or the image that it lies beside")->required();
  command->add_option("OUT,-o,--output", options->out, "The model to write: .rpb, .txt or .xml")->required();
  AddJsonOption(command, &options->json);
  AddQuietOption(command, &options->quiet);
  command->callback([=] { *chosen = [=] { return Convert(*options); }; });
}

}  // namespace app
