#include "core/tablet/adb_locate.h"

#include <unistd.h>

#include "core/cancelled.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_version_memo.h"
#include "core/tablet/tool_run.h"

namespace lumivale::AdbLocate {
namespace fs = std::filesystem;

namespace {

const fs::path kAdbInTools = fs::path("platform-tools") / "adb";

std::optional<std::string> variable(const Environment& environment, const std::string& name) {
  auto found = environment.find(name);
  if (found == environment.end() || found->second.empty()) return std::nullopt;
  return found->second;
}

}  // namespace

std::vector<AdbCandidate> candidates(const Environment& environment, const fs::path& home,
                                     const fs::path& appBundle, const fs::path& toolsFolder) {
  std::vector<AdbCandidate> list;
#ifdef __APPLE__
  list.push_back({appBundle / "Contents/Helpers" / kAdbInTools, AdbSource::appBundle});
#else
  list.push_back({appBundle / kAdbInTools, AdbSource::appBundle});
#endif
  if (auto androidHome = variable(environment, "ANDROID_HOME"))
    list.push_back({fs::path(*androidHome) / kAdbInTools, AdbSource::androidHome});
  if (auto sdkRoot = variable(environment, "ANDROID_SDK_ROOT"))
    list.push_back({fs::path(*sdkRoot) / kAdbInTools, AdbSource::androidSdkRoot});
#ifdef __APPLE__
  list.push_back({home / "Library/Android/sdk" / kAdbInTools, AdbSource::androidStudio});
#else
  list.push_back({home / "Android/Sdk" / kAdbInTools, AdbSource::androidStudio});
#endif
  list.push_back({"/opt/homebrew/bin/adb", AdbSource::homebrew});
  list.push_back({"/usr/local/bin/adb", AdbSource::homebrewIntel});
#ifndef __APPLE__
  list.push_back({"/usr/bin/adb", AdbSource::distribution});
#endif
  list.push_back({toolsFolder / kAdbInTools, AdbSource::lumivaleCopy});
  return list;
}

std::optional<std::string> answeredVersion(const fs::path& path, const StopToken* stop) {
  static constexpr std::string_view banner = "Android Debug Bridge version ";
  try {
    ToolRun run = ToolRun::run(path.string(), {"version"}, Seconds(10), stop);
    if (run.cancelled) throw Cancelled();
    if (run.status != 0 || !run.stdoutData.starts_with(banner)) return std::nullopt;
    std::string_view rest = std::string_view(run.stdoutData).substr(banner.size());
    return std::string(rest.substr(0, rest.find_first_of(" \r\n")));
  } catch (const Spawn::Failure&) {
    return std::nullopt;
  }
}

namespace {

// A candidate's problem, or the version it answered when it has none.
struct Verdict {
  std::optional<std::string> problem;
  std::optional<std::string> version;
};

Verdict examine(const AdbCandidate& candidate, const AdbSearch& search) {
  std::error_code error;
  if (!fs::exists(candidate.path, error)) return {"is not there", std::nullopt};
  if (candidate.source == AdbSource::lumivaleCopy && search.ownCopyCheck) {
    if (auto reason = search.ownCopyCheck(candidate.path))
      return {"failed its check: " + *reason, std::nullopt};
  }
  fs::path resolved = fs::canonical(candidate.path, error);
  if (error) resolved = candidate.path;
  if (search.versionMemo) {
    if (auto version = AdbVersionMemo::rememberedVersion(*search.versionMemo, resolved))
      return {std::nullopt, version};
  }
  auto version = answeredVersion(candidate.path, search.stop);
  if (!version) return {"did not answer adb version", std::nullopt};
  if (search.versionMemo) AdbVersionMemo::remember(*search.versionMemo, resolved, *version);
  return {std::nullopt, version};
}

AdbCandidateLook lookAt(const AdbCandidate& candidate, const AdbSearch& search) {
  Verdict verdict = examine(candidate, search);
  AdbCandidateLook look{candidate, std::nullopt, verdict.problem, verdict.version};
  std::error_code error;
  fs::path resolved = fs::canonical(candidate.path, error);
  if (!error) look.resolved = resolved;
  return look;
}

std::vector<AdbCandidate> candidatesOf(const AdbSearch& search) {
  return candidates(search.environment, search.home, search.appBundle, search.toolsFolder);
}

}  // namespace

std::optional<std::string> unusableReason(const AdbCandidate& candidate, const AdbSearch& search) {
  return examine(candidate, search).problem;
}

std::vector<AdbCandidateLook> unusableReasons(const AdbSearch& search) {
  std::vector<AdbCandidateLook> looks;
  for (const auto& candidate : candidatesOf(search))
    looks.push_back(lookAt(candidate, search));
  return looks;
}

std::string missingMessage(const std::vector<AdbCandidateLook>& looks) {
  static const std::string failedCheck = "failed its check: ";
  std::string message;
  for (const auto& look : looks) {
    if (look.candidate.source == AdbSource::lumivaleCopy && look.problem &&
        look.problem->starts_with(failedCheck))
      message = "The app’s copy of Android’s tools did not pass its check (" +
                look.problem->substr(failedCheck.size()) + "), so it was not used. ";
  }
  return message +
         "Android’s tools (adb) are not on this Mac. Lumivale for Mac can get them from Google "
         "for you: click Get Android’s tools in Devices, or run lumivale tools install "
         "--agree-to-google-terms in Terminal. If you use Homebrew, brew install --cask "
         "android-platform-tools works too.";
}

AdbCandidateLook locate(const AdbSearch& search) {
  std::vector<AdbCandidateLook> looked;
  for (const auto& candidate : candidatesOf(search)) {
    looked.push_back(lookAt(candidate, search));
    if (!looked.back().problem) return looked.back();
  }
  throw AdbError(missingMessage(looked), true);
}

}  // namespace lumivale::AdbLocate

namespace lumivale {

std::string sourceName(AdbSource source) {
  switch (source) {
    case AdbSource::appBundle:
      return "appBundle";
    case AdbSource::androidHome:
      return "androidHome";
    case AdbSource::androidSdkRoot:
      return "androidSdkRoot";
    case AdbSource::androidStudio:
      return "androidStudio";
    case AdbSource::homebrew:
      return "homebrew";
    case AdbSource::homebrewIntel:
      return "homebrewIntel";
    case AdbSource::distribution:
      return "distribution";
    case AdbSource::lumivaleCopy:
      return "lumivaleCopy";
  }
  return "";
}

}  // namespace lumivale
