#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "standin/rooted_process.h"

namespace lumivale::standin {

// The stand-in's app_process: `CLASSPATH=DEX app_process DIR CLASS ARGS...` runs a dex pushed
// into the tablet root on the host JVM (the dex turned into a jar by enjarify, with Android's
// own org.json), the tablet's clipboard being the file `clipboardFile`.
struct AppProcessHost {
  std::filesystem::path root;
  std::filesystem::path jarCache;  // jars made from dexes, named by the dex's SHA-256
  std::filesystem::path clipboardFile;

  // How to run `command` when it is such an app_process line whose dex is there; none
  // otherwise (the tablet's shell then runs it, and says app_process is not found).
  std::optional<Launch> launch(const std::string& command) const;
};

}  // namespace lumivale::standin
