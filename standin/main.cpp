// lumivale-standin: an LV-1 tablet that the real adb talks to, for tests,
// benchmarks and the demo. See README.md beside this file.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>

#include <CLI/CLI.hpp>

#include "core/error.h"
#include "standin/control_client.h"
#include "standin/rooted_process.h"
#include "standin/shared_storage.h"
#include "standin/standin_server.h"
#include "standin/tablet_root.h"

namespace {

using namespace lumivale;
using namespace lumivale::standin;

struct ServeOptions {
  std::filesystem::path data;
  std::filesystem::path commands = LUMIVALE_STANDIN_COMMANDS;
  uint16_t port = 0;
  std::vector<std::string> faults;
  bool exitWithParent = false;
  bool plainStorage = false;
};

void serve(const ServeOptions& options) {
  const auto& data = options.data;
  if (options.exitWithParent) ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  // Before any thread starts: only a process without threads can move.
  if (!options.plainStorage) enterOwnMountNamespace();
  ::signal(SIGPIPE, SIG_IGN);
  ::umask(022);
  FaultSettings faults;
  for (const auto& fault : options.faults)
    applyFault(faults, fault);
  std::filesystem::create_directories(data);
  TabletRoot root(std::filesystem::absolute(data), options.commands);
  root.build();
  checkCanChroot(root.path().string());
  // As on the tablet, /data/media/0 holds what /storage/emulated/0 shows.
  std::optional<SharedStorage> storage;
  if (!options.plainStorage) {
    std::filesystem::create_directories(root.path() / "data/media/0");
    storage.emplace(root.path() / "data/media/0", root.path() / "storage/emulated/0");
  }
  StandinServer server(root, faults, std::filesystem::absolute(data), options.port);
  // Written last, and atomically: its presence means the stand-in is ready.
  auto portFile = data / "port";
  std::ofstream(portFile.string() + ".new") << server.port() << "\n";
  std::filesystem::rename(portFile.string() + ".new", portFile);
  std::cout << "lumivale-standin: LV-1 listening on 127.0.0.1:" << server.port() << std::endl;
  server.run();
  std::filesystem::remove(portFile);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"An LV-1 tablet that the real adb talks to"};
  app.require_subcommand(1);
  ServeOptions serving;
  auto* serveCommand = app.add_subcommand("serve", "Build the tablet root and serve adb");
  serveCommand->add_option("--data", serving.data, "Data folder (holds root/, port, control)")
      ->required();
  serveCommand->add_option("--port", serving.port, "Loopback port; 0 picks a free one");
  serveCommand->add_option("--fault", serving.faults, "A fault to start with (repeatable)");
  serveCommand->add_option("--commands", serving.commands,
                           "Folder of the simulated Android commands");
  serveCommand->add_flag("--exit-with-parent", serving.exitWithParent,
                         "Stop when the parent process ends");
  serveCommand->add_flag("--plain-storage", serving.plainStorage,
                         "Serve /sdcard from a plain folder: case-sensitive, any name allowed");

  std::filesystem::path data;

  std::vector<std::string> request;
  auto* controlCommand =
      app.add_subcommand("control",
                         "Send a request to a running stand-in: fault FAULT, clear "
                         "[NAME], faults, drop");
  controlCommand->add_option("--data", data, "The stand-in's data folder")->required();
  controlCommand->add_option("request", request, "The request words")->required();
  CLI11_PARSE(app, argc, argv);

  try {
    if (serveCommand->parsed()) {
      serve(serving);
    } else {
      std::string line;
      for (const auto& word : request)
        line += (line.empty() ? "" : " ") + word;
      std::cout << sendControlRequest(data / "control", line);
    }
  } catch (const Error& error) {
    std::cerr << "lumivale-standin: " << error.message() << "\n";
    return 1;
  } catch (const std::exception& error) {
    std::cerr << "lumivale-standin: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
