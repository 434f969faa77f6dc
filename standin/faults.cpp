#include "standin/faults.h"

#include <charconv>
#include <ctime>

#include <fmt/format.h>

#include "core/error.h"

namespace lumivale::standin {
namespace {

uint64_t parseCount(std::string_view fault, std::string_view text) {
  uint64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty())
    throw Error(fmt::format("fault '{}' needs a whole number", fault));
  return value;
}

}  // namespace

const std::set<std::string>& hideableTools() {
  static const std::set<std::string> tools{"sha256sum", "find-printf", "readlink-e", "realpath"};
  return tools;
}

void applyFault(FaultSettings& settings, std::string_view fault) {
  auto equals = fault.find('=');
  std::string_view name = fault.substr(0, equals);
  std::string_view value = equals == std::string_view::npos ? "" : fault.substr(equals + 1);
  bool hasValue = equals != std::string_view::npos;
  if (name == "unauthorized" && !hasValue) {
    settings.unauthorized = true;
  } else if (name == "offline" && !hasValue) {
    settings.offline = true;
  } else if (name == "v1-shell" && !hasValue) {
    settings.v1Shell = true;
  } else if (name == "low-space" && !hasValue) {
    settings.lowSpace = true;
  } else if (name == "sleep" && (!hasValue || value == "keep-port")) {
    settings.asleep = true;
    settings.wakesOnSamePort = hasValue;
  } else if (name == "booting") {
    settings.bootCompletesAt =
        static_cast<std::int64_t>(std::time(nullptr)) + parseCount(fault, value);
  } else if (name == "slow") {
    settings.slow = std::chrono::milliseconds(parseCount(fault, value));
  } else if (name == "drop-after") {
    settings.dropAfterBytes = parseCount(fault, value);
  } else if (name == "drop-at" && !value.empty()) {
    settings.dropAtCommand = std::string(value);
  } else if (name == "hide" && hideableTools().contains(std::string(value))) {
    settings.hiddenTools.insert(std::string(value));
  } else {
    throw Error(fmt::format(
        "unknown fault '{}' (faults: unauthorized, offline, v1-shell, slow=MS, drop-after=BYTES, "
        "drop-at=TEXT, hide=sha256sum|find-printf|readlink-e|realpath, low-space, "
        "sleep[=keep-port], "
        "booting=SECONDS)",
        fault));
  }
}

void clearFault(FaultSettings& settings, std::string_view name) {
  if (name.starts_with("hide=")) {
    settings.hiddenTools.erase(std::string(name.substr(5)));
    return;
  }
  FaultSettings defaults;
  if (name == "unauthorized")
    settings.unauthorized = false;
  else if (name == "offline")
    settings.offline = false;
  else if (name == "v1-shell")
    settings.v1Shell = false;
  else if (name == "low-space")
    settings.lowSpace = false;
  else if (name == "sleep")
    settings.asleep = false;  // how it wakes is kept for the waking
  else if (name == "booting")
    settings.bootCompletesAt.reset();
  else if (name == "slow")
    settings.slow = defaults.slow;
  else if (name == "drop-after")
    settings.dropAfterBytes.reset();
  else if (name == "drop-at")
    settings.dropAtCommand.reset();
  else if (name == "hide")
    settings.hiddenTools.clear();
  else
    throw Error(fmt::format("unknown fault '{}'", name));
}

std::vector<std::string> describeFaults(const FaultSettings& settings) {
  std::vector<std::string> faults;
  if (settings.unauthorized) faults.push_back("unauthorized");
  if (settings.offline) faults.push_back("offline");
  if (settings.v1Shell) faults.push_back("v1-shell");
  if (settings.slow.count() > 0) faults.push_back(fmt::format("slow={}", settings.slow.count()));
  if (settings.dropAfterBytes)
    faults.push_back(fmt::format("drop-after={}", *settings.dropAfterBytes));
  if (settings.dropAtCommand) faults.push_back("drop-at=" + *settings.dropAtCommand);
  for (const auto& tool : settings.hiddenTools)
    faults.push_back("hide=" + tool);
  if (settings.lowSpace) faults.push_back("low-space");
  if (settings.asleep) faults.push_back(settings.wakesOnSamePort ? "sleep=keep-port" : "sleep");
  if (settings.bootCompletesAt) {
    const auto left = *settings.bootCompletesAt - static_cast<std::int64_t>(std::time(nullptr));
    if (left > 0) faults.push_back(fmt::format("booting={}", left));
  }
  return faults;
}

}  // namespace lumivale::standin
