/// The RPC text form: one "KEY: number unit" a line.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <system_error>

#include "kelvane/module/c_numeric_locale.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/problem.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_data_keys.h"

namespace SatCommonUtils {

namespace {

constexpr std::size_t LineCapacity = 512;

std::string CoefficientKey(const TRPCDataCoefficients& set, std::size_t k) {
  return set.TextPrefix + std::to_string(k + 1);
}

/// Where the number of each key goes: 90 entries.
std::map<std::string, double*> Destinations(TRPCData* data) {
  std::map<std::string, double*> destinations;
  for (const TRPCDataField& field : RPCDataFields) destinations[field.TextKey] = &(data->*field.Value);
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    for (std::size_t k = 0; k < TRPCData::CoefficientCount; ++k) {
      destinations[CoefficientKey(set, k)] = &(data->*set.Values)[k];
    }
  }
  return destinations;
}

/// Takes a line for an error figure if it is one that was not yet read.
void ReadErrorFigure(const std::string& key, const char* text, TRPBHeader* header) {
  if (header == nullptr || (key != "ERR_BIAS" && key != "ERR_RAND")) return;
  std::optional<double>& figure = key == "ERR_BIAS" ? header->ErrBias : header->ErrRand;
  double value = 0.0;
  if (!figure && std::sscanf(text, "%lf", &value) == 1) figure = value;
}

/// Characters of a number at the beginning of the text; 0 when it does not begin with one.
std::size_t NumberLength(std::string_view text) {
  const std::string_view digits = text.substr(text.substr(0, 1) == "+" ? 1 : 0);
  if (digits.size() < text.size() && digits.substr(0, 1) == "-") return 0;
  double value = 0.0;
  const std::from_chars_result result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec == std::errc::invalid_argument) return 0;
  return static_cast<std::size_t>(result.ptr - text.data());
}

/// What stands behind a number and would go on with it: an exponent of another language, thousands.
bool GoesOn(std::string_view rest) {
  const bool exponent = !rest.empty() && std::string_view("dDqQ").find(rest[0]) != std::string_view::npos;
  const bool divided = !rest.empty() && (rest[0] == ',' || rest[0] == '.');
  const std::size_t digit = exponent && rest.size() > 1 && (rest[1] == '+' || rest[1] == '-') ? 2 : 1;
  return (exponent || divided) && rest.size() > digit && rest[digit] >= '0' && rest[digit] <= '9';
}

/// The number that the text seems to hold but does not; empty where a reader takes all of it, or nothing.
std::string_view BrokenNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (!GoesOn(text.substr(NumberLength(text)))) return {};
  return text.substr(0, text.find_first_not_of("0123456789+-.,eEdDqQ"));
}

std::string DescribeMissing(const std::map<std::string, double*>& missing) {
  std::string text = "no number for " + missing.begin()->first;
  if (missing.size() > 1) text += " and " + std::to_string(missing.size() - 1) + " more of the 90 keys";
  return text;
}

const std::string& UnitText(TE_RPCUnit unit, const std::string& angle, const std::string& length) {
  static const std::string pixels = "pixels";
  switch (unit) {
    case TE_RPCUnit::Angle:
      return angle;
    case TE_RPCUnit::Length:
      return length;
    case TE_RPCUnit::Pixels:
      break;
  }
  return pixels;
}

std::string FieldLine(const TRPCDataField& field, double value, const std::string& unit) {
  return Tessarin::ssprintf(field.TextZeroPadded ? "%s: %+0*.*lf %s\r\n" : "%s: %+*.*lf %s\r\n",
                            field.TextKey, field.TextWidth, field.TextDecimals, value, unit.c_str());
}

bool WriteLine(TKaStream* stream, const std::string& line) {
  return stream->Write(line.data(), line.size()) == line.size();
}

}  // namespace

bool TRPCData::InitializeFromText(TKaStream* stream) { return InitializeFromText(stream, nullptr); }

bool TRPCData::InitializeFromText(TKaStream* stream, std::string* problem) {
  return InitializeFromText(stream, nullptr, problem);
}

bool TRPCData::InitializeFromText(TKaStream* stream, TRPBHeader* header, std::string* problem) try {
  if (!stream->IsReady()) return Fail(problem, "the stream cannot be read");
  const TCNumericLocale point;
  std::map<std::string, double*> missing = Destinations(this);
  char line[LineCapacity];
  while (!stream->AtEnd()) {
    const std::size_t length = stream->ReadLine(line, sizeof line);
    if (length == 0) continue;
    const std::string text = line;
    // Otherwise a device that gives zeros for ever would be read for ever.
    if (text.size() < length) return Fail(problem, "it holds zero bytes: this is no text");
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) continue;
    const std::string key = text.substr(0, colon);
    ReadErrorFigure(key, line + colon + 1, header);
    const auto entry = missing.find(key);
    if (entry == missing.end()) continue;
    if (std::sscanf(line + colon + 1, "%lf", entry->second) == 1) missing.erase(entry);
  }
  return missing.empty() || Fail(problem, DescribeMissing(missing));
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the stream cannot be read");
}

bool RPCTextNumbersAreWhole(TKaStream* stream, std::string* problem) try {
  TRPCData data;
  std::map<std::string, double*> unseen = Destinations(&data);
  char line[LineCapacity];
  while (!stream->AtEnd()) {
    const std::string_view text(line, stream->ReadLine(line, sizeof line));
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || unseen.erase(std::string(text.substr(0, colon))) == 0) continue;
    const std::string_view broken = BrokenNumber(text.substr(colon + 1));
    if (broken.empty()) continue;
    return Fail(problem,
                std::string(text.substr(0, colon)) + ": \"" + std::string(broken) + "\" is no number");
  }
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the stream cannot be read");
}

bool TRPCData::InitializeFromTextFile(const std::string& path) try {
  TKaFileStream file;
  return file.Open(TKaPath(path), kaOpenRead, kaShareAll) && InitializeFromText(&file);
} catch (...) {
  return false;
}

bool TRPCData::SaveToText(TKaStream* stream, std::string angleUnit, std::string lengthUnit) const try {
  if (angleUnit.empty()) angleUnit = "degrees";
  if (lengthUnit.empty()) lengthUnit = "meters";
  for (std::size_t i = 0; i < RPCDataFieldCount; ++i) {
    const TRPCDataField& field = RPCDataFieldOffsetsFirst(i);
    const std::string& unit = UnitText(field.Unit, angleUnit, lengthUnit);
    if (!WriteLine(stream, FieldLine(field, this->*field.Value, unit))) return false;
  }
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    for (std::size_t k = 0; k < CoefficientCount; ++k) {
      const std::string key = CoefficientKey(set, k);
      if (!WriteLine(stream, Tessarin::ssprintf("%s: %+.15lE\r\n", key.c_str(), (this->*set.Values)[k]))) {
        return false;
      }
    }
  }
  return true;
} catch (...) {
  return false;
}

}  // namespace SatCommonUtils
