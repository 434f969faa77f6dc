#pragma once

#include <memory>
#include <thread>

#include <QObject>

#include "app/shell/tablet_tracker.h"
#include "core/stop_token.h"

namespace lumivale::app {

// Connects the tablets set up for Wi-Fi again whenever they come back, as `lumivale wifi
// watch` does, for as long as the app runs: every 30 seconds and when the network changes.
// It starts once the tracker has opened adb; the tracker then sees each connection arrive.
class WifiReconnector : public QObject {
  Q_OBJECT

 public:
  explicit WifiReconnector(TabletTracker& tracker, QObject* parent = nullptr);
  ~WifiReconnector() override;

 private:
  void begin(std::shared_ptr<AdbBridge> bridge);

  StopToken stop_;
  std::thread loop_;
};

}  // namespace lumivale::app
