#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/integration/files/files_cli.h"

namespace lumivale::testing {

using Files = std::map<std::string, std::string>;  // relative path -> bytes

// `lumivale folder ...` as a user runs it, with a folder here and the tablet's folder to look
// at and change.
class ReadingFolderCliTest : public FilesCliTest {
 protected:
  void SetUp() override {
    FilesCliTest::SetUp();
    group = "folder";
    mac = local / "Reading";
    std::filesystem::create_directories(mac);
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

  std::filesystem::path mac;
};

}  // namespace lumivale::testing
