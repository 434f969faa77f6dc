#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumivale {

// Every text that went between the computer and the tablet, newest first, within a
// count and a size limit. Its rules only: where it is kept is ClipboardHistoryStore's.
class ClipboardHistory {
 public:
  using Time = std::chrono::system_clock::time_point;

  // Where a text was first copied.
  enum class Origin { fromMac, fromLumivale, sentToLumivale, typedOnLumivale };
  static std::string_view rawValue(Origin origin);
  static std::optional<Origin> originFromRaw(std::string_view raw);
  static std::string_view label(Origin origin);

  struct Item {
    std::string id;  // a UUID
    std::string text;
    Origin origin;
    Time at;  // of the latest copy

    // The first lines of the text, one line each, for the row.
    std::vector<std::string> preview() const;
    // The length, as "12 characters".
    std::string size() const;

    bool operator==(const Item&) const = default;
  };

  // What one recording did, so that it can be undone.
  struct Change {
    std::string id;                    // of the item recorded
    std::optional<Time> previousAt;    // absent when the item is new
    std::size_t previousPosition = 0;  // meaningful with previousAt
    std::vector<Item> dropped;         // pushed out by the limits, newest first

    bool operator==(const Change&) const = default;
  };

  static constexpr std::size_t defaultLimit = 200;
  static constexpr std::size_t defaultMaxBytes = 2097152;  // 2 MB of UTF-8 text

  explicit ClipboardHistory(std::size_t limit = defaultLimit,
                            std::size_t maxBytes = defaultMaxBytes);
  // A list rebuilt from saved items: newest first (equal times in the order given), one
  // item per text, cut to the limits.
  static ClipboardHistory restoring(std::vector<Item> items, std::size_t limit = defaultLimit,
                                    std::size_t maxBytes = defaultMaxBytes);

  // Whether the list changed.
  bool record(const std::string& text, Origin origin, Time at);
  std::optional<Change> recordChange(const std::string& text, Origin origin, Time at);
  // Puts the list back as it was before the recording that gave `change`.
  void undo(const Change& change);
  // Whether an item went.
  bool remove(std::string_view id);
  void clear();

  bool isEmpty() const { return items_.empty(); }
  const std::vector<Item>& items() const { return items_; }
  std::size_t limit() const { return limit_; }
  std::size_t maxBytes() const { return maxBytes_; }
  std::size_t totalBytes() const { return totalBytes_; }

  // Copies marked by a password manager or as concealed, transient or generated: such
  // copies are never recorded.
  static bool isConcealed(const std::set<std::string>& pasteboardTypes);
  // Whether a text may be recorded at all.
  static bool mayKeep(std::string_view text);

  // The first non-blank lines, trimmed and each cut to `maxLineLength` characters, and
  // whether more lines follow.
  static std::pair<std::vector<std::string>, bool> previewLines(std::string_view text,
                                                                std::size_t maxLines,
                                                                std::size_t maxLineLength);
  // The text on one line: every run of white space one space, cut to `maxLength` characters.
  static std::string oneLine(std::string_view text, std::size_t maxLength);
  // The length in characters (Unicode scalars; a malformed byte counts as one).
  static std::size_t characters(std::string_view text);

  bool operator==(const ClipboardHistory&) const = default;

 private:
  void insert(Item item, std::size_t hint);
  std::vector<Item> enforceLimits();
  std::vector<Item>::iterator find(std::string_view id);

  std::vector<Item> items_;
  std::size_t limit_;
  std::size_t maxBytes_;
  std::size_t totalBytes_ = 0;
};

}  // namespace lumivale
