#include "core/device-settings/profile_run.h"

#include <algorithm>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/device-settings/device_settings.h"

namespace lumivale {
namespace {

const SettingReading* readingOf(const std::vector<SettingReading>& readings,
                                const std::string& id) {
  auto found = std::find_if(readings.begin(), readings.end(),
                            [&](const SettingReading& reading) { return reading.id == id; });
  return found == readings.end() ? nullptr : &*found;
}

ProfileChange* changeOf(ProfileRecord& record, const std::string& id) {
  auto found = std::find_if(record.changes.begin(), record.changes.end(),
                            [&](const ProfileChange& change) { return change.id == id; });
  return found == record.changes.end() ? nullptr : &*found;
}

ProfileStep failedStep(const std::string& id, const std::string& error) {
  return {id, ProfileStep::Result::failed, std::nullopt, error};
}

// Why a setting could not be saved before the profile changes it, or none.
std::optional<std::string> unsaveable(const SettingReading* reading, const std::string& id) {
  if (!reading) return "no setting named '" + id + "'";
  if (reading->error) return reading->error;
  if (!reading->value)
    return fmt::format(
        "'{}' is unset on this tablet, so it was left alone: there would be "
        "nothing to put back",
        id);
  return std::nullopt;
}

std::string utcText(std::chrono::system_clock::time_point now) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}",
                     std::chrono::time_point_cast<std::chrono::seconds>(now));
}

}  // namespace

bool ProfileOutcome::failed() const {
  return std::any_of(steps.begin(), steps.end(), [](const ProfileStep& step) {
    return step.result == ProfileStep::Result::failed;
  });
}

namespace ProfileRun {

ProfileOutcome apply(const DeskProfile& profile, AdbRunner& runner, const std::string& serial,
                     const std::string& tablet, const ProfileRecordStore& store,
                     std::chrono::system_clock::time_point now) {
  auto held = store.lock(tablet);
  auto readings = DeviceSettings::readAll(runner, serial);
  ProfileRecord record = store.load(tablet).value_or(ProfileRecord{tablet, "", "", {}});
  record.profile = profile.name;
  record.since = utcText(now);
  ProfileOutcome outcome{profile.name, std::vector<ProfileStep>(profile.values.size())};
  std::vector<size_t> toWrite;
  for (size_t index = 0; index < profile.values.size(); ++index) {
    const auto& id = profile.values[index].first;
    outcome.steps[index].id = id;
    if (!changeOf(record, id)) {
      const SettingReading* reading = readingOf(readings, id);
      if (auto problem = unsaveable(reading, id)) {
        outcome.steps[index] = failedStep(id, *problem);
        continue;
      }
      record.changes.push_back({id, *reading->value, std::nullopt});
    }
    toWrite.push_back(index);
  }
  // Saved before the first write: whatever happens next, the old values can be put back.
  store.save(record);
  for (size_t index : toWrite) {
    const auto& [id, value] = profile.values[index];
    try {
      auto readBack = DeviceSettings::settingNamed(id).write(value, runner, serial);
      changeOf(record, id)->set = readBack;
      outcome.steps[index] = {id, ProfileStep::Result::changed, readBack, std::nullopt};
    } catch (const Cancelled&) {
      store.save(record);
      throw;
    } catch (const Error& error) {
      outcome.steps[index] = failedStep(id, error.message());
    }
  }
  store.save(record);
  return outcome;
}

ProfileOutcome restore(AdbRunner& runner, const std::string& serial, const std::string& tablet,
                       const ProfileRecordStore& store) {
  auto held = store.lock(tablet);
  auto record = store.load(tablet);
  if (!record) throw ProfileError::noneActive();
  auto readings = DeviceSettings::readAll(runner, serial);
  ProfileOutcome outcome{record->profile, {}};
  std::vector<ProfileChange> kept;
  auto keepRest = [&](std::vector<ProfileChange>::const_iterator from) {
    kept.insert(kept.end(), from, record->changes.cend());
  };
  for (auto change = record->changes.cbegin(); change != record->changes.cend(); ++change) {
    if (!change->set) continue;  // never changed, so nothing to put back
    const auto& setting = DeviceSettings::settingNamed(change->id);
    const SettingReading* reading = readingOf(readings, change->id);
    if (reading->error) {
      outcome.steps.push_back(failedStep(change->id, *reading->error));
      kept.push_back(*change);
      continue;
    }
    if (!reading->value || !setting.sameValue(*reading->value, *change->set)) {
      outcome.steps.push_back(
          {change->id, ProfileStep::Result::left, reading->value, std::nullopt});
      continue;
    }
    try {
      auto readBack = setting.write(change->before, runner, serial);
      outcome.steps.push_back({change->id, ProfileStep::Result::restored, readBack, std::nullopt});
    } catch (const Cancelled&) {
      keepRest(change);
      store.save({record->serial, record->profile, record->since, kept});
      throw;
    } catch (const Error& error) {
      outcome.steps.push_back(failedStep(change->id, error.message()));
      kept.push_back(*change);
    }
  }
  if (kept.empty())
    store.remove(tablet);
  else
    store.save({record->serial, record->profile, record->since, kept});
  return outcome;
}

}  // namespace ProfileRun
}  // namespace lumivale
