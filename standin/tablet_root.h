#pragma once

#include <filesystem>

#include "standin/faults.h"

namespace lumivale::standin {

// The tablet's file tree, built in the stand-in's data folder: mksh as the
// shell, toybox for the tools (with the libraries they load), the simulated
// Android commands as plain files in /system/bin, /sdcard and /data/local/tmp.
// Tablet state under /data survives restarts; the programs are refreshed.
class TabletRoot {
 public:
  TabletRoot(std::filesystem::path dataFolder, std::filesystem::path commandsFolder);

  void build();
  // Hides or restores tools and sets the low-space flag that df reads.
  void applyFaults(const FaultSettings& faults);

  const std::filesystem::path& path() const { return root_; }

 private:
  std::filesystem::path inRoot(std::string_view tabletPath) const;
  void installProgram(const std::filesystem::path& from, std::string_view tabletPath);
  void linkApplet(const std::string& name);
  void installLibrariesOf(const std::filesystem::path& program);

  std::filesystem::path root_;
  std::filesystem::path commands_;
};

}  // namespace lumivale::standin
