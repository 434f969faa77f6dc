#include "core/clipboard/clipboard_history_copy.h"

namespace lumivale {

std::optional<CopyDestination> copyDestinationNamed(std::string_view name) {
  if (name == "computer") return CopyDestination::computer;
  if (name == "tablet") return CopyDestination::tablet;
  if (name == "both") return CopyDestination::both;
  return std::nullopt;
}

void sendToTablet(ClipRecorder& history, const std::string& text, ClipboardHistory::Time at,
                  ClipHandOff& tablet) {
  auto change = history.record(text, ClipboardHistory::Origin::sentToLumivale, at);
  try {
    tablet.hand(text);
  } catch (...) {
    if (change) history.undo(*change);
    throw;
  }
}

void copyAgain(const std::string& text, CopyDestination destination, ClipHandOff& computer,
               ClipHandOff& tablet) {
  if (destination != CopyDestination::computer) tablet.hand(text);
  if (destination != CopyDestination::tablet) computer.hand(text);
}

}  // namespace lumivale
