#include "companion/reading_folder_settings.h"

#include <type_traits>
#include <variant>

#include <fmt/format.h>

#include "core/files/remote_path.h"
#include "core/settings/config_store.h"

namespace lumivale::companion {
namespace {

std::string shown(const std::string& path) {
  return RemotePath::escapedForDisplay(path);
}

}  // namespace

std::string readingFolderTabletFolder(const AppSettings& settings) {
  return settings.readingFolderTabletFolder.value_or(std::string(standardTabletFolder));
}

ReadingFolderSync::Options readingFolderSyncOptions(const AppSettings& settings,
                                                    const std::string& tablet) {
  ReadingFolderSync::Options options;
  options.settingsFolder = ConfigStore::directory();
  options.macFolder = settings.readingFolderPath.value();
  options.tabletFolder = readingFolderTabletFolder(settings);
  options.tablet = tablet;
  options.removeDeleted = settings.readingFolderRemoveDeleted;
  return options;
}

ReadingFolderStepText describeStep(const ReadingFolderPlan::Action& action) {
  using Plan = ReadingFolderPlan;
  return std::visit(
      [](const auto& step) -> ReadingFolderStepText {
        using Step = std::decay_t<decltype(step)>;
        if constexpr (std::is_same_v<Step, Plan::RenameCase>) {
          return {"rename", fmt::format("{} to {}", shown(step.from), shown(step.to))};
        } else if constexpr (std::is_same_v<Step, Plan::Remove>) {
          return {"remove", shown(step.at)};
        } else if constexpr (std::is_same_v<Step, Plan::MakeFolder>) {
          return {"make", shown(step.path) + "/"};
        } else if constexpr (std::is_same_v<Step, Plan::Copy>) {
          const std::string as = step.to == step.mac ? "" : " as " + shown(step.to);
          return {step.replacing ? "replace" : "copy", shown(step.mac) + as};
        } else if constexpr (std::is_same_v<Step, Plan::KeepBoth>) {
          return {"keep both", fmt::format("{} as {} beside {}", shown(step.mac), shown(step.as),
                                           shown(step.beside))};
        } else if constexpr (std::is_same_v<Step, Plan::Adopt>) {
          return {"adopt",
                  fmt::format("{} (already on the tablet as {})", shown(step.mac), shown(step.at))};
        } else {
          return {"remove", shown(step.path) + "/"};
        }
      },
      action);
}

std::string summaryLine(const ReadingFolderSummary& summary) {
  return fmt::format(
      "{} copied, {} replaced, {} kept beside a copy changed on the tablet, {} removed, "
      "{} unchanged, {} failed",
      summary.copied, summary.replaced, summary.keptBoth, summary.removed, summary.unchanged,
      summary.failures.size());
}

}  // namespace lumivale::companion
