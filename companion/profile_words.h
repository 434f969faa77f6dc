#pragma once

#include <optional>
#include <string>

#include "core/device-settings/profile_record.h"
#include "core/device-settings/profile_run.h"

namespace lumivale::companion {

// How the profiles' results are worded for people, the same in the app and the command line.

// A setting's value as the catalogue shows it ("220", "On", "Unset on this tablet.").
std::string shownValue(const std::string& id, const std::optional<SettingValue>& value);

// What one step did: "now 220", "back to 128", "changed since, so left at 90",
// "not changed: REASON".
std::string stepText(const ProfileStep& step);

// The profile's title ("Go to bed"); a record written by another version may name a
// profile this one does not have, shown by its name.
std::string profileTitle(const std::string& name);

// "Go to bed since 2026-11-22T18:04:05Z", or "No profile is active.".
std::string activeText(const std::optional<ProfileRecord>& record);

}  // namespace lumivale::companion
