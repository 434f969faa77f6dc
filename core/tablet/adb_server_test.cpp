#include "core/tablet/adb_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <thread>

#include "core/tablet/adb_bridge.h"
#include "core/tablet/testing/fake_adb_tool.h"
#include "core/tablet/unique_fd.h"

namespace lumivale {
namespace {

// A socket bound to a free loopback port, which it names through `port`.
UniqueFd boundLoopbackSocket(std::uint16_t& port) {
  UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* raw = reinterpret_cast<sockaddr*>(&address);
  if (::bind(socket.get(), raw, size) != 0 || ::getsockname(socket.get(), raw, &size) != 0)
    throw std::runtime_error("cannot bind on loopback");
  port = ntohs(address.sin_port);
  return socket;
}

// A loopback listener that reads one length-prefixed host request per connection
// and writes back the raw bytes scripted for it; unscripted requests get no answer.
class ScriptedAdbServer {
 public:
  ScriptedAdbServer() : listener_(boundLoopbackSocket(port_)) {
    if (::listen(listener_.get(), 8) != 0) throw std::runtime_error("cannot listen on loopback");
    thread_ = std::thread([this] { serve(); });
  }
  ~ScriptedAdbServer() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
  }

  std::uint16_t port() const { return port_; }
  void answer(const std::string& request, const std::string& reply) {
    std::lock_guard guard(lock_);
    replies_[request] = reply;
  }
  std::vector<std::string> requests() {
    std::lock_guard guard(lock_);
    return requests_;
  }

 private:
  void serve() {
    while (true) {
      UniqueFd client(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!client) return;
      char length[5] = {};
      if (::recv(client.get(), length, 4, MSG_WAITALL) != 4) continue;
      std::string request(std::stoul(length, nullptr, 16), '\0');
      ::recv(client.get(), request.data(), request.size(), MSG_WAITALL);
      std::string reply;
      {
        std::lock_guard guard(lock_);
        requests_.push_back(request);
        auto found = replies_.find(request);
        if (found == replies_.end()) {
          silent_.push_back(std::move(client));  // held open, never answered
          continue;
        }
        reply = found->second;
      }
      ::send(client.get(), reply.data(), reply.size(), MSG_NOSIGNAL);
    }
  }

  std::uint16_t port_ = 0;  // before the listener, which sets it
  UniqueFd listener_;
  std::mutex lock_;
  std::map<std::string, std::string> replies_;
  std::vector<std::string> requests_;
  std::vector<UniqueFd> silent_;
  std::thread thread_;
};

// Generous where the server answers, so a loaded machine cannot fail a test; short
// only where nothing will ever come.
constexpr Seconds kAnswered{10};
constexpr Seconds kSilent{0.3};
const std::string kListing =
    "127.0.0.1:5555        device product:vext_tolva model:LV_1 "
    "device:tolva transport_id:1\n";

TEST(AdbServerTest, ThePortIsTheOneAdbWouldUse) {
  auto port = [](Environment environment) { return AdbServer::loopbackPort(environment); };
  EXPECT_EQ(port({}), 5037);
  EXPECT_EQ(port({{"ANDROID_ADB_SERVER_PORT", "6001"}}), 6001);
  EXPECT_EQ(
      port({{"ANDROID_ADB_SERVER_PORT", "6001"}, {"ANDROID_ADB_SERVER_ADDRESS", "localhost"}}),
      6001);
  EXPECT_EQ(port({{"ADB_SERVER_SOCKET", "tcp:7001"}, {"ANDROID_ADB_SERVER_PORT", "6001"}}), 7001);
  EXPECT_EQ(port({{"ADB_SERVER_SOCKET", "tcp:127.0.0.1:7002"}}), 7002);
  // Set-ups that only adb itself understands, or refuses.
  for (Environment elsewhere :
       std::vector<Environment>{{{"ADB_SERVER_SOCKET", "tcp:10.0.0.2:5037"}},
                                {{"ADB_SERVER_SOCKET", "localabstract:adb"}},
                                {{"ADB_SERVER_SOCKET", ""}},
                                {{"ANDROID_ADB_SERVER_ADDRESS", "build-box.lan"}},
                                {{"ANDROID_ADB_SERVER_PORT", "0"}},
                                {{"ANDROID_ADB_SERVER_PORT", "65536"}},
                                {{"ANDROID_ADB_SERVER_PORT", "50 37"}},
                                {{"ANDROID_ADB_SERVER_PORT", ""}}})
    EXPECT_EQ(port(elsewhere), std::nullopt)
        << elsewhere.begin()->first << "=" << elsewhere.begin()->second;
}

TEST(AdbServerTest, AskReadsOneLengthPrefixedAnswer) {
  ScriptedAdbServer server;
  server.answer("host:version", "OKAY00040029");
  server.answer("host:devices-l", "OKAY0000");
  server.answer("host:refused", "FAIL0007unknown");
  server.answer("host:cut-short", "OKAY0010abc");
  EXPECT_EQ(AdbServer::ask(server.port(), "host:version", kAnswered), "0029");
  EXPECT_EQ(AdbServer::ask(server.port(), "host:devices-l", kAnswered), "");
  EXPECT_EQ(AdbServer::ask(server.port(), "host:refused", kAnswered), std::nullopt);
  EXPECT_EQ(AdbServer::ask(server.port(), "host:cut-short", kAnswered), std::nullopt);
  EXPECT_EQ(AdbServer::ask(server.port(), "host:never-answered", kSilent), std::nullopt);
  // Held bound but not listening: refused, and no other test can take the port meanwhile.
  std::uint16_t refusing = 0;
  UniqueFd held = boundLoopbackSocket(refusing);
  EXPECT_EQ(AdbServer::ask(refusing, "host:version", kAnswered), std::nullopt);
}

TEST(AdbServerTest, OnlyAServerOfTheClientsVersionIsAskedForDevices) {
  ScriptedAdbServer server;
  Environment environment{{"ANDROID_ADB_SERVER_PORT", std::to_string(server.port())}};
  server.answer("host:version", "OKAY00040029");
  server.answer("host:devices-l", fmt::format("OKAY{:04x}{}", kListing.size(), kListing));
  EXPECT_EQ(AdbServer::devicesListing(environment, "1.0.41", kAnswered), kListing);
  EXPECT_EQ(AdbServer::devicesListing(environment, "1.0.40", kAnswered), std::nullopt);
  EXPECT_EQ(server.requests(),
            (std::vector<std::string>{"host:version", "host:devices-l", "host:version"}));
}

TEST(AdbServerTest, TheBridgeAsksTheServerAndFallsBackToAdb) {
  ScriptedAdbServer server;
  testing::FakeAdbTool adb;
  adb.answer("devices", "List of devices attached\nFROM-ADB       device model:LV_1\n");
  Environment environment{{"PATH", "/usr/bin:/bin"},
                          {"ANDROID_ADB_SERVER_PORT", std::to_string(server.port())}};
  auto serials = [](AdbBridge& bridge) {
    std::vector<std::string> found;
    for (const auto& parsed : bridge.devices(true))
      found.push_back(parsed.device.serial);
    return found;
  };

  AdbBridge knowing(adb.path(), environment, {}, "1.0.41");
  server.answer("host:version", "OKAY00040029");
  server.answer("host:devices-l", fmt::format("OKAY{:04x}{}", kListing.size(), kListing));
  EXPECT_EQ(serials(knowing), std::vector<std::string>{"127.0.0.1:5555"});
  EXPECT_TRUE(knowing.serverStarted());
  EXPECT_EQ(adb.log(), "") << "no adb run while the server answers";

  server.answer("host:version", "OKAY00040028");
  EXPECT_EQ(serials(knowing), std::vector<std::string>{"FROM-ADB"})
      << "adb restarts a server of another version";

  AdbBridge unknowing(adb.path(), environment);
  server.answer("host:version", "OKAY00040029");
  EXPECT_EQ(serials(unknowing), std::vector<std::string>{"FROM-ADB"});
}

}  // namespace
}  // namespace lumivale
