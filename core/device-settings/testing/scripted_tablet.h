#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/tablet/adb_error.h"
#include "core/tablet/tablet_shell.h"
#include "core/tablet/testing/fake_adb_runner.h"

namespace lumivale::testing {

// A scripted tablet that understands the lines the settings send: each command of a
// line is answered by the first matching rule of `script`, followed by its exit marker.
class ScriptedTablet : public AdbRunner {
 public:
  std::string shell(const std::string& serial, const std::string& line, Seconds,
                    const StopToken* = nullptr) override {
    lines.push_back(line);
    if (!failure.empty()) throw AdbError(failure);
    const std::string ending = TabletShell::withMarker(" 2>&1");
    std::string output;
    std::string_view rest = line;
    while (!rest.empty()) {
      auto end = rest.find(ending);
      auto command = std::string(rest.substr(0, end));
      auto held = respond ? respond(command) : std::nullopt;
      auto reply = held ? ToolRun{held->second, held->first, "", false, false}
                        : script.run(serial, {command}, Seconds(1), nullptr);
      output += reply.stdoutData + "\n" + std::string(TabletShell::marker) +
                std::to_string(reply.status) + "\n";
      if (end == std::string_view::npos) break;
      rest.remove_prefix(end + ending.size());
      if (rest.starts_with("; ")) rest.remove_prefix(2);
    }
    return output;
  }

  // Answers commands containing `fragment`; later rules win.
  void on(std::string fragment, std::string output, int status = 0) {
    script.on(std::move(fragment), {std::move(output), status, "", ""});
  }

  // Consulted first: a tablet with state of its own answers here (output, status).
  std::function<std::optional<std::pair<std::string, int>>(const std::string& command)> respond;
  FakeAdbRunner script;            // its `commands` holds every command, one by one
  std::vector<std::string> lines;  // one per round trip
  std::string failure;             // non-empty: every line fails as adb would
};

}  // namespace lumivale::testing
