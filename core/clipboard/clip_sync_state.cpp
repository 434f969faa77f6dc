#include "core/clipboard/clip_sync_state.h"

#include <algorithm>

#include "core/clipboard/clip_wire.h"

namespace lumivale {
namespace {

constexpr std::string_view kSecret = "marked as a password";
constexpr std::string_view kNotText = "not plain text";
constexpr std::string_view kDenied = "Mac clipboard access is off in System Settings";
constexpr std::string_view kTooLarge = "larger than 256 KB";

ClipSyncState::Skip skipToTablet(std::string_view reason) {
  return {ClipDirection::macToLumivale, std::string(reason)};
}

}  // namespace

ClipSyncState::Decision ClipSyncState::macChanged(std::int64_t changeCount,
                                                  const std::function<PasteboardContent()>& read) {
  if (changeCount == lastMacChangeCount && !macChanging) return {};
  const std::int64_t before = lastMacChangeCount;
  lastMacChangeCount = changeCount;
  if (ownWriteChangeCount == changeCount) return {};
  const PasteboardContent content = read();
  macChanging = content.kind == PasteboardContent::Kind::changing;
  if (macChanging) {
    // Read again at the next look, once it has settled.
    lastMacChangeCount = before;
    return {};
  }
  Decision decision;
  switch (content.kind) {
    case PasteboardContent::Kind::secret:
      decision = skipToTablet(kSecret);
      break;
    case PasteboardContent::Kind::notText:
      decision = skipToTablet(kNotText);
      break;
    case PasteboardContent::Kind::denied:
      if (deniedChangeCount != changeCount) decision = skipToTablet(kDenied);
      deniedChangeCount = changeCount;
      break;
    case PasteboardContent::Kind::text:
      if (content.text.size() > ClipWire::maxTextBytes)
        decision = skipToTablet(kTooLarge);
      else if (!content.text.empty() && content.text != lastFromLumivale)
        decision = Send{content.text};
      break;
    case PasteboardContent::Kind::changing:
      break;
  }
  if (auto* send = std::get_if<Send>(&decision)) {
    // A newer copy on the computer wins over what the tablet sent while it was changing.
    deferredTabletText.reset();
    pendingSets.push_back(send->text);
    lastToLumivale = send->text;
    return decision;
  }
  if (deferredTabletText && std::holds_alternative<std::monostate>(decision)) {
    std::string text = std::move(*deferredTabletText);
    deferredTabletText.reset();
    return tabletChanged(text);
  }
  return decision;
}

ClipSyncState::Decision ClipSyncState::tabletChanged(const std::string& text) {
  const bool echo = text == lastToLumivale ||
                    std::find(pendingSets.begin(), pendingSets.end(), text) != pendingSets.end();
  if (echo) return {};
  if (macChanging) {
    deferredTabletText = text;
    return {};
  }
  lastFromLumivale = text;
  return Apply{text};
}

std::optional<std::string> ClipSyncState::setAcknowledged() {
  if (pendingSets.empty()) return std::nullopt;
  std::string text = std::move(pendingSets.front());
  pendingSets.erase(pendingSets.begin());
  return text;
}

ClipSyncState::Decision ClipSyncState::setRefused(std::string_view reason) {
  auto refused = setAcknowledged();
  // The tablet still holds what it held: the same text copied again must go across.
  if (refused && refused == lastToLumivale) lastToLumivale.reset();
  return skipToTablet(ClipWire::reasonText(reason));
}

}  // namespace lumivale
