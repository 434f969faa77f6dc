#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "core/build_flavour.h"

namespace lumivale {

// The only product variables that customer builds honour.
inline constexpr std::array<const char*, 3> keptInCustomerBuilds = {
    "LUMIVALE_CONFIG_DIR", "LUMIVALE_LOG_DIR", "LUMIVALE_NO_RESTORE"};

// Drops the product's development variables ("LUMIVALE_*" except the kept ones) in
// customer builds; other builds see the environment as it stands.
std::map<std::string, std::string> filterEnvironment(std::map<std::string, std::string> environment,
                                                     BuildFlavour flavour);

// The process environment as this build may see it. Every read of an environment
// variable in the core goes through here.
std::map<std::string, std::string> productEnvironment();
std::optional<std::string> environmentValue(const std::string& name);

// The variable's value when it is an absolute path; anything else is ignored.
std::optional<std::filesystem::path> environmentFolder(const std::string& name);

}  // namespace lumivale
