#include "companion/tablet_clipboard.h"

#include "companion/tablet_link.h"
#include "core/clipboard/clip_one_shot.h"

namespace lumivale::companion {

void TabletClipboard::hand(const std::string& text) {
  auto tablet = requireReadyTablet(pinnedSerial_, command_);
  ClipOneShot::set({*tablet.bridge, *tablet.bridge, *tablet.bridge}, tablet.serial, text,
                   &command_);
}

}  // namespace lumivale::companion
