#pragma once

#include <string>
#include <utility>

#include "core/tablet/tool_run.h"

namespace lumivale::testing {

// An address on the loopback link for one scope, as when the computer joins a network
// (root only): whatever a test asserts in between, it is taken away again.
class LoopbackAddress {
 public:
  explicit LoopbackAddress(std::string address) : address_(std::move(address)), added_(ip("add")) {}
  LoopbackAddress(const LoopbackAddress&) = delete;
  LoopbackAddress& operator=(const LoopbackAddress&) = delete;
  ~LoopbackAddress() { remove(); }

  bool added() const { return added_; }
  // Takes it away before the scope ends; true when it went.
  bool remove() {
    if (added_) added_ = !ip("del");
    return !added_;
  }

 private:
  bool ip(const char* change) const {
    return ToolRun::run("/usr/sbin/ip", {"addr", change, address_, "dev", "lo"}, Seconds(30))
               .status == 0;
  }

  std::string address_;
  bool added_;
};

}  // namespace lumivale::testing
