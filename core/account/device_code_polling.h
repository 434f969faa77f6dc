#pragma once

#include <functional>
#include <string>

#include "core/account/auth_error.h"
#include "core/account/portmark_client.h"

namespace lumivale::DeviceCodePolling {

struct Outcome {
  enum class Kind { approved, expired, denied };
  Kind kind = Kind::expired;
  std::string sessionToken;  // when approved

  bool operator==(const Outcome&) const = default;
};

using Poll = std::function<DeviceTokenAnswer()>;
using Sleep = std::function<void(double seconds)>;
using Clock = std::function<double()>;  // seconds, any fixed origin
using OnTransient = std::function<void(const AuthError&)>;

// The wait between polls the server's interval asks for, in whole seconds: 1...60.
int clampedInterval(int interval);
// The interval after a "slow_down" answer.
int slowedDown(int interval);

// Polls until the code is approved, denied or expired. Busy servers and network
// failures are reported through `onTransient` and polling goes on.
Outcome waitForApproval(const DeviceCode& code, const Poll& poll, const Sleep& sleep,
                        const Clock& now, const OnTransient& onTransient);
Outcome waitForApproval(PortmarkClient& portmark, const DeviceCode& code, const Sleep& sleep,
                        const Clock& now, const OnTransient& onTransient);

}  // namespace lumivale::DeviceCodePolling
