#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/device-settings/setting_value.h"
#include "core/error.h"

namespace lumivale {

// A named set of setting values for leaving the desk, put back later by a restore.
struct DeskProfile {
  std::string name;                                          // as typed: "go-to-bed"
  std::string title;                                         // as shown: "Go to bed"
  std::vector<std::pair<std::string, SettingValue>> values;  // catalogue id, value; in order
};

// A profile asked for that does not exist, or a restore with none active.
class ProfileError : public Error {
 public:
  using Error::Error;
  static ProfileError unknown(const std::string& name);
  static ProfileError noneActive();
};

namespace DeskProfiles {

// "go-outside" and "go-to-bed", in that order.
const std::vector<DeskProfile>& all();
// Fails with ProfileError::unknown.
const DeskProfile& named(const std::string& name);

}  // namespace DeskProfiles
}  // namespace lumivale
