#include "core/settings/environment.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

extern char** environ;

namespace lumivale {
namespace {

bool visible(std::string_view name, BuildFlavour flavour) {
  if (developmentHooks(flavour) || !name.starts_with("LUMIVALE_")) return true;
  return std::find(keptInCustomerBuilds.begin(), keptInCustomerBuilds.end(), name) !=
         keptInCustomerBuilds.end();
}

}  // namespace

std::map<std::string, std::string> filterEnvironment(std::map<std::string, std::string> environment,
                                                     BuildFlavour flavour) {
  std::erase_if(environment, [&](const auto& entry) { return !visible(entry.first, flavour); });
  return environment;
}

std::map<std::string, std::string> productEnvironment() {
  std::map<std::string, std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    std::string_view text(*entry);
    auto equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return filterEnvironment(std::move(environment), buildFlavour);
}

std::optional<std::string> environmentValue(const std::string& name) {
  if (!visible(name, buildFlavour)) return std::nullopt;
  const char* value = std::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::optional<std::filesystem::path> environmentFolder(const std::string& name) {
  auto value = environmentValue(name);
  if (!value || !value->starts_with('/')) return std::nullopt;
  return std::filesystem::path(*value);
}

}  // namespace lumivale
