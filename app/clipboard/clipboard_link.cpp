#include "app/clipboard/clipboard_link.h"

#include "core/clipboard/clip_tablet_wait.h"
#include "core/clipboard/shared_clipboard.h"
#include "core/tablet/adb_bridge.h"
#include "platform/system_pasteboard.h"

namespace lumivale::app {

// How long a link waits for its tablet to come back before it gives up.
constexpr Seconds deviceWait{60};

struct ClipboardLink::Parts final : Observer<SharedClipboardEvent> {
  Parts(std::shared_ptr<AdbBridge> bridge, std::string serial, bool unencryptedWifi,
        std::function<void(const SharedClipboardEvent&)> events,
        std::function<void(const ClipTransfer&)> transfers)
      : events(std::move(events)),
        bridge(std::move(bridge)),
        wait(*this->bridge),
        pasteboard(SystemPasteboard::open()),
        clipboard({*this->bridge, *this->bridge, *this->bridge}, wait, *pasteboard,
                  {.serial = std::move(serial),
                   .deviceWait = deviceWait * this->bridge->hooks().timeoutScale,
                   .onTransfer = std::move(transfers),
                   .unencryptedWifi = unencryptedWifi},
                  *this) {}

  void notify(const SharedClipboardEvent& event) override { events(event); }

  std::function<void(const SharedClipboardEvent&)> events;
  std::shared_ptr<AdbBridge> bridge;
  BridgeTabletWait wait;
  std::unique_ptr<ClipPasteboard> pasteboard;
  SharedClipboard clipboard;
};

ClipboardLink::ClipboardLink(std::shared_ptr<AdbBridge> bridge, std::string serial,
                             bool unencryptedWifi,
                             std::function<void(const SharedClipboardEvent&)> events,
                             std::function<void(const ClipTransfer&)> transfers)
    : parts_(std::make_unique<Parts>(std::move(bridge), std::move(serial), unencryptedWifi,
                                     std::move(events), std::move(transfers))) {}

ClipboardLink::~ClipboardLink() = default;

void ClipboardLink::start() {
  parts_->clipboard.start();
}

void ClipboardLink::stop() {
  parts_->clipboard.stop();
}

}  // namespace lumivale::app
