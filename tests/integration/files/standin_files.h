#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/files/adb_files.h"
#include "core/tablet/adb_bridge.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale::testing {

// One stand-in for a whole test binary, with AdbFiles on it and a local scratch folder.
class StandinFilesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();
  void SetUp() override;
  void TearDown() override;

  // A fresh AdbFiles whose caches remember nothing yet.
  AdbFiles freshFiles() const;
  // Where a /sdcard path lies on this machine.
  std::filesystem::path onTablet(const std::string& sdcardPath) const;
  // Connects adb to the stand-in again after a dropped connection, and waits until it is usable.
  void reconnect() const;
  // Writes `bytes` to a new local file under the scratch folder.
  std::filesystem::path localFile(const std::string& name, const std::string& bytes) const;

  static inline std::unique_ptr<StandinTablet> tablet;
  // The bridge the program itself runs adb through, on the test's adb server.
  static inline std::unique_ptr<AdbBridge> bridge;
  std::filesystem::path local;
  std::unique_ptr<AdbFiles> files;
};

}  // namespace lumivale::testing
