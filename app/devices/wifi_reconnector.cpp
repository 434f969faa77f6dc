#include "app/devices/wifi_reconnector.h"

#include "core/cancelled.h"
#include "core/settings/log.h"
#include "core/tablet/wifi/reconnect_loop.h"
#include "core/tablet/wifi/wifi_reconnect.h"
#include "platform/network_changes.h"

namespace lumivale::app {

WifiReconnector::WifiReconnector(TabletTracker& tracker, QObject* parent) : QObject(parent) {
  auto beginOnce = [this, &tracker] {
    if (!loop_.joinable() && tracker.bridge()) begin(tracker.bridge());
  };
  connect(&tracker, &TabletTracker::changed, this, beginOnce);
  beginOnce();
}

WifiReconnector::~WifiReconnector() {
  stop_.cancel();
  if (loop_.joinable()) loop_.join();
}

void WifiReconnector::begin(std::shared_ptr<AdbBridge> bridge) {
  loop_ = std::thread([bridge = std::move(bridge), stop = stop_] {
    try {
      auto changes = platform::followNetworkChanges();
      WifiReconnect::keepTrying(
          *changes,
          [&](WifiReconnect::RoundCause) {
            // A round that fails is tried again at the next one.
            try {
              for (const auto& outcome : WifiReconnect::round(*bridge, std::nullopt, &stop))
                logInfo("{}", WifiReconnect::describe(outcome));
            } catch (const Cancelled&) {
              throw;
            } catch (const Error& failed) {
              logWarning("connecting again over Wi-Fi: {}", failed.message());
            }
          },
          stop);
    } catch (const Cancelled&) {
    }
  });
}

}  // namespace lumivale::app
