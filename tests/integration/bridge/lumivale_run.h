#pragma once

// `lumivale` run as a user would, with a settings folder of the test's own, against a
// stand-in tablet.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/tablet/tool_run.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {

// `cabled`: the stand-in is named as one, so it counts as a cable connection; otherwise
// its TCP serial is Wi-Fi.
inline ToolRun runLumivale(const StandinTablet& tablet, const std::filesystem::path& configFolder,
                           const std::vector<std::string>& arguments, bool cabled = true,
                           const Environment& extra = {}) {
  Environment environment = tablet.adbEnvironment();
  environment["LUMIVALE_CONFIG_DIR"] = configFolder.string();
  if (cabled) environment["LUMIVALE_STANDIN_SERIAL"] = tablet.serial();
  for (const auto& [name, value] : extra)
    environment[name] = value;
  return ToolRun::runIn(environment, LUMIVALE_CLI, arguments, Seconds(120));
}

inline nlohmann::json readSettings(const std::filesystem::path& configFolder) {
  std::ifstream file(configFolder / "config.json");
  return nlohmann::json::parse(file);
}

inline void writeSettings(const std::filesystem::path& configFolder,
                          const nlohmann::json& settings) {
  std::ofstream(configFolder / "config.json", std::ios::trunc) << settings.dump(2);
}

}  // namespace lumivale::testing
