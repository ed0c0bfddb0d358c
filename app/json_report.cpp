#include "app/json_report.h"

#include <cstdio>

namespace app {

void PrintJson(const nlohmann::ordered_json& report) {
  using Json = nlohmann::ordered_json;
  std::printf("%s\n", report.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace app
