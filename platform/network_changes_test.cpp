// The kernel's own routing messages, made by adding an address to the loopback link
// (root only) and taking it away again.
#include "platform/network_changes.h"

#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"
#include "platform/testing/loopback_address.h"

namespace lumivale {
namespace {

TEST(NetworkChanges, AnAddressComingAndGoingIsAChangeAndACancelEndsTheWait) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may change an address";
  auto changes = platform::followNetworkChanges();
  testing::LoopbackAddress address("127.78." + std::to_string(::getpid() % 250) + ".1/32");
  ASSERT_TRUE(address.added());
  const bool added = changes->waitForChange(Seconds(120), StopToken());
  ASSERT_TRUE(address.remove());
  EXPECT_TRUE(added);
  EXPECT_TRUE(changes->waitForChange(Seconds(120), StopToken()));

  StopToken stop;
  std::thread canceller([stop] { stop.cancel(); });
  EXPECT_THROW(changes->waitForChange(Seconds(600), stop), Cancelled);
  canceller.join();
}

}  // namespace
}  // namespace lumivale
