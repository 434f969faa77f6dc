#include "cli/config_commands.h"

#include <iostream>
#include <map>
#include <memory>

#include <fmt/format.h>

#include "cli/exit_codes.h"
#include "companion/account_context.h"
#include "core/error.h"
#include "core/settings/config_json.h"
#include "core/settings/config_store.h"

namespace lumivale::cli {
namespace {

// The settings that `config set` may change, by the kind of value each takes.
const std::map<std::string, std::string LumivaleConfig::*> endpointKeys = {
    {"portmarkBaseUrl", &LumivaleConfig::portmarkBaseUrl},
    {"workerOrigin", &LumivaleConfig::workerOrigin},
    {"powerSyncEndpoint", &LumivaleConfig::powerSyncEndpoint},
};
const std::map<std::string, bool LumivaleConfig::*> booleanKeys = {
    {"adbEnabled", &LumivaleConfig::adbEnabled},
    {"wifiAfterPlugIn", &LumivaleConfig::wifiAfterPlugIn},
    {"wifiAllowUnencrypted", &LumivaleConfig::wifiAllowUnencrypted},
};

std::string checkedEndpoint(const std::string& key, const std::string& value) {
  auto url = LumivaleConfig::endpointURL(value);
  if (!url)
    throw UsageError(fmt::format(
        "\"{}\" cannot be used for {}. Give an https:// address without a user name, query or "
        "fragment (plain http:// only to localhost, 127.0.0.1 or [::1]).",
        value, key));
  return url->text;
}

bool checkedBoolean(const std::string& key, const std::string& value) {
  if (value == "true") return true;
  if (value == "false") return false;
  throw UsageError(fmt::format("\"{}\" is not a value for {}. Give true or false.", value, key));
}

void setSetting(LumivaleConfig& config, const std::string& key, const std::string& value) {
  if (auto endpoint = endpointKeys.find(key); endpoint != endpointKeys.end())
    config.*(endpoint->second) = checkedEndpoint(key, value);
  else
    config.*(booleanKeys.at(key)) = checkedBoolean(key, value);
}

std::string orNotSet(const std::optional<std::string>& value) {
  return value.value_or("(not set)");
}

// A change of sign-in server signs out here; the user is told what happened.
void followSignInServerChange(const LumivaleConfig& before, const LumivaleConfig& after) {
  for (const auto& notice : companion::followSignInServerChange(before, after))
    std::cerr << "lumivale: " << notice << "\n";
}

void printSettings(const LumivaleConfig& config) {
  auto line = [](const char* key, const std::string& value) {
    std::cout << fmt::format("{:<22}{}\n", key, value);
  };
  line("portmarkBaseUrl", config.portmarkBaseUrl);
  line("workerOrigin", config.workerOrigin);
  line("powerSyncEndpoint", config.powerSyncEndpoint);
  line("email", orNotSet(config.email));
  line("userId", orNotSet(config.userId));
  line("clientSessionId", config.clientSessionId);
  line("deviceSerial", orNotSet(config.deviceSerial));
  line("adbEnabled", fmt::format("{}", config.adbEnabled));
  line("wifiAfterPlugIn", fmt::format("{}", config.wifiAfterPlugIn));
  line("wifiAllowUnencrypted", fmt::format("{}", config.wifiAllowUnencrypted));
  line("wifiTablets", config.wifiTablets.empty()
                          ? "(none)"
                          : fmt::format("{} remembered", config.wifiTablets.size()));
  for (const auto& tablet : config.wifiTablets)
    std::cout << fmt::format("  {} \"{}\" ({}) at {}:{}, {}\n", tablet.serial, tablet.name,
                             tablet.model, tablet.lastIP, tablet.lastPort, tablet.transport);
}

}  // namespace

void addConfigCommands(CLI::App& app, GlobalOptions&) {
  auto* config = app.add_subcommand("config", "Show or change the settings file");
  config->require_subcommand(1);

  config->add_subcommand("path", "Print where the settings file is")->callback([] {
    std::cout << ConfigStore::fileURL().string() << "\n";
  });

  auto* show = config->add_subcommand("show", "Print the settings");
  auto json = std::make_shared<bool>(false);
  show->add_flag("--json", *json, "Print the settings file's JSON");
  show->callback([json] {
    auto settings = ConfigStore::load();
    if (*json)
      std::cout << ConfigJson::encodeText(settings);
    else
      printSettings(settings);
  });

  auto* set = config->add_subcommand("set", "Change one setting");
  auto key = std::make_shared<std::string>();
  auto value = std::make_shared<std::string>();
  std::vector<std::string> keys;
  for (const auto& [name, member] : endpointKeys)
    keys.push_back(name);
  for (const auto& [name, member] : booleanKeys)
    keys.push_back(name);
  set->add_option("KEY", *key, "The setting to change")->required()->check(CLI::IsMember(keys));
  set->add_option("VALUE", *value, "An endpoint URL, or true or false")->required();
  set->callback([key, value] {
    LumivaleConfig before;
    auto after = ConfigStore::update([&](LumivaleConfig& settings) {
      before = settings;
      setSetting(settings, *key, *value);
    });
    followSignInServerChange(before, after);
  });

  config
      ->add_subcommand("reset-endpoints",
                       "Point the three service endpoints at the built-in servers")
      ->callback([] {
        LumivaleConfig before;
        auto after = ConfigStore::update([&](LumivaleConfig& settings) {
          before = settings;
          for (const auto& [name, member] : endpointKeys)
            settings.*member = LumivaleConfig::devDefaults().*member;
        });
        followSignInServerChange(before, after);
      });
}

}  // namespace lumivale::cli
