#include "tests/integration/files/standin_files.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace lumivale::testing {

namespace fs = std::filesystem;

namespace {

std::string findOnPath(const Environment& environment, const std::string& tool) {
  auto path = environment.find("PATH");
  std::string folders = path == environment.end() ? "/usr/bin" : path->second;
  std::size_t start = 0;
  while (start <= folders.size()) {
    auto end = folders.find(':', start);
    if (end == std::string::npos) end = folders.size();
    fs::path candidate = fs::path(folders.substr(start, end - start)) / tool;
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return "/usr/bin/" + tool;
}

}  // namespace

void StandinFilesTest::SetUpTestSuite() {
  tablet = std::make_unique<StandinTablet>();
  bridge = std::make_unique<AdbBridge>(findOnPath(tablet->adbEnvironment(), "adb"),
                                       tablet->adbEnvironment());
}

void StandinFilesTest::TearDownTestSuite() {
  bridge.reset();
  tablet.reset();
}

void StandinFilesTest::SetUp() {
  tablet->clearFaults();
  ::unsetenv("LUMIVALE_FILES_LIST_FORMAT");
  // Each test starts from an empty shared storage.
  for (const auto& item : fs::directory_iterator(tablet->storageFolder()))
    fs::remove_all(item);
  std::string pattern = (fs::temp_directory_path() / "lumivale-files-it-XXXXXX").string();
  local = ::mkdtemp(pattern.data());
  files = std::make_unique<AdbFiles>(freshFiles());
}

void StandinFilesTest::TearDown() {
  tablet->clearFaults();
  fs::remove_all(local);
}

AdbFiles StandinFilesTest::freshFiles() const {
  return AdbFiles(*bridge, tablet->serial(), TransferLimits::standard(),
                  std::make_shared<ListingFormatCache>());
}

fs::path StandinFilesTest::onTablet(const std::string& sdcardPath) const {
  return tablet->storageFolder() / fs::path(sdcardPath).lexically_relative("/sdcard");
}

void StandinFilesTest::reconnect() const {
  // A connection left offline stays so until adb lets it go and dials afresh.
  tablet->disconnect();
  for (int attempt = 0; attempt < 50; ++attempt) {
    tablet->connect();
    auto state = tablet->adb({"get-state"}, Seconds(10));
    if (state.status == 0 && state.stdoutData.starts_with("device")) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  FAIL() << "adb did not get the stand-in back";
}

fs::path StandinFilesTest::localFile(const std::string& name, const std::string& bytes) const {
  fs::path path = local / name;
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

}  // namespace lumivale::testing
