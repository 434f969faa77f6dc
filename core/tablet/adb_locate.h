#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/stop_token.h"
#include "core/tablet/spawn.h"

namespace lumivale {

// Where an adb comes from, in the order they are tried. `appBundle` is the program's
// own install folder; `distribution` (the system's package) exists on Linux only.
enum class AdbSource {
  appBundle,
  androidHome,
  androidSdkRoot,
  androidStudio,
  homebrew,
  homebrewIntel,
  distribution,
  lumivaleCopy
};

std::string sourceName(AdbSource source);

struct AdbCandidate {
  std::filesystem::path path;
  AdbSource source;
  bool operator==(const AdbCandidate&) const = default;
};

// What a look at one candidate found.
struct AdbCandidateLook {
  AdbCandidate candidate;
  std::optional<std::filesystem::path> resolved;  // after links are followed
  std::optional<std::string> problem;             // why it cannot be used
  std::optional<std::string> version;             // what it answered `adb version` with
};

// Everything the search for adb depends on, so tests can point it anywhere.
struct AdbSearch {
  Environment environment;
  std::filesystem::path home;
  std::filesystem::path appBundle;
  std::filesystem::path toolsFolder;  // the support folder holding our own "platform-tools"
  // The integrity check of our own downloaded copy: the reason it failed, or none.
  std::function<std::optional<std::string>(const std::filesystem::path&)> ownCopyCheck;
  // Remembers which executables answered `adb version`, so a command need not ask again.
  std::optional<std::filesystem::path> versionMemo;
  // Stops the look (Cancelled) while a candidate is asked its version.
  const StopToken* stop = nullptr;
};

namespace AdbLocate {

std::vector<AdbCandidate> candidates(const Environment& environment,
                                     const std::filesystem::path& home,
                                     const std::filesystem::path& appBundle,
                                     const std::filesystem::path& toolsFolder);

// The version `path version` names in adb's banner ("1.0.41"), or none without one.
// Throws Cancelled when `stop` is cancelled meanwhile.
std::optional<std::string> answeredVersion(const std::filesystem::path& path,
                                           const StopToken* stop = nullptr);

std::optional<std::string> unusableReason(const AdbCandidate& candidate, const AdbSearch& search);
// Every candidate of the search, looked at in order.
std::vector<AdbCandidateLook> unusableReasons(const AdbSearch& search);

// The text of the toolsMissing error, given the looks that found nothing usable.
std::string missingMessage(const std::vector<AdbCandidateLook>& looks);

// The first usable candidate, or AdbError with toolsMissing set.
AdbCandidateLook locate(const AdbSearch& search);

}  // namespace AdbLocate
}  // namespace lumivale
