#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/integration/files/files_cli.h"

namespace lumivale::testing {

using Files = std::map<std::string, std::string>;  // relative path -> bytes

// Runs `lumivale folder` as a user does, with a Reading folder of the test's own.
class FolderCliTest : public FilesCliTest {
 protected:
  void SetUp() override {
    FilesCliTest::SetUp();
    group = "folder";
    mac = local / "Reading";
    std::filesystem::create_directories(mac);
  }

  // Makes the adb the program finds run `script` (sh, given adb's arguments) before it hands
  // over to the real one.
  void wrapAdb(const std::string& script) {
    std::string adb = "/usr/bin/adb";
    std::istringstream path(std::getenv("PATH") != nullptr ? std::getenv("PATH") : "");
    for (std::string folder; std::getline(path, folder, ':');) {
      if (::access((std::filesystem::path(folder) / "adb").c_str(), X_OK) == 0) {
        adb = folder + "/adb";
        break;
      }
    }
    const std::filesystem::path tools = local / "sdk" / "platform-tools";
    std::filesystem::create_directories(tools);
    std::ofstream(tools / "adb") << "#!/bin/sh\n" << script << "\nexec '" << adb << "' \"$@\"\n";
    std::filesystem::permissions(tools / "adb", std::filesystem::perms::owner_all);
    environment["ANDROID_HOME"] = (local / "sdk").string();
  }

  void choose(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments{"choose", mac.string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ToolRun chosen = lumivale(arguments);
    ASSERT_EQ(chosen.status, 0) << chosen.stderrData;
  }
  nlohmann::json json(const std::vector<std::string>& arguments, int status = 0) const {
    const ToolRun run = lumivale(arguments);
    EXPECT_EQ(run.status, status) << run.stderrData << run.stdoutData;
    return nlohmann::json::parse(run.stdoutData, nullptr, false);
  }
  nlohmann::json sync() const { return json({"sync", "--json"}); }

  void onMac(const std::string& path, const std::string& bytes) const {
    std::filesystem::create_directories((mac / path).parent_path());
    std::ofstream(mac / path, std::ios::binary) << bytes;
  }
  std::filesystem::path tabletFolder() const { return onTablet("/sdcard/Documents/From Mac"); }
  void onTabletFolder(const std::string& path, const std::string& bytes) const {
    std::filesystem::create_directories((tabletFolder() / path).parent_path());
    std::ofstream(tabletFolder() / path, std::ios::binary) << bytes;
  }
  // The files under the tablet folder with their bytes; staged items under ".lumivale-"
  // names apart, in `hidden`.
  Files tabletFiles(std::vector<std::string>* hidden = nullptr) const {
    Files found;
    if (!std::filesystem::exists(tabletFolder())) return found;
    // A run may move items while they are looked at: what vanishes is passed over.
    std::error_code error;
    for (auto item = std::filesystem::recursive_directory_iterator(tabletFolder(), error);
         !error && item != std::filesystem::recursive_directory_iterator(); item.increment(error)) {
      const std::string path = item->path().lexically_relative(tabletFolder()).string();
      if (path.find(".lumivale-") != std::string::npos) {
        if (hidden != nullptr) hidden->push_back(path);
        continue;
      }
      std::error_code gone;
      if (!item->is_regular_file(gone)) continue;
      std::ifstream in(item->path(), std::ios::binary);
      if (!in) continue;
      found[path] = {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    return found;
  }

  // A folder copied once, then changed on both sides: new files, edits, deletions and a
  // file changed on both sides, so a run does every kind of step.
  void carriedOnce() {
    std::filesystem::remove_all(mac);
    std::filesystem::remove_all(tabletFolder());
    std::filesystem::remove_all(local / "config");
    std::filesystem::create_directories(local / "config");
    for (int i = 0; i < 12; ++i)
      onMac(fmt::format("r{:02}.pdf", i), fmt::format("version 1 of r{}", i));
    for (int i = 0; i < 3; ++i)
      onMac(fmt::format("d{}.pdf", i), "to be deleted");
    onMac("both.pdf", "version 1 of both");
    choose({"--remove-deleted", "on"});
    sync();
    onTabletFolder("mine.txt", "the user's");
    onTabletFolder("both.pdf", "changed on the tablet");
    onMac("both.pdf", "version 2 of both");
    for (int i = 0; i < 3; ++i)
      std::filesystem::remove(mac / fmt::format("d{}.pdf", i));
    for (int i = 0; i < 12; ++i) {
      onMac(fmt::format("r{:02}.pdf", i), fmt::format("version 2 of r{}", i));
      onMac(fmt::format("n{:02}.pdf", i), fmt::format("new file {}", i));
    }
  }
  // `lumivale folder sync --json` started as the leader of a process group of its own.
  std::shared_ptr<Spawn::Child> syncAlone() const {
    auto full = command({"sync", "--json"});
    full.insert(full.begin(), LUMIVALE_CLI_BINARY);
    return Spawn::launch("/usr/bin/setsid", full, environment, false, true);
  }

  // What a run of carriedOnce's changes leaves, with or without a kill.
  static Files afterTheChanges() {
    Files expected{{"mine.txt", "the user's"},
                   {"both.pdf", "changed on the tablet"},
                   {"both (from Mac).pdf", "version 2 of both"}};
    for (int i = 0; i < 12; ++i) {
      expected[fmt::format("n{:02}.pdf", i)] = fmt::format("new file {}", i);
      expected[fmt::format("r{:02}.pdf", i)] = fmt::format("version 2 of r{}", i);
    }
    return expected;
  }

  std::filesystem::path mac;
};

}  // namespace lumivale::testing
