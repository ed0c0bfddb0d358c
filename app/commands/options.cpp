#include <cmath>
#include <cstdio>

#include "app/commands/commands.h"
#include "host/number_text.h"
#include "host/quoted_text.h"
#include "host/runtime.h"
#include "kelvane/module/host/runtime.h"

namespace app {

namespace {

constexpr int MostDigits = 50;

double ReadHeight(const std::string& text) {
  double height = 0.0;
  if (!KaParseNumber(text, &height) || !std::isfinite(height)) {
    throw CLI::ValidationError("--height", "\"" + text + "\" is no height in metres");
  }
  return height;
}

/// Help shows the type's name, which tells the choices; the validator need not repeat them.
CLI::Validator Undescribed(CLI::Validator validator) { return validator.description(""); }

}  // namespace

void AddPointInputOptions(CLI::App* command, PointOptions* options) {
  command
      ->add_option("-p,--points", options->path,
                   "Where points come from; without it, or with -, standard input")
      ->type_name("FILE");
  command->add_flag("--xy", options->xy,
                    "Points as x first: lon lat h and sample line, on the way in and out");
  command
      ->add_option_function<std::string>(
          "--origin", [options](const std::string& origin) { options->corner_origin = origin == "corner"; },
          "Image coordinates count from the center of the first pixel, or from its corner (values 0.5 "
          "larger)")
      ->check(Undescribed(CLI::IsMember({"center", "corner"})))
      ->type_name("center|corner");
  AddThreadsOption(command, &options->threads);
  command->add_flag("--quiet", options->quiet, "No progress bar, no remarks");
}

void AddThreadsOption(CLI::App* command, int* threads) {
  *threads = KaGetThreadsCount();
  command->add_option("--threads", *threads, "Worker threads; default KELVANE_THREADS, or all processors")
      ->check(Undescribed(CLI::Range(1, KaMostThreads)))
      ->type_name("N");
}

void AddPointOptions(CLI::App* command, PointOptions* options) {
  AddPointInputOptions(command, options);
  command->add_option("--precision", options->precision, "Significant digits, instead of as many as it takes")
      ->check(Undescribed(CLI::Range(1, MostDigits)))
      ->type_name("N");
}

void AddHeightOption(CLI::App* command, PointOptions* options) {
  command
      ->add_option_function<std::string>(
          "--height", [options](const std::string& text) { options->height = ReadHeight(text); },
          "Height in metres for points that come without one")
      ->type_name("H");
}

void AddOutputOption(CLI::App* command, std::string* path) {
  command->add_option("-o,--output", *path, "The model to write: .rpb, .txt or .xml")
      ->required()
      ->type_name("FILE");
}

void PrintWritten(const WrittenModel& written, const std::string& path) {
  std::printf("-> %s (%s): ", KaPrintable(path).c_str(), FormatName(written.format));
  if (written.rounded == 0) {
    std::printf("all 90 numbers kept bit for bit\n");
  } else {
    std::printf("%d of 90 numbers rounded by this form; projections differ by up to %.3g\n", written.rounded,
                written.max_difference);
  }
}

void AddQuietOption(CLI::App* command, bool* quiet) { command->add_flag("--quiet", *quiet, "No remarks"); }

void AddModelArgument(CLI::App* command, const char* name, std::string* path) {
  command->add_option(name, *path, ModelText)->required()->type_name("FILE");
}

void AddPlotOption(CLI::App* command, std::string* path) {
  command->add_option("--plot", *path, "Draw the residuals over the image, and their histogram: .png or .svg")
      ->type_name("FILE");
}

void AddJsonOption(CLI::App* command, bool* json) {
  command->add_flag("--json", *json, "The report as one JSON object");
}

void PrintRemarks(const std::vector<std::string>& remarks, bool quiet) {
  if (quiet) return;
  for (const std::string& remark : remarks) std::fprintf(stderr, "%s\n", KaPrintable(remark).c_str());
}

}  // namespace app
