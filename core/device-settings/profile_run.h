#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "core/device-settings/desk_profile.h"
#include "core/device-settings/profile_record.h"
#include "core/tablet/adb_runner.h"

namespace lumivale {

// What happened to one setting when a profile was applied or restored.
struct ProfileStep {
  enum class Result {
    changed,   // the profile's value written; `value` is what the tablet read back
    restored,  // the saved value put back; `value` is what the tablet read back
    left,      // changed by someone since the profile set it, so left; `value` holds it now
    failed,    // `error` says why, as the setting's own failure says it
  };
  std::string id;
  Result result = Result::changed;
  std::optional<SettingValue> value;
  std::optional<std::string> error;

  bool operator==(const ProfileStep&) const = default;
};

struct ProfileOutcome {
  std::string profile;
  std::vector<ProfileStep> steps;  // in the profile's order, or the record's for a restore

  bool failed() const;
};

// Applying and restoring the leave-the-desk profiles on one tablet: commands go to the
// connection `serial`, the record is the tablet's own (`tablet`, its serial over any
// connection). One setting that fails stops nothing else; a cancel (Cancelled) stops the
// rest with the record saved.
namespace ProfileRun {

// Saves the values about to be changed (keeping those an earlier active profile saved),
// then writes the profile's values through the catalogue, each read back.
ProfileOutcome apply(const DeskProfile& profile, AdbRunner& runner, const std::string& serial,
                     const std::string& tablet, const ProfileRecordStore& store,
                     std::chrono::system_clock::time_point now);

// Puts each saved value back where the tablet still holds what the profile set. The
// record goes once nothing failed; otherwise it keeps only the settings that failed.
// Fails with ProfileError::noneActive when there is no record.
ProfileOutcome restore(AdbRunner& runner, const std::string& serial, const std::string& tablet,
                       const ProfileRecordStore& store);

}  // namespace ProfileRun
}  // namespace lumivale
