#include "companion/program_removal.h"

#include <filesystem>

#include <fmt/format.h>

#include "companion/account_context.h"
#include "core/account/account_session.h"
#include "core/cancelled.h"
#include "core/files/adb_files.h"
#include "core/files/files_error.h"
#include "core/files/remote_file_cache.h"
#include "core/settings/config_store.h"
#include "core/settings/log.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_hand_off.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale::companion {
namespace {

namespace fs = std::filesystem;

constexpr Seconds tabletFilesTimeout{30};
// What an interrupted push to the tablet's temporary folder leaves.
constexpr const char* stagedInTemporaryFolder = "/data/local/tmp/.lumivale-*";

// The settings as they are, without writing the defaults where there is no file: a
// removal must not make what it is removing.
LumivaleConfig settingsAsTheyAre() {
  std::error_code missing;
  if (fs::exists(ConfigStore::fileURL(), missing)) {
    try {
      return ConfigStore::load();
    } catch (const Error&) {
      // An unreadable file goes with the rest; the tablet is looked for without it.
    }
  }
  return LumivaleConfig::devDefaults();
}

std::string tabletWhat(const std::string& path) {
  if (path == ProgramFiles::clipboardHelper) return "the clipboard helper";
  if (path.starts_with(AdbHandOff::checkFile)) return "the Wi-Fi check file";
  return "an unfinished copy to the tablet";
}

bool logIsInSettingsFolder() {
  return logDirectory() == ConfigStore::directory() / "logs";
}

fs::path previewCache() {
  return RemoteFileCache::standard().root.parent_path();
}

std::vector<ProgramFiles::Item> computerItems() {
  auto items = ProgramFiles::inSettingsFolder(ConfigStore::directory());
  if (!logIsInSettingsFolder()) {
    for (auto& log : ProgramFiles::logFiles(logDirectory()))
      items.push_back(std::move(log));
  }
  std::error_code missing;
  if (fs::exists(previewCache(), missing)) items.push_back({previewCache(), "the preview cache"});
  return items;
}

std::optional<std::string> storedSignIn() {
  ChosenSessionStore chosen = chooseSessionStore();
  std::optional<std::string> token;
  try {
    token = chosen.store->loadSessionToken();
  } catch (const SessionStoreFailure&) {
    // Unreadable now: the sign-out below still tries to remove it.
  }
  LumivaleConfig config = settingsAsTheyAre();
  if (!token && !config.email && !config.userId) return std::nullopt;
  return fmt::format("the sign-in{} ({})", config.email ? " of " + *config.email : "",
                     chosen.store->locationDescription());
}

}  // namespace

ProgramRemoval::ProgramRemoval(bool keepTablet, const std::optional<std::string>& pinnedSerial,
                               StopToken command)
    : command_(std::move(command)) {
  stopLogging();
  if (!keepTablet) surveyTablet(pinnedSerial);
  survey_.onComputer = computerItems();
  survey_.signIn = storedSignIn();
}

void ProgramRemoval::surveyTablet(const std::optional<std::string>& pinnedSerial) {
  try {
    tablet_ = requireReadyTablet(openBridge(command_, false), pinnedSerial, settingsAsTheyAre());
    lookOnTablet();
  } catch (const Cancelled&) {
    throw;
  } catch (const Error& unreached) {
    // A tablet that stops answering half-way is one not reached: none of it is removed.
    tablet_.reset();
    survey_.onTablet.clear();
    fixedTabletPaths_.clear();
    leftoverFolders_.clear();
    survey_.tabletUnreached = fmt::format(
        "The tablet could not be reached ({}), so the clipboard helper, the Wi-Fi check file "
        "and unfinished copies in the Reading folder's tablet folder stay on it. Connect it and "
        "run lumivale upkeep remove again to remove them.",
        unreached.message());
  }
}

void ProgramRemoval::lookOnTablet() {
  survey_.tabletSerial = tablet_->serial;
  const std::vector<std::string> ownPaths{ProgramFiles::clipboardHelper, AdbHandOff::checkFile,
                                          std::string(AdbHandOff::checkFile) + ".new"};
  std::string candidates;
  for (const auto& path : ownPaths)
    candidates += TabletShell::quoted(path) + " ";
  auto found = tablet_->bridge->shell(
      tablet_->serial,
      fmt::format("for f in {}{}; do [ -e \"$f\" ] && echo \"$f\"; done; true", candidates,
                  stagedInTemporaryFolder),
      tabletFilesTimeout, &command_);
  for (const auto& path : AdbParse::lines(found)) {
    if (path.empty()) continue;
    fixedTabletPaths_.emplace_back(path);
    survey_.onTablet.push_back({std::string(path), tabletWhat(std::string(path))});
  }
  AdbFiles files = AdbFiles(*tablet_->bridge, tablet_->serial).stoppedBy(command_);
  for (const auto& top : ProgramFiles::readingFolderTabletFolders(ConfigStore::directory())) {
    try {
      for (const auto& folder : files.foldersWithLeftovers(top)) {
        leftoverFolders_.push_back(folder);
        for (const auto& item : files.leftovers(folder))
          survey_.onTablet.push_back({item.entry.path, item.about});
      }
    } catch (const FilesError&) {
      // No such folder on this tablet: nothing was copied there.
    }
  }
}

ProgramRemoval::Report ProgramRemoval::removeAll() {
  Report report;
  if (tablet_) removeFromTablet(report);
  if (survey_.signIn) signOut(report);
  removeFromComputer(report);
  return report;
}

void ProgramRemoval::removeFromTablet(Report& report) {
  if (!fixedTabletPaths_.empty()) {
    try {
      tablet_->bridge->shell(tablet_->serial, "rm -rf -- " + TabletShell::line(fixedTabletPaths_),
                             tabletFilesTimeout, &command_);
      report.removed += static_cast<int>(fixedTabletPaths_.size());
    } catch (const Cancelled&) {
      throw;
    } catch (const Error& error) {
      report.failures.push_back("the program's files on the tablet could not be removed: " +
                                error.message());
    }
  }
  AdbFiles files = AdbFiles(*tablet_->bridge, tablet_->serial).stoppedBy(command_);
  for (const auto& folder : leftoverFolders_) {
    AdbFiles::CleanUpReport cleaned;
    try {
      cleaned = files.cleanUp(folder);
    } catch (const Cancelled&) {
      throw;
    } catch (const Error& error) {
      report.failures.push_back(error.message());
      continue;
    }
    for (const auto& step : cleaned.done) {
      if (!step.kind) continue;  // a record nothing needs any more
      ++report.removed;
      if (step.does != CleanUpStep::Does::erase) report.notices.push_back(step.sentence());
    }
    for (const auto& step : cleaned.kept) {
      if (step.kind) report.notices.push_back("kept " + step.sentence());
    }
    report.failures.insert(report.failures.end(), cleaned.failures.begin(), cleaned.failures.end());
  }
}

void ProgramRemoval::signOut(Report& report) {
  try {
    AccountContext account;
    auto signedOut = companion::signOut(account);
    for (auto& notice : signedOut.notices)
      report.notices.push_back(std::move(notice));
    ++report.removed;
  } catch (const Error& settingsOrStore) {
    // Without usable settings there is no server to tell; the stored token still goes.
    try {
      chooseSessionStore().store->clearSessionToken();
      ++report.removed;
    } catch (const Error& store) {
      report.failures.push_back("the stored sign-in could not be removed: " + store.message());
    }
    report.notices.push_back("the server was not told of the sign-out: " +
                             settingsOrStore.message());
  }
}

void ProgramRemoval::removeFromComputer(Report& report) {
  // Listed again: signing out has just written the settings and the sign-in's lock.
  for (const auto& item : computerItems()) {
    std::error_code failed;
    fs::remove_all(item.path, failed);
    if (failed)
      report.failures.push_back(
          fmt::format("could not remove {}: {}", item.path.string(), failed.message()));
    else
      ++report.removed;
  }
  const fs::path folder = ConfigStore::directory();
  std::error_code missing;
  if (!fs::exists(folder, missing)) return;
  auto strangers = ProgramFiles::strangers(folder);
  if (strangers.empty()) {
    fs::remove(folder, missing);
    return;
  }
  std::string names;
  for (const auto& name : strangers)
    names += (names.empty() ? "" : ", ") + name;
  report.notices.push_back(fmt::format("{} was kept: it also holds {}, which Lumivale did not make",
                                       folder.string(), names));
}

}  // namespace lumivale::companion
