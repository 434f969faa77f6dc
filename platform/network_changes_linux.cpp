// The kernel's routing messages: a link going up or down, an address coming or going.
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "core/pause.h"
#include "core/settings/log.h"
#include "core/tablet/unique_fd.h"
#include "platform/network_changes.h"

namespace lumivale::platform {
namespace {

bool isChange(const nlmsghdr& message) {
  switch (message.nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK:
    case RTM_NEWADDR:
    case RTM_DELADDR:
      return true;
    default:
      return false;
  }
}

class NetlinkChanges final : public NetworkChanges {
 public:
  NetlinkChanges(UniqueFd socket, UniqueFd wake)
      : socket_(std::move(socket)), wake_(std::move(wake)) {}

  bool waitForChange(Seconds timeout, const StopToken& stop) override {
    auto hold = stop.hold([fd = wake_.get()] {
      const std::uint64_t one = 1;
      [[maybe_unused]] auto written = ::write(fd, &one, sizeof one);
    });
    const auto deadline =
        StopToken::Clock::now() + std::chrono::duration_cast<StopToken::Clock::duration>(timeout);
    for (;;) {
      stop.throwIfCancelled();
      const Seconds left = deadline - StopToken::Clock::now();
      if (left <= Seconds(0)) return false;
      pollfd ready[2] = {{socket_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
      const int got = ::poll(ready, 2, static_cast<int>(std::ceil(left.count() * 1000)));
      if (got < 0 && errno != EINTR) {
        // Nothing more can be followed: the regular rounds go on.
        logWarning("network changes are no longer followed: {}", std::strerror(errno));
        pauseFor(stop, left);
        return false;
      }
      if (ready[1].revents & POLLIN) {
        std::uint64_t count = 0;
        [[maybe_unused]] auto read = ::read(wake_.get(), &count, sizeof count);
      }
      if (got > 0 && (ready[0].revents & POLLIN) && drain()) return true;
    }
  }

 private:
  // Reads what the kernel sent; true when a change of a link or an address is among it.
  bool drain() {
    bool changed = false;
    alignas(nlmsghdr) char buffer[16384];
    for (;;) {
      const ssize_t got = ::recv(socket_.get(), buffer, sizeof buffer, MSG_DONTWAIT);
      // Messages were lost while nobody read: something changed.
      if (got < 0 && errno == ENOBUFS) changed = true;
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return changed;
      int length = static_cast<int>(got);
      for (auto* message = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(message, length);
           message = NLMSG_NEXT(message, length))
        changed = changed || isChange(*message);
    }
  }

  UniqueFd socket_;
  UniqueFd wake_;
};

// Where changes cannot be followed: only the wait.
class NoNetworkChanges final : public NetworkChanges {
 public:
  bool waitForChange(Seconds timeout, const StopToken& stop) override {
    pauseFor(stop, timeout);
    return false;
  }
};

}  // namespace

std::unique_ptr<NetworkChanges> followNetworkChanges() {
  UniqueFd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  UniqueFd wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
  if (!socket || !wake ||
      ::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    logWarning("network changes cannot be followed: {}", std::strerror(errno));
    return std::make_unique<NoNetworkChanges>();
  }
  return std::make_unique<NetlinkChanges>(std::move(socket), std::move(wake));
}

}  // namespace lumivale::platform
