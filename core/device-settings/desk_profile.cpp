#include "core/device-settings/desk_profile.h"

#include <algorithm>

namespace lumivale {

ProfileError ProfileError::unknown(const std::string& name) {
  return ProfileError("no profile named '" + name + "' (see: lumivale profile list)");
}

ProfileError ProfileError::noneActive() {
  return ProfileError("no profile is active on this tablet, so there is nothing to restore");
}

namespace DeskProfiles {

const std::vector<DeskProfile>& all() {
  // Outside, daylight is the light: let the sensor drive it, no amber, and a screen that
  // sleeps soon to save the battery. At night: a warm, dim light and no interruptions.
  static const std::vector<DeskProfile> profiles{
      {"go-outside",
       "Go outside",
       {{"auto_brightness", SettingValue::on(true)},
        {"warmth", SettingValue::level(0)},
        {"screen_off_timeout", SettingValue::choice("60000")}}},
      {"go-to-bed",
       "Go to bed",
       {{"auto_brightness", SettingValue::on(false)},
        {"warmth", SettingValue::level(220)},
        {"brightness", SettingValue::level(20)},
        {"dnd", SettingValue::on(true)}}},
  };
  return profiles;
}

const DeskProfile& named(const std::string& name) {
  const auto& profiles = all();
  auto found = std::find_if(profiles.begin(), profiles.end(),
                            [&](const DeskProfile& profile) { return profile.name == name; });
  if (found == profiles.end()) throw ProfileError::unknown(name);
  return *found;
}

}  // namespace DeskProfiles
}  // namespace lumivale
