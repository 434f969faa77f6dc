#include "core/clipboard/shared_clipboard_retry.h"

namespace lumivale {

SharedClipboardRetry SharedClipboardRetry::next(const std::string& pin,
                                                const std::vector<AdbTablet>& tablets) {
  for (const AdbTablet& tablet : tablets) {
    if (tablet.serial != pin && !tablet.hasSerial(pin)) continue;
    const AdbDevice& connection = tablet.preferredConnection();
    if (connection.state == "device") return {connection.serial};
    return {};
  }
  return {};
}

}  // namespace lumivale
