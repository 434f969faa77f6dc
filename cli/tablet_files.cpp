// Scaffold until the bridge's session helper lands: runs the adb on PATH for --serial.
#include "cli/tablet_files.h"

#include <cstdlib>

#include "core/error.h"

extern char** environ;

namespace lumivale::cli {
namespace {

class DirectAdb : public AdbFileRunner {
 public:
  ToolRun run(const std::string& serial, const std::vector<std::string>& arguments, Seconds timeout,
              ToolCancel* cancel) override {
    std::vector<std::string> all{"-s", serial};
    all.insert(all.end(), arguments.begin(), arguments.end());
    Environment environment;
    for (char** each = environ; *each; ++each) {
      std::string entry = *each;
      auto equals = entry.find('=');
      if (equals != std::string::npos)
        environment[entry.substr(0, equals)] = entry.substr(equals + 1);
    }
    return ToolRun::runIn(environment, "/usr/bin/adb", all, timeout, cancel);
  }
};

}  // namespace

AdbFiles openTabletFiles(const GlobalOptions& options) {
  static DirectAdb runner;
  if (!options.serial) throw Error("give --serial");
  return AdbFiles(runner, *options.serial);
}

}  // namespace lumivale::cli
