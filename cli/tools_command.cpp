// `tools`: which adb is used, where it comes from, and why the others are not.
#include <algorithm>
#include <iostream>

#include <fmt/format.h>

#include "cli/device_commands.h"
#include "cli/tablet_session.h"
#include "core/tablet/adb_error.h"

namespace lumivale::cli {

void addToolsCommand(CLI::App& app) {
  auto* tools = app.add_subcommand("tools", "Show which adb is used and why the others are not");
  tools->callback([] {
    auto looks = AdbLocate::unusableReasons(adbSearch());
    auto used = std::find_if(looks.begin(), looks.end(),
                             [](const AdbCandidateLook& look) { return !look.problem; });
    if (used == looks.end()) throw AdbError(AdbLocate::missingMessage(looks), true);
    std::cout << fmt::format("adb: {} ({})", used->candidate.path.string(),
                             sourceName(used->candidate.source));
    if (used->resolved && *used->resolved != used->candidate.path)
      std::cout << " -> " << used->resolved->string();
    std::cout << "\n";
    for (const auto& look : looks) {
      if (&look == &*used) continue;
      std::cout << fmt::format("  {:<15} {}: {}\n", sourceName(look.candidate.source),
                               look.candidate.path.string(),
                               look.problem.value_or("usable, but comes later"));
    }
  });
}

}  // namespace lumivale::cli
