#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/clipboard/clip_transfer.h"
#include "core/clipboard/shared_clipboard_event.h"

namespace lumivale {
class AdbBridge;
}  // namespace lumivale

namespace lumivale::app {

// One run of the shared clipboard on one tablet connection, with what it runs on: the
// bridge, the wait for the tablet and the computer's clipboard (opened here, on the
// thread that makes the link). Kept apart from Qt, whose `emit` would clash with the
// link's own. `events` and `transfers` are called on the link's threads.
class ClipboardLink {
 public:
  // Over unencrypted Wi-Fi the link only reports that it is paused.
  ClipboardLink(std::shared_ptr<AdbBridge> bridge, std::string serial, bool unencryptedWifi,
                std::function<void(const SharedClipboardEvent&)> events,
                std::function<void(const ClipTransfer&)> transfers);
  ~ClipboardLink();
  ClipboardLink(const ClipboardLink&) = delete;
  ClipboardLink& operator=(const ClipboardLink&) = delete;

  // Blocks until the helper is ready; throws as SharedClipboard::start does.
  void start();
  // Ends the link (and a start under way); any thread, as often as wanted.
  void stop();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace lumivale::app
