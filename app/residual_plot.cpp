#include "app/residual_plot.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "app/files.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "host/quoted_text.h"

extern char** environ;  // POSIX leaves it to the program

namespace app {

namespace {

constexpr char NoGnuplot[] = "a picture takes gnuplot, which is not installed (Debian: gnuplot-nox)";

bool EndsIn(const std::string& path, std::string_view suffix) {
  const auto same = [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; };
  return path.size() > suffix.size() &&
         std::equal(suffix.begin(), suffix.end(), path.end() - static_cast<int>(suffix.size()),
                    [&](char b, char a) { return same(a, b); });
}

using Actions = std::unique_ptr<posix_spawn_file_actions_t, int (*)(posix_spawn_file_actions_t*)>;

/// A file without a name, gone when it is closed.
FileDescriptor Scratch() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  if (file == nullptr) throw SystemProblem("a temporary file");
  return FileDescriptor(::dup(fileno(file.get())));
}

/// Runs gnuplot with these arguments and this standard input; what it printed.
std::string RunGnuplot(const std::string& script) {
  const FileDescriptor in = Scratch();
  const FileDescriptor out = Scratch();
  const FileDescriptor err = Scratch();
  WriteAll(in.Number(), script, "a temporary file");
  ::lseek(in.Number(), 0, SEEK_SET);
  posix_spawn_file_actions_t made;
  ::posix_spawn_file_actions_init(&made);
  const Actions actions(&made, ::posix_spawn_file_actions_destroy);
  ::posix_spawn_file_actions_adddup2(&made, in.Number(), STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&made, out.Number(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&made, err.Number(), STDERR_FILENO);
  std::string name = "gnuplot";
  char* const arguments[] = {name.data(), nullptr};
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, name.c_str(), &made, nullptr, arguments, environ);
  if (failure == ENOENT) throw Problem(NoGnuplot);
  if (failure != 0) throw Problem(std::string("gnuplot: ") + std::strerror(failure));
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  ::lseek(out.Number(), 0, SEEK_SET);
  ::lseek(err.Number(), 0, SEEK_SET);
  constexpr std::size_t Most = std::size_t{1} << 28;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    // posix_spawnp may find out in the child that there is no such program.
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) throw Problem(NoGnuplot);
    throw Problem("gnuplot failed: " + KaPrintable(ReadUpTo(err, 500, "gnuplot")));
  }
  return ReadUpTo(out, Most, "gnuplot");
}

/// Text between double quotes of gnuplot.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : KaPrintable(text)) {
    if (c == '"' || c == '\\' || c == '`') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

void AppendRow(std::initializer_list<double> numbers, std::string* text) {
  for (const double number : numbers) {
    AppendNumber(text, number, 8);
    *text += ' ';
  }
  *text += '\n';
}

/// The factor that makes the largest residual, but for a few, a twentieth of the image wide.
double Enlargement(const std::vector<ResidualVector>& residuals) {
  std::vector<double> lengths;
  double least[2] = {HUGE_VAL, HUGE_VAL};
  double most[2] = {-HUGE_VAL, -HUGE_VAL};
  for (const ResidualVector& r : residuals) {
    lengths.push_back(std::hypot(r.by_line, r.by_sample));
    least[0] = std::min(least[0], r.line);
    least[1] = std::min(least[1], r.sample);
    most[0] = std::max(most[0], r.line);
    most[1] = std::max(most[1], r.sample);
  }
  const auto place = lengths.begin() + static_cast<std::ptrdiff_t>((lengths.size() - 1) * 19 / 20);
  std::nth_element(lengths.begin(), place, lengths.end());
  const double extent = std::max(most[0] - least[0], most[1] - least[1]);
  const double factor = extent / 20.0 / *place;
  return factor > 0.0 && std::isfinite(factor) ? factor : 1.0;
}

std::string VectorBlock(const std::vector<ResidualVector>& residuals, double factor) {
  std::string text = "$vectors << END\n";
  const std::size_t shown = std::min(residuals.size(), MostVectors);
  for (std::size_t i = 0; i < shown; ++i) {
    const ResidualVector& r = residuals[i * residuals.size() / shown];
    AppendRow({r.sample, r.line, factor * r.by_sample, factor * r.by_line}, &text);
  }
  return text + "END\n";
}

/// Twice the cube root of the number of points (Rice's rule), within what can be told apart.
int BinCount(std::size_t points) {
  return std::clamp(static_cast<int>(std::ceil(2.0 * std::cbrt(static_cast<double>(points)))), 5, 60);
}

std::string HistogramBlock(const std::vector<ResidualVector>& residuals, double* width) {
  double reach = 0.0;
  for (const ResidualVector& r : residuals) {
    reach = std::max({reach, std::fabs(r.by_line), std::fabs(r.by_sample)});
  }
  const int bins = BinCount(residuals.size());
  *width = reach > 0.0 ? 2.0 * reach / bins : 1.0;
  std::vector<std::array<double, 2>> counts(static_cast<std::size_t>(bins));
  const auto bin = [&](double value) {
    return static_cast<std::size_t>(std::clamp(static_cast<int>((value + reach) / *width), 0, bins - 1));
  };
  for (const ResidualVector& r : residuals) {
    counts[bin(r.by_line)][0] += 1.0;
    counts[bin(r.by_sample)][1] += 1.0;
  }
  std::string text = "$bins << END\n";
  for (std::size_t i = 0; i < counts.size(); ++i) {
    AppendRow({(static_cast<double>(i) + 0.5) * *width - reach, counts[i][0], counts[i][1]}, &text);
  }
  return text + "END\n";
}

}  // namespace

void CheckPlotPath(const std::string& path) {
  if (path.empty()) return;
  if (!EndsIn(path, ".png") && !EndsIn(path, ".svg")) {
    throw Problem(path + ": a picture is written as .png or .svg");
  }
  RunGnuplot("");
}

void PlotResiduals(const std::string& path, const std::string& title,
                   const std::vector<ResidualVector>& given) {
  std::vector<ResidualVector> residuals;
  std::copy_if(given.begin(), given.end(), std::back_inserter(residuals), [](const ResidualVector& r) {
    return std::isfinite(r.line + r.sample + r.by_line + r.by_sample);
  });
  if (residuals.empty()) throw Problem(path + ": there are no residuals to be drawn");
  const double factor = Enlargement(residuals);
  double width = 0.0;
  std::string script = VectorBlock(residuals, factor) + HistogramBlock(residuals, &width);
  script +=
      EndsIn(path, ".png") ? "set terminal pngcairo size 1400,700\n" : "set terminal svg size 1400,700\n";
  script += "set encoding utf8\nset multiplot layout 1,2 title " + Quoted(title) + " noenhanced\n";
  char enlarged[64];
  std::snprintf(enlarged, sizeof enlarged,
                factor < 10.0 ? "residuals, %.2g times as long" : "residuals, %.0f times as long", factor);
  script += "set title " + Quoted(enlarged) + "\n";
  script +=
      "set xlabel 'sample, pixels'\nset ylabel 'line, pixels'\nset yrange [*:*] reverse\nset size ratio -1\n"
      "set key off\nplot $vectors using 1:2:3:4 with vectors head filled linecolor rgb '#1f5a96'\n";
  script +=
      "set title 'points by residual'\nset xlabel 'residual, pixels'\nset ylabel 'points'\nset yrange [0:*] "
      "noreverse\nset size noratio\nset key on\nset style fill transparent solid 0.5 noborder\nset boxwidth ";
  AppendNumber(&script, width, 8);
  script +=
      "\nplot $bins using 1:2 with boxes title 'line', $bins using 1:3 with boxes title 'sample'\n"
      "unset multiplot\n";
  ReplaceFile(path, RunGnuplot(script));
}

}  // namespace app
