#include "companion/profile_words.h"

#include "core/device-settings/desk_profile.h"
#include "core/device-settings/device_settings.h"

namespace lumivale::companion {

std::string shownValue(const std::string& id, const std::optional<SettingValue>& value) {
  return DeviceSettings::settingNamed(id).display(value);
}

std::string stepText(const ProfileStep& step) {
  switch (step.result) {
    case ProfileStep::Result::changed:
      return "now " + shownValue(step.id, step.value);
    case ProfileStep::Result::restored:
      return "back to " + shownValue(step.id, step.value);
    case ProfileStep::Result::left:
      return "changed since, so left at " + shownValue(step.id, step.value);
    case ProfileStep::Result::failed:
      break;
  }
  return "not changed: " + step.error.value_or("");
}

std::string profileTitle(const std::string& name) {
  for (const auto& profile : DeskProfiles::all())
    if (profile.name == name) return profile.title;
  return name;
}

std::string activeText(const std::optional<ProfileRecord>& record) {
  if (!record) return "No profile is active.";
  return profileTitle(record->profile) + " since " + record->since;
}

}  // namespace lumivale::companion
