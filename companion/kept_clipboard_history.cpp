#include "companion/kept_clipboard_history.h"

#include <utility>

#include "core/settings/config_store.h"
#include "platform/backup_exclusion.h"

namespace lumivale::companion {

ClipboardHistoryStore standardClipboardHistoryStore() {
  return ClipboardHistoryStore(ConfigStore::directory() / ClipboardHistoryStore::fileName,
                               {platform::excludeFromBackup, platform::isExcludedFromBackup});
}

KeptClipboardHistory::KeptClipboardHistory(AppSettingsStore settings, ClipboardHistoryStore store)
    : settings_(std::move(settings)), store_(std::move(store)) {}

KeptClipboardHistory KeptClipboardHistory::standard() {
  return KeptClipboardHistory(AppSettingsStore::standard(), standardClipboardHistoryStore());
}

bool KeptClipboardHistory::kept() const {
  return settings_.load().clipboardHistoryKept;
}

void KeptClipboardHistory::setKept(bool kept) const {
  settings_.update([&](AppSettings& settings) { settings.clipboardHistoryKept = kept; });
  // After the setting: a recording that starts now sees it off, and one under way when it
  // changed saves before this deletes (both hold the store's lock).
  if (!kept) store_.deleteFile();
}

ClipboardHistoryStore::Loaded KeptClipboardHistory::load() const {
  if (!kept()) return ClipboardHistory();
  return store_.load().value_or(ClipboardHistory());
}

void KeptClipboardHistory::change(const std::function<bool(ClipboardHistory&)>& body) {
  problem_.reset();
  ClipboardHistoryStore::Loaded loaded = store_.update([&](ClipboardHistory& history) {
    // Read under the lock, so that turning keeping off cannot slip in before the save.
    return kept() && body(history);
  });
  if (auto* problem = std::get_if<ClipboardHistoryStore::LoadProblem>(&loaded)) problem_ = *problem;
}

std::optional<ClipboardHistory::Change> KeptClipboardHistory::record(
    const std::string& text, ClipboardHistory::Origin origin, ClipboardHistory::Time at) {
  if (!kept()) return std::nullopt;
  std::optional<ClipboardHistory::Change> recorded;
  change([&](ClipboardHistory& history) {
    recorded = history.recordChange(text, origin, at);
    return recorded.has_value();
  });
  return recorded;
}

void KeptClipboardHistory::undo(const ClipboardHistory::Change& change) {
  this->change([&](ClipboardHistory& history) {
    history.undo(change);
    return true;
  });
}

std::optional<ClipboardHistoryStore::LoadProblem> recordClipboardCopy(
    const std::string& text, ClipboardHistory::Origin origin, ClipboardHistory::Time at) {
  auto history = KeptClipboardHistory::standard();
  history.record(text, origin, at);
  return history.problem();
}

}  // namespace lumivale::companion
