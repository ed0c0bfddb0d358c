#include "app/fit_report.h"

#include <algorithm>
#include <cstdio>

#include "app/commands/commands.h"
#include "app/estimation_run.h"
#include "app/line_problems.h"

namespace app {

namespace {

using SatCommonUtils::TE_RPCFitEnding;
using SatCommonUtils::TE_RPCFitVerdict;
using SatCommonUtils::TRPCEstimationDataItem;
using SatCommonUtils::TRPCFitFunction;
using SatCommonUtils::TRPCResiduals;

/// Over the points that were not down-weighted.
TRPCResiduals Residuals(const FittedModel& fitted, const Correspondences& points,
                        const WrittenModel& written) {
  std::vector<TRPCEstimationDataItem> kept;
  auto next = fitted.report.DownWeighted.begin();
  for (std::size_t i = 0; i < points.items.size(); ++i) {
    const bool down_weighted = next != fitted.report.DownWeighted.end() && next->Item == i;
    if (down_weighted)
      ++next;
    else
      kept.push_back(points.items[i]);
  }
  return CalculateResiduals(*written.model, kept);
}

const char* EndingName(TE_RPCFitEnding ending) {
  switch (ending) {
    case TE_RPCFitEnding::Converged:
      return "converged";
    case TE_RPCFitEnding::NoBetterStep:
      return "no better step";
    case TE_RPCFitEnding::StepLimit:
      break;
  }
  return "step limit";
}

const char* VerdictName(TE_RPCFitVerdict verdict) {
  return verdict == TE_RPCFitVerdict::Trustworthy ? "trustworthy" : "doubtful";
}

/// How the fit ended, in the words of the classic one.
SatCommonUtils::TRPCEstimationReport Ending(const FittedModel& fitted) {
  return fitted.classic ? fitted.estimation : EndingOf(fitted.report);
}

nlohmann::ordered_json AsJson(const TRPCFitFunction& function) {
  nlohmann::ordered_json json;
  json["degree"] = function.Degree;
  json["degreesOfFreedom"] = function.DegreesOfFreedom;
  json["heldOutRms"] = function.HeldOutRms;
  json["heldOutMax"] = function.HeldOutMax;
  json["condition"] = function.Condition;
  json["regularization"] = function.Regularization;
  json["iterations"] = function.Iterations;
  json["ending"] = EndingName(function.Ending);
  json["poleRefused"] = function.PoleRefused;
  return json;
}

void PrintFunction(const char* name, const TRPCFitFunction& function, double rms, double max) {
  std::printf("%-7s rms %.3g, at most %.3g pixels; of points held out: rms %.3g, at most %.3g\n", name, rms,
              max, function.HeldOutRms, function.HeldOutMax);
  std::printf("        order %d, %s after %d iterations, condition %.2g, weight of higher terms %.2g\n",
              function.Degree, EndingName(function.Ending), function.Iterations, function.Condition,
              function.Regularization);
}

}  // namespace

void PrintFitAsJson(const FittedModel& fitted, const Correspondences& points, const WrittenModel& written) {
  const TRPCResiduals residuals = Residuals(fitted, points, written);
  nlohmann::ordered_json report;
  report["method"] = fitted.classic ? "classic" : "robust";
  report["points"] = points.items.size();
  report["rmsLine"] = residuals.RmsLine;
  report["rmsSample"] = residuals.RmsSample;
  report["maxResidual"] = std::max(residuals.MaxLine, residuals.MaxSample);
  report["maxResidualLine"] = residuals.MaxLine;
  report["maxResidualSample"] = residuals.MaxSample;
  const auto ending = Ending(fitted);
  report["iterations"] = ending.Iterations;
  report["converged"] = ending.Converged;
  if (!fitted.classic) {
    report["verdict"] = VerdictName(fitted.report.Verdict);
    report["remark"] = fitted.report.Text;
    report["heldOut"] = fitted.report.HeldOut;
    report["downWeighted"] = nlohmann::json::array();
    for (const auto& point : fitted.report.DownWeighted)
      report["downWeighted"].push_back(points.lines[point.Item]);
    report["line"] = AsJson(fitted.report.Line);
    report["sample"] = AsJson(fitted.report.Sample);
  }
  report["rounded"] = written.rounded;
  report["maxDifference"] = written.max_difference;
  PrintJson(report);
}

void PrintFit(const FittedModel& fitted, const Correspondences& points, const WrittenModel& written,
              const std::string& out) {
  const TRPCResiduals residuals = Residuals(fitted, points, written);
  std::printf("%zu points", points.items.size());
  if (fitted.classic) {
    std::printf("\nline:   rms %.3g, at most %.3g pixels\nsample: rms %.3g, at most %.3g pixels\n",
                residuals.RmsLine, residuals.MaxLine, residuals.RmsSample, residuals.MaxSample);
    PrintEnding(fitted.estimation);
  } else {
    if (!fitted.report.DownWeighted.empty())
      std::printf(", %zu of them down-weighted", fitted.report.DownWeighted.size());
    std::printf("\n");
    PrintFunction("line:", fitted.report.Line, residuals.RmsLine, residuals.MaxLine);
    PrintFunction("sample:", fitted.report.Sample, residuals.RmsSample, residuals.MaxSample);
    std::printf("%s\n", fitted.report.Text.c_str());
  }
  PrintWritten(written, out);
}

void TellDownWeighted(const FittedModel& fitted, const Correspondences& points, const std::string& source) {
  LineProblems problems(source);
  for (const auto& point : fitted.report.DownWeighted) {
    if (!problems.TellsMore()) break;
    const auto residuals = CalculateResiduals(*fitted.file.model, {points.items[point.Item]});
    char text[96];
    std::snprintf(text, sizeof text,
                  "down-weighted: %.3g lines and %.3g samples from where the model sees it",
                  residuals.MaxLine, residuals.MaxSample);
    problems.Tell(points.lines[point.Item], text);
  }
  problems.TellCount(fitted.report.DownWeighted.size(), points.items.size(), "are down-weighted");
}

void TellDoubts(const FittedModel& fitted, const std::string& out) {
  if (!fitted.classic && fitted.report.Verdict == TE_RPCFitVerdict::Doubtful)
    PrintRemarks({out + ": WARNING: " + fitted.report.Text}, false);
}

}  // namespace app
