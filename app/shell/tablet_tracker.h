#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QObject>

#include "app/shell/background_work.h"
#include "core/tablet/adb_device.h"
#include "core/tablet/tablet_state.h"

namespace lumivale {
class AdbBridge;
class DeviceWatcher;
}  // namespace lumivale

namespace lumivale::app {

// What the app knows of the tablets from its latest look.
struct TabletView {
  std::vector<AdbTablet> tablets;
  std::optional<std::string> chosen;  // the serial chosen in the settings
  TabletState state = TabletState::looking;
  std::optional<std::string> refusal;  // why tablet work cannot start now
  std::optional<std::string> serial;   // the connection to address, once ready
  std::optional<std::string> tablet;   // its tablet's own serial, the same over any connection
  bool unencryptedWifi = false;        // that connection crosses Wi-Fi unencrypted

  bool ready() const { return state == TabletState::ready && serial; }
  // The connection in use, once ready: the cable or Wi-Fi.
  const AdbDevice* connection() const;
  // How the tablet is, for a person: "Your Lumivale is ready." or why it is not.
  std::string stateLine() const;
};

// The one bridge of the app and the tablets seen through it. It follows adb's device
// list and takes a new look whenever it changes, so every pane learns of a tablet
// arriving, leaving or being allowed without polling.
class TabletTracker : public QObject {
  Q_OBJECT

 public:
  explicit TabletTracker(QObject* parent = nullptr);
  ~TabletTracker() override;

  // Opens the bridge and starts following adb; the first look follows.
  void start();

  const TabletView& view() const { return view_; }
  // The bridge, once open; every controller's tablet work runs through it.
  std::shared_ptr<AdbBridge> bridge() const { return bridge_; }

 public slots:
  // Takes a new look now (after a change of the chosen tablet, for instance).
  void lookAgain();

 signals:
  void changed();

 private:
  void opened(std::shared_ptr<AdbBridge> bridge, std::shared_ptr<DeviceWatcher> watcher);
  void looked(TabletView view);
  void lookFailed(const std::string& message);

  TabletView view_;
  std::shared_ptr<AdbBridge> bridge_;
  std::shared_ptr<DeviceWatcher> watcher_;
  bool looking_ = false;
  bool lookWanted_ = false;  // a change came in while a look was under way
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
