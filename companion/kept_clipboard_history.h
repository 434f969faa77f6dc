#pragma once

#include <functional>
#include <optional>
#include <string>

#include "companion/app_settings_store.h"
#include "core/clipboard/clipboard_history_copy.h"
#include "core/clipboard/clipboard_history_store.h"

namespace lumivale::companion {

// "clipboard-history.json" in the settings folder, marked out of backups the platform's way.
ClipboardHistoryStore standardClipboardHistoryStore();

// The clipboard history as every front end keeps it between runs: saved in its file while
// the app's setting "clipboardHistoryKept" is on, and not at all while it is off. What it
// holds is never written to the log.
class KeptClipboardHistory : public ClipRecorder {
 public:
  KeptClipboardHistory(AppSettingsStore settings, ClipboardHistoryStore store);
  // On the settings folder.
  static KeptClipboardHistory standard();

  const ClipboardHistoryStore& store() const { return store_; }

  bool kept() const;
  // Turning it off deletes the file (and what interrupted saves left) at once.
  void setKept(bool kept) const;

  // The list as saved: empty when none is, or while it is not kept; the problem when
  // the saved one cannot be read.
  ClipboardHistoryStore::Loaded load() const;

  // Records into the saved list while it is kept. A saved list that cannot be read is left
  // alone for the user and nothing is recorded; problem() then says why.
  std::optional<ClipboardHistory::Change> record(const std::string& text,
                                                 ClipboardHistory::Origin origin,
                                                 ClipboardHistory::Time at) override;
  void undo(const ClipboardHistory::Change& change) override;
  const std::optional<ClipboardHistoryStore::LoadProblem>& problem() const { return problem_; }

 private:
  // Applies `body` to the saved list under the store's lock, while it is kept.
  void change(const std::function<bool(ClipboardHistory&)>& body);

  AppSettingsStore settings_;
  ClipboardHistoryStore store_;
  std::optional<ClipboardHistoryStore::LoadProblem> problem_;
};

// Records a copy that went across (a text sent to or typed on the tablet, or one the shared
// clipboard carried) into the kept list in the settings folder. Returns why the saved list
// could not be used, when it could not; nothing was recorded then. Throws FileSystemError
// when it cannot be saved.
std::optional<ClipboardHistoryStore::LoadProblem> recordClipboardCopy(
    const std::string& text, ClipboardHistory::Origin origin,
    ClipboardHistory::Time at = std::chrono::system_clock::now());

}  // namespace lumivale::companion
