#include "companion/diagnostics_bundle.h"

#include <sys/utsname.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "companion/account_context.h"
#include "companion/adb_looks_text.h"
#include "companion/tablet_link.h"
#include "core/build_flavour.h"
#include "core/cancelled.h"
#include "core/clipboard/clipboard_history_store.h"
#include "core/settings/config_store.h"
#include "core/settings/log.h"
#include "core/upkeep/program_files.h"
#include "core/upkeep/support_redaction.h"

namespace lumivale::companion {
namespace {

namespace fs = std::filesystem;

// The last part of the log is what a support request needs; older lines rarely help.
constexpr std::uintmax_t logTailBytes = 256 * 1024;
// Clipboard texts shorter than this are words any log may hold by chance.
constexpr size_t shortestScrubbedClip = 8;
constexpr Seconds devicesTimeout{20};

std::optional<std::string> fileText(const fs::path& file, std::uintmax_t lastBytes = 0) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  if (lastBytes) {
    std::error_code ignored;
    auto size = fs::file_size(file, ignored);
    if (size > lastBytes) in.seekg(static_cast<std::streamoff>(size - lastBytes));
  }
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

const char* flavourName() {
  switch (buildFlavour) {
    case BuildFlavour::customer:
      return "customer";
    case BuildFlavour::internal:
      return "internal";
    case BuildFlavour::debug:
      break;
  }
  return "debug";
}

std::string versions() {
  std::string text = fmt::format("lumivale {} ({} build)\n", programVersion, flavourName());
  utsname system{};
  if (::uname(&system) == 0)
    text += fmt::format("{} {} {} {}\n", system.sysname, system.release, system.version,
                        system.machine);
  if (auto release = fileText("/etc/os-release")) {
    std::istringstream lines(*release);
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with("PRETTY_NAME=")) text += line + "\n";
  }
  return text;
}

// The secrets of this machine that must not leave it, whatever file they strayed into.
std::vector<std::string> knownSecrets(const fs::path& settings) {
  std::vector<std::string> secrets;
  try {
    if (auto token = chooseSessionStore().store->loadSessionToken()) secrets.push_back(*token);
  } catch (const Error&) {
    // No store to ask: the log's own redaction still masks what looks like a token.
  }
  if (auto history = fileText(settings / ClipboardHistoryStore::fileName)) {
    for (auto& text : SupportRedaction::stringsIn(*history, shortestScrubbedClip))
      secrets.push_back(std::move(text));
  }
  try {
    LumivaleConfig config = ConfigStore::load();
    for (const auto& field : {config.email, config.userId})
      if (field) secrets.push_back(*field);
    for (const auto& tablet : config.wifiTablets)
      if (tablet.checkToken) secrets.push_back(*tablet.checkToken);
  } catch (const Error&) {
    // An unreadable settings file is masked as a whole below.
  }
  return secrets;
}

std::string adbDevices(const AdbBridge& bridge, const StopToken& command) {
  Environment environment = bridge.environment();
  environment["ADB_MDNS_AUTO_CONNECT"] = "0";
  ToolRun run = ToolRun::runIn(environment, bridge.adbPath().string(), {"devices", "-l"},
                               devicesTimeout, &command);
  if (run.cancelled) throw Cancelled();
  std::string text = run.stdoutData + run.stderrData;
  if (run.timedOut)
    text += fmt::format("(adb devices -l did not finish within {} s)\n", devicesTimeout.count());
  else if (run.status != 0)
    text += fmt::format("(adb devices -l exited {})\n", run.status);
  return text;
}

std::string tabletFacts(const std::shared_ptr<AdbBridge>& bridge,
                        const std::optional<std::string>& pinnedSerial) {
  ReadyTablet tablet = requireReadyTablet(bridge, pinnedSerial, ConfigStore::load());
  return nlohmann::json(tablet.bridge->deviceInfo(tablet.serial)).dump(2) + "\n";
}

// A piece of the bundle, or the sentence saying why it could not be had.
template <typename Gather>
std::string orWhyNot(Gather gather) {
  try {
    return gather();
  } catch (const Cancelled&) {
    throw;
  } catch (const std::exception& error) {
    return fmt::format("could not be had: {}\n", error.what());
  }
}

}  // namespace

std::string defaultDiagnosticsName() {
  auto now = std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::system_clock::now());
  return fmt::format("lumivale-diagnostics-{:%Y%m%d-%H%M%S}.tar.gz", now);
}

std::vector<ArchiveMember> gatherDiagnostics(const std::optional<std::string>& pinnedSerial,
                                             StopToken command) {
  const fs::path settings = ConfigStore::directory();
  std::vector<ArchiveMember> members{
      {"versions.txt", versions()},
      {"adb.txt", orWhyNot([] { return adbLooksText(AdbLocate::unusableReasons(adbSearch())); })},
  };
  std::shared_ptr<AdbBridge> bridge;
  std::string devices = orWhyNot([&] {
    bridge = openBridge(command);
    return adbDevices(*bridge, command);
  });
  members.push_back({"adb-devices.txt", devices});
  members.push_back(
      {"tablet.json", bridge ? orWhyNot([&] { return tabletFacts(bridge, pinnedSerial); })
                             : std::string("could not be had: no adb\n")});
  auto config = fileText(ConfigStore::fileURL());
  members.push_back({"config.json", config ? SupportRedaction::settingsFile(*config)
                                           : std::string("no settings file\n")});
  auto log = fileText(logDirectory() / "lumivale.log", logTailBytes);
  members.push_back({"lumivale.log", log.value_or("no log\n")});

  const auto secrets = knownSecrets(settings);
  for (auto& member : members) {
    member.name = "lumivale-diagnostics/" + member.name;
    member.content = SupportRedaction::scrubbed(member.content, secrets);
  }
  return members;
}

void writeDiagnostics(const fs::path& file, const std::optional<std::string>& pinnedSerial,
                      StopToken command) {
  std::error_code ignored;
  if (fs::exists(fs::symlink_status(file, ignored)))
    throw Error(fmt::format("{} already exists; name another file", file.string()));
  writeTarGz(file, gatherDiagnostics(pinnedSerial, std::move(command)));
}

}  // namespace lumivale::companion
