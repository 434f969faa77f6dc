// The kernel's own routing messages, made by adding an address to the loopback link
// (root only) and taking it away again.
#include "platform/network_changes.h"

#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"
#include "core/tablet/tool_run.h"

namespace lumivale {
namespace {

bool ip(const std::string& change, const std::string& address) {
  return ToolRun::run("/usr/sbin/ip", {"addr", change, address, "dev", "lo"}, Seconds(30)).status ==
         0;
}

TEST(NetworkChanges, AnAddressComingAndGoingIsAChangeAndACancelEndsTheWait) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may change an address";
  auto changes = platform::followNetworkChanges();
  const std::string address = "127.78." + std::to_string(::getpid() % 250) + ".1/32";
  ASSERT_TRUE(ip("add", address));
  const bool added = changes->waitForChange(Seconds(120), StopToken());
  ASSERT_TRUE(ip("del", address));
  EXPECT_TRUE(added);
  EXPECT_TRUE(changes->waitForChange(Seconds(120), StopToken()));

  StopToken stop;
  std::thread canceller([stop] { stop.cancel(); });
  EXPECT_THROW(changes->waitForChange(Seconds(600), stop), Cancelled);
  canceller.join();
}

}  // namespace
}  // namespace lumivale
