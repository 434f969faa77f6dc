// `tools`: which adb is used, where it comes from, and why the others are not.
#include <algorithm>
#include <iostream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/device_commands.h"
#include "companion/adb_looks_text.h"
#include "companion/tablet_link.h"
#include "core/tablet/adb_error.h"

namespace lumivale::cli {
namespace {

nlohmann::json lookJson(const AdbCandidateLook& look, bool used) {
  nlohmann::json entry{{"path", look.candidate.path.string()},
                       {"source", sourceName(look.candidate.source)},
                       {"used", used}};
  if (look.resolved) entry["resolved"] = look.resolved->string();
  if (look.version) entry["version"] = *look.version;
  if (look.problem) entry["problem"] = *look.problem;
  return entry;
}

}  // namespace

void addToolsCommand(CLI::App& app, GlobalOptions& options) {
  auto* tools = app.add_subcommand("tools", "Show which adb is used and why the others are not");
  auto json = std::make_shared<bool>(false);
  tools->add_flag("--json", *json, "Print JSON: every candidate, in the order they are tried");
  tools->require_subcommand(0, 1);
  addToolsCopyCommands(*tools, options);
  tools->callback([tools, json] {
    if (!tools->get_subcommands().empty()) return;
    auto looks = AdbLocate::unusableReasons(companion::adbSearch());
    auto used = std::find_if(looks.cbegin(), looks.cend(),
                             [](const AdbCandidateLook& look) { return !look.problem; });
    if (used == looks.cend()) throw AdbError(AdbLocate::missingMessage(looks), true);
    if (!*json) {
      std::cout << companion::adbLooksText(looks);
      return;
    }
    nlohmann::json candidates = nlohmann::json::array();
    for (auto look = looks.cbegin(); look != looks.cend(); ++look)
      candidates.push_back(lookJson(*look, look == used));
    std::cout << nlohmann::json{{"candidates", candidates}}.dump(2) << "\n";
  });
}

}  // namespace lumivale::cli
