#pragma once

#include <string>
#include <vector>

#include <QObject>

#include "app/shell/background_work.h"
#include "core/tablet/adb_locate.h"

namespace lumivale::app {

// One server address of the settings and what the checks of this build say of it.
struct ServerAddress {
  std::string name;  // the settings key: portmarkBaseUrl, ...
  std::string address;
};

struct ProgramSetup {
  std::vector<AdbCandidateLook> adbs;  // in the order they are tried
  std::vector<ServerAddress> servers;
  std::vector<std::string> serverProblems;  // one sentence each; none when all pass
};

// The adb in use and why the others are not, and the servers the account talks to.
class SettingsController : public QObject {
  Q_OBJECT

 public:
  // Whether this build shows the server addresses (staff builds do).
  static bool showsServers();

  explicit SettingsController(QObject* parent = nullptr);

  const ProgramSetup& setup() const { return setup_; }

 public slots:
  void look();

 signals:
  void looked();
  void failed(const QString& message);

 private:
  ProgramSetup setup_;
  BackgroundWork work_{this};
};

}  // namespace lumivale::app
