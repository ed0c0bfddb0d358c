/// \file
/// The subcommands. Each adds itself to the command line and, when chosen, leaves what to run in
/// `*chosen`; that returns the exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "app/model_writing.h"
#include "app/point_stream.h"

namespace app {

using Action = std::function<int()>;

void AddInfoCommand(CLI::App* program, Action* chosen);
void AddProjectCommand(CLI::App* program, Action* chosen);
void AddLocateCommand(CLI::App* program, Action* chosen);
void AddIntersectCommand(CLI::App* program, Action* chosen);
void AddFitCommand(CLI::App* program, Action* chosen);
void AddInvertCommand(CLI::App* program, Action* chosen);
void AddRefineCommand(CLI::App* program, Action* chosen);
void AddExportCommand(CLI::App* program, Action* chosen);
void AddConvertCommand(CLI::App* program, Action* chosen);

/// The options of every command that reads points: `--points`, `--xy`, `--origin`, `--threads`, `--quiet`.
void AddPointInputOptions(CLI::App* command, PointOptions* options);

/// Those, and `--precision`: the options of every command that answers points.
void AddPointOptions(CLI::App* command, PointOptions* options);

/// `--threads`, at first as many as the host counts.
void AddThreadsOption(CLI::App* command, int* threads);

/// `--height`, of those whose points have one.
void AddHeightOption(CLI::App* command, PointOptions* options);

/// `--output`, required.
void AddOutputOption(CLI::App* command, std::string* path);

/// Tells on standard output what writing a model did to its numbers.
void PrintWritten(const WrittenModel& written, const std::string& path);

/// `--plot`.
void AddPlotOption(CLI::App* command, std::string* path);

/// How help names a model.
inline constexpr char ModelText[] =
    "RPC file (RPB, RPC text, XML, a provider's DIMAP or isd XML), or the image that it lies beside; of a "
    "dataset with several models, FILE:NAME";

/// The argument that names a model.
void AddModelArgument(CLI::App* command, const char* name, std::string* path);

/// `--quiet` of a command without progress.
void AddQuietOption(CLI::App* command, bool* quiet);

/// `--json`.
void AddJsonOption(CLI::App* command, bool* json);

/// Prints remarks to standard error, unless quiet.
void PrintRemarks(const std::vector<std::string>& remarks, bool quiet);

}  // namespace app
