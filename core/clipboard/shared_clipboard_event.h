#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "core/clipboard/clip_direction.h"

namespace lumivale {

// What the shared clipboard link reports as it runs.
struct SharedClipboardEvent {
  enum class Kind {
    preparing,
    syncing,     // `text`: the helper's mode
    synced,      // `direction`, `characters`, `at`
    skipped,     // `direction`, `text`: the reason in words
    problem,     // `text`
    restarting,  // `text`: why the helper ended
    failed,      // `text`
    stopped,
    paused,  // `text`: why it does not run, and what to do
  };
  Kind kind = Kind::preparing;
  std::string text{};
  ClipDirection direction = ClipDirection::macToLumivale;
  std::size_t characters = 0;
  std::chrono::system_clock::time_point at{};
  bool operator==(const SharedClipboardEvent&) const = default;
};

// The line shown beside the switch, built from the events as they come.
class ClipStatusLine {
 public:
  enum class Route { usb, wifi };
  using TimeText = std::string (*)(std::chrono::system_clock::time_point);

  ClipStatusLine(Route route, TimeText timeText) : route_(route), timeText_(timeText) {}

  void apply(const SharedClipboardEvent& event);
  std::string text() const;
  // The short form for the sidebar: "Sharing · starting" or "Sharing · waiting", else none.
  std::string sidebarText() const;

 private:
  enum class Phase { starting, on, waiting, failed, stopped, paused };
  Route route_;
  TimeText timeText_;
  Phase phase_ = Phase::starting;
  std::string lastCopy_;
  std::string lastFailure_;
};

}  // namespace lumivale
