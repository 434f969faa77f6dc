#include "core/files/reading-folder/sync_schedule.h"

#include <algorithm>

namespace lumivale {

SyncSchedule::SyncSchedule(Timing timing) : timing_(timing) {}

void SyncSchedule::changedHere(Time at) {
  if (!firstChange_) firstChange_ = at;
  lastChange_ = std::max(at, lastChange_.value_or(at));
}

bool SyncSchedule::tabletSeen(bool ready) {
  const bool back = away_ && ready;
  away_ = !ready;
  if (back) back_ = true;
  return back;
}

std::optional<SyncSchedule::Time> SyncSchedule::next() const {
  if (away_) return std::nullopt;
  if (atStart_ || back_) return Time::min();
  if (!firstChange_) return std::nullopt;
  return std::min(*lastChange_ + timing_.quiet, *firstChange_ + timing_.longest);
}

std::optional<SyncSchedule::Why> SyncSchedule::due(Time now) const {
  const auto when = next();
  if (!when || *when > now) return std::nullopt;
  if (atStart_) return Why::start;
  if (back_) return Why::tabletBack;
  return Why::changedHere;
}

void SyncSchedule::started() {
  atStart_ = false;
  back_ = false;
  firstChange_.reset();
  lastChange_.reset();
}

}  // namespace lumivale
