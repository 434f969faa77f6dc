#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/clipboard/clipboard_history.h"

namespace lumivale {

// Where copies are recorded: the list in memory, or the one kept in a file.
class ClipRecorder {
 public:
  virtual ~ClipRecorder() = default;
  // What the recording did; absent when nothing was recorded.
  virtual std::optional<ClipboardHistory::Change> record(const std::string& text,
                                                         ClipboardHistory::Origin origin,
                                                         ClipboardHistory::Time at) = 0;
  virtual void undo(const ClipboardHistory::Change& change) = 0;
};

// The list in memory as a recorder.
class ClipboardHistoryRecorder : public ClipRecorder {
 public:
  explicit ClipboardHistoryRecorder(ClipboardHistory& history) : history_(history) {}
  std::optional<ClipboardHistory::Change> record(const std::string& text,
                                                 ClipboardHistory::Origin origin,
                                                 ClipboardHistory::Time at) override {
    return history_.recordChange(text, origin, at);
  }
  void undo(const ClipboardHistory::Change& change) override { history_.undo(change); }

 private:
  ClipboardHistory& history_;
};

// Puts a text on one side's clipboard; throws Error when it did not get there.
class ClipHandOff {
 public:
  virtual ~ClipHandOff() = default;
  virtual void hand(const std::string& text) = 0;
};

enum class CopyDestination { computer, tablet, both };
// "computer", "tablet" or "both".
std::optional<CopyDestination> copyDestinationNamed(std::string_view name);

// Sends a text to the tablet's clipboard, recorded as sent: the list is changed first, so
// it shows the text at once, and put back exactly as it was when the hand-off fails (the
// failure is then thrown on).
void sendToTablet(ClipRecorder& history, const std::string& text, ClipboardHistory::Time at,
                  ClipHandOff& tablet);

// Copies a listed text again. Nothing is recorded, so its row keeps its place and time.
// The tablet is handed the text first: when that fails, the computer's clipboard is left
// as it was.
void copyAgain(const std::string& text, CopyDestination destination, ClipHandOff& computer,
               ClipHandOff& tablet);

}  // namespace lumivale
