#include "app/settings/settings_controller.h"

#include "companion/tablet_link.h"
#include "core/account/endpoint_policy.h"
#include "core/build_flavour.h"
#include "core/settings/config_store.h"

namespace lumivale::app {

bool SettingsController::showsServers() {
  return developmentHooks(buildFlavour);
}

SettingsController::SettingsController(QObject* parent) : QObject(parent) {}

void SettingsController::look() {
  work_.run<ProgramSetup>(
      [](const StopToken&) {
        ProgramSetup setup;
        // Each candidate is asked its version: a run of its own, off the main thread.
        setup.adbs = AdbLocate::unusableReasons(companion::adbSearch());
        if (!showsServers()) return setup;
        LumivaleConfig config = ConfigStore::load();
        setup.servers = {{"portmarkBaseUrl", config.portmarkBaseUrl},
                         {"workerOrigin", config.workerOrigin},
                         {"powerSyncEndpoint", config.powerSyncEndpoint}};
        setup.serverProblems = EndpointPolicy::problems(config, true);
        return setup;
      },
      [this](ProgramSetup setup) {
        setup_ = std::move(setup);
        emit looked();
      },
      [this](const std::string& message) { emit failed(QString::fromStdString(message)); });
}

}  // namespace lumivale::app
