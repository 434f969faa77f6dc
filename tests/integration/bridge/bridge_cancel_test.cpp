// Cancelling the bridge's Wi-Fi and listing operations while the real adb waits on a
// tablet or a server that does not answer: the call ends as cancelled and its adb is gone.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "core/cancelled.h"
#include "core/tablet/adb_bridge.h"
#include "tests/integration/adb_children.h"
#include "tests/integration/standin_tablet.h"

namespace lumivale {
namespace {

using testing::adbChildren;
using testing::adbRunUnderWay;
using testing::StandinOptions;
using testing::StandinTablet;

// A loopback port that takes connections (the kernel completes them) and never says a word.
class SilentPort {
 public:
  SilentPort() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(socket_, 8) != 0 ||
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("no loopback port to listen on");
    port_ = ntohs(address.sin_port);
  }
  ~SilentPort() { ::close(socket_); }
  std::uint16_t port() const { return port_; }

 private:
  int socket_;
  std::uint16_t port_ = 0;
};

// Runs `call` with a token on a thread of its own, cancels the token once an adb of this
// process is under way, and says whether the call ended as cancelled.
bool cancelledWhileUnderway(const std::function<void(const StopToken*)>& call) {
  StopToken stop;
  bool cancelled = false;
  std::thread worker([&] {
    try {
      call(&stop);
    } catch (const Cancelled&) {
      cancelled = true;
    } catch (const std::exception& error) {
      ADD_FAILURE() << "ended with: " << error.what();
    }
  });
  const bool underWay = adbRunUnderWay();
  stop.cancel();
  worker.join();
  EXPECT_TRUE(underWay) << "no adb was started";
  return cancelled;
}

AdbBridge bridgeFor(const StandinTablet& tablet) {
  return AdbBridge("/usr/bin/adb", tablet.adbEnvironment(), StandinHooks{tablet.serial(), false});
}

TEST(BridgeCancelTest, AConnectToATabletThatNeverAnswersIsCancelled) {
  StandinTablet tablet(StandinOptions().withoutConnecting().fault("slow=600000"));
  AdbBridge bridge = bridgeFor(tablet);
  bridge.ensureServer();
  EXPECT_TRUE(cancelledWhileUnderway(
      [&](const StopToken* stop) { bridge.connect(tablet.serial(), stop); }));
  EXPECT_EQ(adbChildren(), 0);
}

TEST(BridgeCancelTest, TabletWorkOnATabletThatStoppedAnsweringIsCancelled) {
  StandinTablet tablet;
  AdbBridge bridge = bridgeFor(tablet);
  tablet.setFault("slow=600000");
  EXPECT_TRUE(cancelledWhileUnderway(
      [&](const StopToken* stop) { bridge.readCheck(tablet.serial(), stop); }));
  EXPECT_TRUE(cancelledWhileUnderway([&](const StopToken* stop) {
    bridge.runText(tablet.serial(), {"shell", "true"}, Seconds(600), stop);
  }));
  EXPECT_EQ(adbChildren(), 0);
}

TEST(BridgeCancelTest, ListingBehindAServerThatNeverAnswersIsCancelled) {
  SilentPort server;
  AdbBridge bridge("/usr/bin/adb", {{"PATH", "/usr/bin:/bin"},
                                    {"ANDROID_ADB_SERVER_PORT", std::to_string(server.port())}});
  EXPECT_TRUE(
      cancelledWhileUnderway([&](const StopToken* stop) { bridge.devices(true, {}, stop); }));
  EXPECT_TRUE(cancelledWhileUnderway(
      [&](const StopToken* stop) { bridge.tablets(true, {}, std::nullopt, std::nullopt, stop); }));
  EXPECT_EQ(adbChildren(), 0);
  EXPECT_FALSE(bridge.serverStarted());
}

}  // namespace
}  // namespace lumivale
