#pragma once

#include <chrono>
#include <optional>

namespace lumivale {

// When the folder watcher starts a sync run. Once at the start; after changes on the computer
// have settled (nothing new for `quiet`, or `longest` after the first one, for a folder that
// is written to without pause), so a burst of writes gives one run; and at once when the
// tablet comes back. Nothing runs while the tablet is away: its return runs anyway, and each
// run reads both sides afresh. Times are passed in, so the rule is the same on any clock.
class SyncSchedule {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  struct Timing {
    Clock::duration quiet = std::chrono::seconds(2);
    Clock::duration longest = std::chrono::seconds(30);
  };

  enum class Why { start, changedHere, tabletBack };

  explicit SyncSchedule(Timing timing);

  void changedHere(Time at);
  // What a look at adb's device list found; true when this is the tablet's return.
  bool tabletSeen(bool ready);
  bool tabletAway() const { return away_; }

  // The run due at `now`, if any.
  std::optional<Why> due(Time now) const;
  // A run starts now: it reads whatever changed before.
  void started();
  // When a run falls due with nothing more happening, if one waits.
  std::optional<Time> next() const;

 private:
  Timing timing_;
  bool away_ = false;
  bool atStart_ = true;
  bool back_ = false;
  std::optional<Time> firstChange_;  // of the changes no run has read yet
  std::optional<Time> lastChange_;
};

}  // namespace lumivale
