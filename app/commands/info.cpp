#include <array>
#include <cstdio>
#include <memory>
#include <optional>

#include "app/commands/commands.h"
#include "app/json_report.h"
#include "app/model_set.h"
#include "app/number_format.h"
#include "app/problem.h"
#include "host/quoted_text.h"
#include "kelvane/rpc/footprint.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace app {

namespace {

using SatCommonUtils::RPCDataCoefficients;
using SatCommonUtils::RPCDataFields;
using SatCommonUtils::TE_RPCUnit;
using SatCommonUtils::TRPCData;

struct InfoOptions {
  std::string model;
  bool json = false;
  bool quiet = false;
};

/// What is computed from the model; absent where the model gives none.
struct Derived {
  std::optional<std::array<SatCommonUtils::TGroundPosition, 4>> footprint;
  std::optional<SatCommonUtils::TGroundSampleDistance> distance;
};

Derived Derive(const ModelFile& file) {
  Derived derived;
  if (!file.model) return derived;
  // One that a file brought may be that of another model.
  file.model->CreateApproximation(SatCommonUtils::TRPC::ApproximationNodes);
  std::array<SatCommonUtils::TGroundPosition, 4> footprint;
  if (CalculateFootprint(*file.model, &footprint)) derived.footprint = footprint;
  SatCommonUtils::TGroundSampleDistance distance;
  if (CalculateGroundSampleDistance(*file.model, &distance)) derived.distance = distance;
  return derived;
}

nlohmann::ordered_json ToJson(const ModelFile& file, const Derived& derived) {
  nlohmann::ordered_json report;
  report["format"] = FormatName(file.format);
  if (!file.name.empty()) {
    report["name"] = file.name;
    report["file"] = file.image;
  }
  report["valid"] = file.defect.empty();
  for (const auto& field : RPCDataFields) report[field.Name] = file.data.*field.Value;
  for (const auto& set : RPCDataCoefficients) report[set.Name] = file.data.*set.Values;
  if (file.header.ErrBias) report["errBias"] = *file.header.ErrBias;
  if (file.header.ErrRand) report["errRand"] = *file.header.ErrRand;
  if (file.refinement) {
    auto& refinement = report["Refinement"];
    for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
      refinement[field.Key] = *file.refinement.*field.Value;
    }
  }
  auto& footprint = report["footprint"];
  if (derived.footprint) {
    for (const auto& corner : *derived.footprint) footprint.push_back({corner.Latitude, corner.Longitude});
  }
  auto& distance = report["groundSampleDistance"];
  if (derived.distance) {
    distance["line"] = derived.distance->Line;
    distance["sample"] = derived.distance->Sample;
  }
  return report;
}

const char* UnitName(TE_RPCUnit unit) {
  switch (unit) {
    case TE_RPCUnit::Pixels:
      return "pixels";
    case TE_RPCUnit::Angle:
      return "degrees";
    case TE_RPCUnit::Length:
      return "metres";
  }
  return "";
}

void PrintValue(const char* name, double value, const char* unit) {
  std::printf("  %-16s %s%s%s\n", name, ShortestNumber(value).c_str(), *unit == '\0' ? "" : " ", unit);
}

void PrintText(const ModelFile& file, const Derived& derived) {
  std::printf("%s: %s, %s\n", KaPrintable(file.path).c_str(), FormatName(file.format),
              file.defect.empty() ? "valid" : ("not valid: " + file.defect).c_str());
  if (file.format == ModelFormat::Dataset) {
    std::printf("model %s of the file %s\n", KaQuoted(file.name).c_str(), KaQuoted(file.image).c_str());
  }
  if (file.header.SatId || file.header.BandId) {
    std::printf("satellite %s, band %s\n", KaPrintable(file.header.SatId.value_or("?")).c_str(),
                KaPrintable(file.header.BandId.value_or("?")).c_str());
  }
  std::printf("\n");
  for (const auto& field : RPCDataFields) {
    PrintValue(field.Name, file.data.*field.Value, UnitName(field.Unit));
  }
  if (file.header.ErrBias) PrintValue("errBias", *file.header.ErrBias, "metres");
  if (file.header.ErrRand) PrintValue("errRand", *file.header.ErrRand, "metres");
  if (file.refinement) {
    std::printf("\nrefinement of the image coordinates:\n");
    for (const auto& field : SatCommonUtils::AffineCorrectionFields) {
      PrintValue(field.Key, *file.refinement.*field.Value, "");
    }
  }
  if (file.model && !derived.footprint) std::printf("\nno ground found for the corners of the image\n");
  if (derived.distance) {
    std::printf("\npixel on the ground: %.3f m from line to line, %.3f m from sample to sample\n",
                derived.distance->Line, derived.distance->Sample);
  }
  if (derived.footprint) {
    std::printf("corners of the image at %s m (latitude, longitude):\n",
                ShortestNumber(file.data.HeightOffset).c_str());
    for (const auto& corner : *derived.footprint)
      std::printf("  %.6f %.6f\n", corner.Latitude, corner.Longitude);
  }
  std::printf("\n  term");
  for (const auto& set : RPCDataCoefficients) std::printf(" %24s", set.Name);
  for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
    std::printf("\n  %4zu", k);
    for (const auto& set : RPCDataCoefficients) {
      std::printf(" %24s", ShortestNumber((file.data.*set.Values)[k]).c_str());
    }
  }
  std::printf("\n");
}

/// One line a model.
void PrintList(const ModelSet& set, const std::string& path) {
  std::printf("%s: %s, models: %zu (name, file, latitude and longitude of the middle)\n",
              KaPrintable(path).c_str(), set.is_folder ? "folder" : FormatName(ModelFormat::Dataset),
              set.models.size());
  for (const ModelFile& file : set.models) {
    std::printf("  %-24s %-32s ", KaPrintable(file.name).c_str(), KaPrintable(file.image).c_str());
    if (file.defect.empty()) {
      std::printf("%s %s\n", ShortestNumber(file.data.LatitudeOffset).c_str(),
                  ShortestNumber(file.data.LongitudeOffset).c_str());
    } else {
      std::printf("not valid: %s\n", file.defect.c_str());
    }
  }
}

int InfoOfSet(const ModelSet& set, const InfoOptions& options) {
  if (options.json) {
    nlohmann::ordered_json report;
    report["format"] = set.is_folder ? "folder" : FormatName(ModelFormat::Dataset);
    report["unread"] = set.problems.size();
    for (const ModelFile& file : set.models) report["models"].push_back(ToJson(file, Derive(file)));
    PrintJson(report);
  } else {
    PrintList(set, options.model);
  }
  PrintRemarks(set.problems, false);
  PrintRemarks(set.remarks, options.quiet);
  bool all_valid = set.problems.empty();
  for (const ModelFile& file : set.models) {
    PrintRemarks(file.remarks, options.quiet);
    if (!file.defect.empty()) PrintRemarks({file.path + ": " + file.defect}, false);
    all_valid = all_valid && file.defect.empty();
  }
  return all_valid ? AllComputed : SomePointsFailed;
}

int Info(const InfoOptions& options) {
  if (const auto set = ReadModelSet(options.model); set && (set->is_folder || set->models.size() > 1)) {
    return InfoOfSet(*set, options);
  }
  const ModelFile file = ReadModelFile(options.model);
  const Derived derived = Derive(file);
  if (options.json) {
    PrintJson(ToJson(file, derived));
  } else {
    PrintText(file, derived);
  }
  if (!file.defect.empty()) throw Problem(file.path + ": " + file.defect);
  PrintRemarks(file.remarks, options.quiet);
  return AllComputed;
}

}  // namespace

void AddInfoCommand(CLI::App* program, Action* chosen) {
  CLI::App* const command = program->add_subcommand(
      "info", "What a model holds, and where its image lies; of a folder or a dataset, which models");
  const auto options = std::make_shared<InfoOptions>();
  AddModelArgument(command, "MODEL", &options->model);
  AddJsonOption(command, &options->json);
  AddQuietOption(command, &options->quiet);
  command->callback([=] { *chosen = [=] { return Info(*options); }; });
}

}  // namespace app
