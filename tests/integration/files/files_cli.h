#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/tablet/spawn.h"
#include "core/tablet/tool_run.h"
#include "tests/integration/files/standin_files.h"

namespace lumivale::testing {

// Runs the real `lumivale files` (or another group) against the stand-in, as a user would.
class FilesCliTest : public StandinFilesTest {
 protected:
  void SetUp() override {
    StandinFilesTest::SetUp();
    environment = tablet->adbEnvironment();
    environment["LUMIVALE_CONFIG_DIR"] = (local / "config").string();
    // The stand-in is reached over TCP; these let it count as the cabled tablet.
    environment["LUMIVALE_STANDIN_SERIAL"] = tablet->serial();
    environment["LUMIVALE_STANDIN_ONLY"] = "1";
    std::filesystem::create_directories(local / "config");
  }

  std::vector<std::string> command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--serial", tablet->serial(), group});
    return arguments;
  }

  ToolRun lumivale(std::vector<std::string> arguments) const {
    return ToolRun::runIn(environment, LUMIVALE_CLI_BINARY, command(std::move(arguments)),
                          Seconds(300));
  }

  // Runs `lumivale files ARGS...` on a pseudo-terminal (through script(1)), with `answers`
  // typed in; what it printed comes back in stdoutData, its own line ends as "\r\n".
  ToolRun onTerminal(std::vector<std::string> arguments, const std::string& answers) const {
    std::string line = "exec '" LUMIVALE_CLI_BINARY "'";
    for (const auto& argument : command(std::move(arguments)))
      line += " '" + argument + "'";  // test paths hold no quotes
    Environment withAnswers = environment;
    withAnswers["ANSWERS"] = answers;
    withAnswers["LINE"] = line;
    return ToolRun::runIn(withAnswers, "/bin/sh",
                          {"-c", "printf '%s' \"$ANSWERS\" | script -qec \"$LINE\" /dev/null"},
                          Seconds(300));
  }

  // Starts `lumivale files ARGS...` as the leader of a process group of its own, which
  // ::kill(-pid, ...) ends with every tool it started.
  std::shared_ptr<Spawn::Child> launchAlone(std::vector<std::string> arguments) const {
    auto full = command(std::move(arguments));
    full.insert(full.begin(), LUMIVALE_CLI_BINARY);
    return Spawn::launch("/usr/bin/setsid", full, environment, false, true);
  }

  Environment environment;
  std::string group = "files";  // the command group every run is of
};

}  // namespace lumivale::testing
