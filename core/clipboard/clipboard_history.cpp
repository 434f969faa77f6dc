#include "core/clipboard/clipboard_history.h"

#include <algorithm>
#include <array>

#include "core/random_uuid.h"

namespace lumivale {
namespace {

using Origin = ClipboardHistory::Origin;

struct OriginName {
  Origin origin;
  std::string_view raw;
  std::string_view label;
};

constexpr std::array<OriginName, 4> originNames{{
    {Origin::fromMac, "fromMac", "Copied on your Mac"},
    {Origin::fromLumivale, "fromLumivale", "Copied on your Lumivale"},
    {Origin::sentToLumivale, "sentToLumivale", "Sent to your Lumivale"},
    {Origin::typedOnLumivale, "typedOnLumivale", "Typed on your Lumivale"},
}};

const OriginName& nameOf(Origin origin) {
  return originNames[static_cast<std::size_t>(origin)];
}

}  // namespace

std::string_view ClipboardHistory::rawValue(Origin origin) {
  return nameOf(origin).raw;
}

std::string_view ClipboardHistory::label(Origin origin) {
  return nameOf(origin).label;
}

std::optional<Origin> ClipboardHistory::originFromRaw(std::string_view raw) {
  for (const auto& name : originNames)
    if (name.raw == raw) return name.origin;
  return std::nullopt;
}

ClipboardHistory::ClipboardHistory(std::size_t limit, std::size_t maxBytes)
    : limit_(limit), maxBytes_(maxBytes) {}

ClipboardHistory ClipboardHistory::restoring(std::vector<Item> items, std::size_t limit,
                                             std::size_t maxBytes) {
  std::stable_sort(items.begin(), items.end(),
                   [](const Item& a, const Item& b) { return a.at > b.at; });
  ClipboardHistory history(limit, maxBytes);
  std::set<std::string> texts;
  for (auto& item : items) {
    if (!mayKeep(item.text) || item.text.size() > maxBytes || !texts.insert(item.text).second)
      continue;
    history.totalBytes_ += item.text.size();
    history.items_.push_back(std::move(item));
  }
  history.enforceLimits();
  return history;
}

bool ClipboardHistory::record(const std::string& text, Origin origin, Time at) {
  return recordChange(text, origin, at).has_value();
}

std::optional<ClipboardHistory::Change> ClipboardHistory::recordChange(const std::string& text,
                                                                       Origin origin, Time at) {
  // A text larger than the whole list may be is refused at once rather than emptying
  // the list on its way out.
  if (!mayKeep(text) || text.size() > maxBytes_) return std::nullopt;
  Change change;
  auto same = std::find_if(items_.begin(), items_.end(),
                           [&](const Item& item) { return item.text == text; });
  if (same != items_.end()) {
    // The text keeps its row and its first origin, and moves to the top (below only a
    // copy timed later still, so that the list stays newest first).
    Item item = std::move(*same);
    change.id = item.id;
    change.previousAt = item.at;
    change.previousPosition = static_cast<std::size_t>(same - items_.begin());
    totalBytes_ -= item.text.size();
    items_.erase(same);
    item.at = at;
    insert(std::move(item), 0);
  } else {
    change.id = randomUuid();
    insert(Item{change.id, text, origin, at}, items_.size());
  }
  change.dropped = enforceLimits();
  if (find(change.id) == items_.end()) {
    // Older than everything a full list holds: it went as soon as it came.
    undo(change);
    return std::nullopt;
  }
  return change;
}

void ClipboardHistory::undo(const Change& change) {
  auto recorded = find(change.id);
  if (recorded != items_.end()) {
    Item item = std::move(*recorded);
    totalBytes_ -= item.text.size();
    items_.erase(recorded);
    if (change.previousAt) {
      item.at = *change.previousAt;
      insert(std::move(item), change.previousPosition);
    }
  }
  for (const auto& dropped : change.dropped) {
    bool listed = std::any_of(items_.begin(), items_.end(), [&](const Item& item) {
      return item.id == dropped.id || item.text == dropped.text;
    });
    if (!listed && dropped.id != change.id) insert(dropped, items_.size());
  }
}

bool ClipboardHistory::remove(std::string_view id) {
  auto item = find(id);
  if (item == items_.end()) return false;
  totalBytes_ -= item->text.size();
  items_.erase(item);
  return true;
}

void ClipboardHistory::clear() {
  items_.clear();
  totalBytes_ = 0;
}

// Puts `item` as near `hint` as keeps the list newest first; `hint` past the items of
// its own time puts it below them.
void ClipboardHistory::insert(Item item, std::size_t hint) {
  auto newer = [&](const Item& other) { return other.at > item.at; };
  auto notOlder = [&](const Item& other) { return other.at >= item.at; };
  auto first = std::partition_point(items_.begin(), items_.end(), newer) - items_.begin();
  auto last = std::partition_point(items_.begin(), items_.end(), notOlder) - items_.begin();
  auto at = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(hint), first, last);
  totalBytes_ += item.text.size();
  items_.insert(items_.begin() + at, std::move(item));
}

std::vector<ClipboardHistory::Item> ClipboardHistory::enforceLimits() {
  std::vector<Item> dropped;
  while (!items_.empty() && (items_.size() > limit_ || totalBytes_ > maxBytes_)) {
    totalBytes_ -= items_.back().text.size();
    dropped.insert(dropped.begin(), std::move(items_.back()));
    items_.pop_back();
  }
  return dropped;
}

std::vector<ClipboardHistory::Item>::iterator ClipboardHistory::find(std::string_view id) {
  return std::find_if(items_.begin(), items_.end(),
                      [&](const Item& item) { return item.id == id; });
}

bool ClipboardHistory::isConcealed(const std::set<std::string>& pasteboardTypes) {
  static const std::set<std::string> secretTypes{
      "org.nspasteboard.ConcealedType", "org.nspasteboard.TransientType",
      "org.nspasteboard.AutoGeneratedType", "com.agilebits.onepassword"};
  return std::any_of(pasteboardTypes.begin(), pasteboardTypes.end(),
                     [](const std::string& type) { return secretTypes.contains(type); });
}

bool ClipboardHistory::mayKeep(std::string_view text) {
  return !text.empty();
}

}  // namespace lumivale
