#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "core/clipboard/clip_helper_process.h"
#include "core/clipboard/clip_one_shot.h"
#include "core/clipboard/clip_pasteboard.h"
#include "core/clipboard/clip_sync_state.h"
#include "core/clipboard/clip_tablet_wait.h"
#include "core/clipboard/clip_transfer.h"
#include "core/clipboard/clip_wire.h"
#include "core/clipboard/shared_clipboard_event.h"
#include "core/observer.h"

namespace lumivale {

// The shared clipboard for one tablet: the helper kept running on it, the computer's
// clipboard looked at every `pollInterval`, each copy carried to the other side once and
// never echoed back. When the helper ends the link waits up to `deviceWait` for the tablet
// and starts it again, without replaying older clips. Events go to `events` in order, on
// the thread that calls start() or stop() or on the link's own worker thread.
class SharedClipboard {
 public:
  struct Options {
    std::string serial;
    Seconds pollInterval{0.25};
    Seconds deviceWait{60};
    // Between pings to the helper, and how long one may go unanswered.
    Seconds pingInterval = ClipWire::pingInterval;
    // Called before each look at the computer's clipboard (the app hands it to its main thread).
    std::function<void()> pollGate{};
    // Every copy that went across, for the clipboard history.
    std::function<void(const ClipTransfer&)> onTransfer{};
    // Debugging over unencrypted Wi-Fi: the link does not run.
    bool unencryptedWifi = false;
  };

  // Everything passed in must outlive the link.
  SharedClipboard(ClipRunners runners, ClipTabletWait& tabletWait, ClipPasteboard& pasteboard,
                  Options options, Observer<SharedClipboardEvent>& events);
  ~SharedClipboard();
  SharedClipboard(const SharedClipboard&) = delete;
  SharedClipboard& operator=(const SharedClipboard&) = delete;

  // Installs and starts the helper, returning once it is ready. Throws ClipError (after
  // stop(): "this shared clipboard was stopped"; over unencrypted Wi-Fi, after reporting
  // `paused`), AdbError when adb fails.
  void start();
  // Quits the helper, ends the link and reports `stopped`. Any thread but the observer's.
  void stop();
  // Blocks until the link has failed for good (true) or `stop` is cancelled (false).
  bool waitForFailure(const StopToken& stop);

 private:
  void launch(std::optional<std::int64_t> since);
  void awaitReady(Seconds timeout);
  void run();
  void handleLine(const std::string& line);
  void poll();
  void apply(const std::string& text);
  void carried(ClipDirection direction, const std::string& text);
  // False when the link ends instead of starting again.
  bool helperEnded();
  bool pause(Seconds length);
  void emit(SharedClipboardEvent event);
  std::shared_ptr<ClipHelperProcess> current() const;

  ClipRunners runners_;
  ClipTabletWait& tabletWait_;
  ClipPasteboard& pasteboard_;
  const Options options_;
  Observer<SharedClipboardEvent>& events_;
  const StopToken stop_;

  // Used by the worker alone (and by start() before it runs).
  ClipSyncState state_;
  std::optional<std::int64_t> lastClipAt_;

  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::shared_ptr<ClipHelperProcess> current_;  // guarded by lock_
  bool closed_ = false;                         // guarded by lock_
  bool failed_ = false;                         // guarded by lock_
  std::atomic<bool> stopping_{false};
  std::thread worker_;
};

}  // namespace lumivale
