#include "core/tablet/device_watcher.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "core/tablet/adb_error.h"

namespace lumivale {

DeviceWatcher::DeviceWatcher(const AdbBridge& bridge, std::function<void()> changed) {
  try {
    child_ = Spawn::launch(bridge.adbPath().string(), {"track-devices"}, bridge.environment(), true,
                           false);
  } catch (const Spawn::Failure& failure) {
    throw AdbError(failure.message());
  }
  // Each report is one read's worth: a four-digit hex length and the list.
  reader_ = std::thread([fd = child_->stdoutPipe()->get(), changed = std::move(changed)] {
    char buffer[4096];
    for (;;) {
      ssize_t got = ::read(fd, buffer, sizeof buffer);
      if (got > 0) {
        changed();
      } else if (got == 0 || errno != EINTR) {
        return;
      }
    }
  });
}

DeviceWatcher::~DeviceWatcher() {
  child_->signalIfRunning(SIGKILL);
  reader_.join();
  child_->wait();
}

}  // namespace lumivale
