#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include <gtest/gtest.h>

#include "core/settings/config_store.h"
#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

constexpr int processCount = 8;
constexpr int updatesPerProcess = 100;

// Runs in a forked child: no test assertions here, only an exit status.
int addTablets(int process) {
  try {
    for (int i = 0; i < updatesPerProcess; ++i) {
      ConfigStore::update([&](LumivaleConfig& config) {
        config.wifiTablets.push_back(RememberedTablet{
            .serial = std::to_string(process) + "-" + std::to_string(i),
            .model = "LV-1",
            .name = "Tablet",
            .lastIP = "10.0.0.2",
            .lastPort = 5555,
            .pairedAt = "2026-11-21T09:00:00Z",
            .transport = "tls",
        });
      });
    }
    return 0;
  } catch (...) {
    return 1;
  }
}

TEST(ConcurrentUpdateTest, UpdatesFromManyProcessesAreNeverLost) {
  testing::TemporarySettingsFolder folder;
  std::vector<pid_t> children;
  for (int process = 0; process < processCount; ++process) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) ::_exit(addTablets(process));
    children.push_back(pid);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }

  std::set<std::string> serials;
  for (const auto& tablet : ConfigStore::load().wifiTablets)
    serials.insert(tablet.serial);
  EXPECT_EQ(serials.size(), static_cast<std::size_t>(processCount * updatesPerProcess));
}

}  // namespace
}  // namespace lumivale
