#include "cli/profile_commands.h"

#include <iostream>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/exit_codes.h"
#include "companion/profile_words.h"
#include "companion/tablet_link.h"
#include "core/device-settings/profile_run.h"

namespace lumivale::cli {
namespace {

using nlohmann::ordered_json;

const char* resultName(ProfileStep::Result result) {
  switch (result) {
    case ProfileStep::Result::changed:
      return "changed";
    case ProfileStep::Result::restored:
      return "restored";
    case ProfileStep::Result::left:
      return "left";
    case ProfileStep::Result::failed:
      break;
  }
  return "failed";
}

ordered_json valueJson(const std::optional<SettingValue>& value) {
  return value ? ordered_json(value->text()) : ordered_json(nullptr);
}

// {"id", "value", "shown"}: one value a profile sets or saved.
ordered_json settingJson(const std::string& id, const std::optional<SettingValue>& value) {
  return {{"id", id}, {"value", valueJson(value)}, {"shown", companion::shownValue(id, value)}};
}

// Prints each step; a step that failed makes the command fail.
void printOutcome(const ProfileOutcome& outcome, bool json) {
  if (json) {
    ordered_json steps = ordered_json::array();
    for (const auto& step : outcome.steps) {
      auto entry = settingJson(step.id, step.value);
      entry["result"] = resultName(step.result);
      entry["error"] = step.error ? ordered_json(*step.error) : ordered_json(nullptr);
      steps.push_back(std::move(entry));
    }
    std::cout << ordered_json{{"profile", outcome.profile}, {"steps", steps}}.dump(2) << "\n";
  } else {
    for (const auto& step : outcome.steps)
      std::cout << fmt::format("  {:<20}{}\n", step.id, companion::stepText(step));
  }
  if (outcome.failed()) throw ExitStatus{1};
}

void listProfiles(bool json) {
  ordered_json list = ordered_json::array();
  for (const auto& profile : DeskProfiles::all()) {
    if (!json) std::cout << fmt::format("{:<12}{}\n", profile.name, profile.title);
    ordered_json values = ordered_json::array();
    for (const auto& [id, value] : profile.values) {
      if (!json) std::cout << fmt::format("  {:<20}{}\n", id, companion::shownValue(id, value));
      values.push_back(settingJson(id, value));
    }
    list.push_back({{"name", profile.name}, {"title", profile.title}, {"values", values}});
  }
  if (json) std::cout << list.dump(2) << "\n";
}

void showStatus(const GlobalOptions& options, bool json) {
  auto session = companion::requireReadyTablet(options.serial, options.command);
  auto record = ProfileRecordStore::standard().load(session.tablet);
  if (json) {
    ordered_json changes = ordered_json::array();
    if (record) {
      for (const auto& change : record->changes) {
        ordered_json entry{{"id", change.id},
                           {"before", valueJson(change.before)},
                           {"set", valueJson(change.set)}};
        changes.push_back(std::move(entry));
      }
    }
    std::cout << ordered_json{{"profile", record ? ordered_json(record->profile) : nullptr},
                              {"since", record ? ordered_json(record->since) : nullptr},
                              {"changes", changes}}
                     .dump(2)
              << "\n";
    return;
  }
  std::cout << companion::activeText(record) << "\n";
  if (!record) return;
  for (const auto& change : record->changes) {
    std::cout << fmt::format(
        "  {:<20}{} (was {})\n", change.id,
        change.set ? companion::shownValue(change.id, change.set) : "not changed",
        companion::shownValue(change.id, change.before));
  }
}

}  // namespace

void addProfileCommands(CLI::App& app, GlobalOptions& options) {
  auto* group =
      app.add_subcommand("profile", "Change several settings for leaving the desk, and back");
  group->require_subcommand(1);
  auto json = std::make_shared<bool>(false);

  auto* list = group->add_subcommand("list", "The profiles and the values each one sets");
  list->add_flag("--json", *json, "Print JSON");
  list->callback([json] { listProfiles(*json); });

  auto name = std::make_shared<std::string>();
  auto* apply = group->add_subcommand("apply", "Save the settings it changes, then change them");
  apply->add_option("NAME", *name, "go-outside or go-to-bed")->required();
  apply->add_flag("--json", *json, "Print JSON");
  apply->callback([&options, name, json] {
    const DeskProfile* profile = nullptr;
    try {
      profile = &DeskProfiles::named(*name);
    } catch (const ProfileError& unknown) {
      throw UsageError(unknown.message());  // a name mistyped, like a setting's
    }
    auto session = companion::requireReadyTablet(options.serial, options.command);
    printOutcome(
        ProfileRun::apply(*profile, *session.bridge, session.serial, session.tablet,
                          ProfileRecordStore::standard(), std::chrono::system_clock::now()),
        *json);
  });

  auto* restore = group->add_subcommand(
      "restore", "Put back what the profile changed, where nobody changed it since");
  restore->add_flag("--json", *json, "Print JSON");
  restore->callback([&options, json] {
    auto session = companion::requireReadyTablet(options.serial, options.command);
    printOutcome(ProfileRun::restore(*session.bridge, session.serial, session.tablet,
                                     ProfileRecordStore::standard()),
                 *json);
  });

  auto* status = group->add_subcommand("status",
                                       "Which profile is active, since when, and what "
                                       "it changed");
  status->add_flag("--json", *json, "Print JSON");
  status->callback([&options, json] { showStatus(options, *json); });
}

}  // namespace lumivale::cli
