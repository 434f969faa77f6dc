#include "core/device-settings/setting_shell.h"

#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale::SettingShell {

std::string line(const std::vector<std::string>& commands) {
  std::string result;
  for (const auto& each : commands)
    result += (result.empty() ? "" : "; ") + TabletShell::withMarker(each + " 2>&1");
  return result;
}

std::vector<Answer> answers(std::string_view output, const std::vector<std::string>& commands) {
  const std::string markerLine = "\n" + std::string(TabletShell::marker);
  std::vector<Answer> result;
  for (const auto& each : commands) {
    // This command's part ends with the line of its own marker.
    auto found = output.find(markerLine);
    auto end = found == std::string_view::npos ? found : output.find('\n', found + 1);
    auto split =
        end == std::string_view::npos ? std::nullopt : TabletShell::split(output.substr(0, end));
    if (!split) {
      auto said = TabletShell::firstLine(output);
      throw SettingError::unexpectedOutput(said.empty() ? "no answer to '" + each + "'" : said);
    }
    result.push_back({std::move(split->output), split->status});
    output.remove_prefix(end + 1);
  }
  return result;
}

std::vector<Answer> run(AdbRunner& runner, const std::string& serial,
                        const std::vector<std::string>& commands, Seconds timeout) {
  return answers(runner.shell(serial, line(commands), timeout), commands);
}

std::vector<std::string> outputs(const std::vector<Answer>& answers,
                                 const std::vector<std::string>& commands) {
  std::vector<std::string> result;
  for (size_t index = 0; index < answers.size(); ++index) {
    const auto& answer = answers[index];
    if (answer.status != 0) {
      auto said = TabletShell::firstLine(answer.output);
      throw SettingError::unexpectedOutput(said.empty() ? "'" + commands[index] + "' exited " +
                                                              std::to_string(answer.status)
                                                        : said);
    }
    result.push_back(answer.output);
  }
  return result;
}

std::vector<std::string> check(AdbRunner& runner, const std::string& serial,
                               const std::vector<std::string>& commands, Seconds timeout) {
  return outputs(run(runner, serial, commands, timeout), commands);
}

}  // namespace lumivale::SettingShell
