// Writes the seeds that no captured tablet output gives: settings files as this program writes
// them, and account answers. Usage: fuzz_seeds FOLDER (one subfolder per fuzz target).
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "core/settings/config_json.h"

using namespace lumivale;
namespace fs = std::filesystem;

namespace {

void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: fuzz_seeds FOLDER\n";
    return 2;
  }
  const fs::path root = argv[1];
  LumivaleConfig config = LumivaleConfig::devDefaults();
  write(root / "fuzz_settings_file" / "defaults.json", ConfigJson::encodeText(config));
  config.email = "reader@example.org";
  config.deviceSerial = "LV1A0001";
  config.wifiTablets.push_back({.serial = "192.168.1.20:37001",
                                .model = "LV_1",
                                .lastIP = "192.168.1.20",
                                .lastPort = 37001,
                                .accountUserId = "user-1",
                                .transport = "tcp",
                                .checkId = "check-1"});
  write(root / "fuzz_settings_file" / "remembered.json", ConfigJson::encodeText(config));

  const fs::path account = root / "fuzz_account_answers";
  write(account / "token",
        "eyJhbGciOiJFZERTQSIsInR5cCI6IkpXVCJ9."
        "eyJzdWIiOiJ1c2VyLTEiLCJleHAiOjE3NjcyMjU2MDAsImlhdCI6MTc2NzIyNDcwMH0.c2ln");
  write(account / "retry-date", "Wed, 21 Oct 2026 07:28:00 GMT");
  write(account / "retry-seconds", "120");
  write(account / "url", "https://portmark.example.org:8443/api/auth");
  return 0;
}
