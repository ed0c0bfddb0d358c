/// \file
/// Reports as JSON.
#pragma once

#include <nlohmann/json.hpp>

namespace app {

/// Prints the report on standard output. A name that is not UTF-8 shows replacement characters.
void PrintJson(const nlohmann::ordered_json& report);

}  // namespace app
