#include "companion/reading_folder_watching.h"

#include <string_view>

#include "companion/reading_folder_settings.h"
#include "core/tablet/device_watcher.h"
#include "platform/folder_watching.h"

namespace lumivale::companion {
namespace {

// How long one look at adb's device list may take.
constexpr Seconds kDeviceLook{10};

std::string_view reason(SyncSchedule::Why why) {
  switch (why) {
    case SyncSchedule::Why::start:
      return "first look";
    case SyncSchedule::Why::changedHere:
      return "changes here";
    case SyncSchedule::Why::tabletBack:
      return "the tablet is back";
  }
  return "";
}

}  // namespace

void watchReadingFolder(AdbBridge& bridge, const AdbFiles& files,
                        const ReadingFolderSync::Options& options,
                        const std::filesystem::path& folder, ReadingFolderWatchObserver& observer,
                        const StopToken& stop, const std::function<void()>& watching) {
  ReadingFolderWatch watch({.sync =
                                [&](const StopToken& runStop) {
                                  return ReadingFolderSync::run(files.stoppedBy(runStop), options);
                                },
                            .tabletReady =
                                [&](const StopToken& lookStop) {
                                  const StopToken look = lookStop.child(kDeviceLook);
                                  return bridge.deviceReady(files.serial(), &look);
                                }},
                           observer);
  auto watcher = FolderWatching::start(folder, [&watch] { watch.folderChanged(); });
  DeviceWatcher devices(bridge, [&watch] { watch.devicesChanged(); });
  watching();
  watch.run(stop);
}

std::string watchEventLine(const ReadingFolderWatchEvent& event) {
  using Kind = ReadingFolderWatchEvent::Kind;
  switch (event.kind) {
    case Kind::started:
      return "syncing (" + std::string(reason(event.why)) + ")";
    case Kind::finished:
      return summaryLine(*event.summary);
    case Kind::failed:
      return "the sync stopped: " + event.failure;
    case Kind::tabletAway:
      return "the tablet is away; the folder is synced when it is back";
    case Kind::tabletBack:
      return "the tablet is back";
  }
  return "";
}

}  // namespace lumivale::companion
