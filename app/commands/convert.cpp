#include <cstdio>
#include <memory>

#include "app/commands/commands.h"
#include "app/json_report.h"
#include "app/model_writing.h"
#include "app/problem.h"
#include "host/quoted_text.h"

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

}  // namespace

void AddConvertCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command =
      program->add_subcommand("convert", "Between RPB, RPC text and XML, by the suffix of OUT");
  const auto options = std::make_shared<ConvertOptions>();
  AddModelArgument(command, "IN", &options->in);
  constexpr char OutText[] = "The model to write: .rpb, .txt or .xml";
  const auto out = command->add_option("OUT", options->out, OutText)->type_name("FILE");
  const auto output =
      command->add_option("-o,--output", options->out, "The same, as an option")->type_name("FILE");
  output->excludes(out);
  command->callback([=] {
    if (out->empty() && output->empty()) throw CLI::RequiredError("OUT");
    *chosen = [=] { return Convert(*options); };
  });
  AddJsonOption(command, &options->json);
  AddQuietOption(command, &options->quiet);
}

}  // namespace app
