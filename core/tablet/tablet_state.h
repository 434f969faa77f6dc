#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/tablet/adb_device.h"

namespace lumivale {

// What every pane shows about the tablet, and whether an action may go ahead.
class TabletState {
 public:
  enum Value { ready, notConnected, waitingForApproval, notAnswering, looking, choose, chosenAway };

  constexpr TabletState(Value value) : value_(value) {}
  constexpr operator Value() const { return value_; }

  // `selected` is the connection in use, when one is; `pinned` the serial the user chose.
  static TabletState of(const std::optional<AdbDevice>& selected,
                        const std::vector<AdbTablet>& tablets, bool looking,
                        const std::optional<std::string>& pinned);

  // The sentence shown when an action needs a ready tablet; none for `ready`.
  std::optional<std::string> refusal() const;

  // The name scripts see ("ready", "notConnected", ...).
  std::string name() const;

 private:
  Value value_;
};

}  // namespace lumivale
