#include "core/device-settings/setting_shell.h"

#include "core/device-settings/setting_error.h"
#include "core/device-settings/setting_parse.h"

namespace lumivale::SettingShell {
namespace {

constexpr std::string_view marker = "\nLUMIVALE-EXIT:";

bool isPlain(std::string_view argument) {
  if (argument.empty()) return false;
  for (char c : argument) {
    bool alphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!alphanumeric && std::string_view("-_./:=+,@").find(c) == std::string_view::npos)
      return false;
  }
  return true;
}

std::string quoted(std::string_view argument) {
  if (isPlain(argument)) return std::string(argument);
  std::string result = "'";
  for (char c : argument)
    result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace

std::string command(const std::vector<std::string>& arguments) {
  std::string result;
  for (const auto& argument : arguments)
    result += (result.empty() ? "" : " ") + quoted(argument);
  return result;
}

std::string line(const std::vector<std::string>& commands) {
  std::string result;
  for (const auto& each : commands) {
    if (!result.empty()) result += "; ";
    result += each + " 2>&1; printf '\\nLUMIVALE-EXIT:%d\\n' $?";
  }
  return result;
}

std::vector<Answer> answers(std::string_view output, const std::vector<std::string>& commands) {
  std::vector<Answer> result;
  for (const auto& each : commands) {
    auto found = output.find(marker);
    auto statusEnd = found == std::string_view::npos ? found : output.find('\n', found + 1);
    auto status = statusEnd == std::string_view::npos
                      ? std::nullopt
                      : SettingParse::wholeNumber(output.substr(found + marker.size(),
                                                                statusEnd - found - marker.size()));
    if (!status) {
      auto said = SettingParse::firstLine(output);
      throw SettingError::unexpectedOutput(said.empty() ? "no answer to '" + each + "'" : said);
    }
    result.push_back({std::string(output.substr(0, found)), static_cast<int>(*status)});
    output.remove_prefix(statusEnd + 1);
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
      auto said = SettingParse::firstLine(answer.output);
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
