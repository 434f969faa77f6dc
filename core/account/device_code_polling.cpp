#include "core/account/device_code_polling.h"

#include <algorithm>

namespace lumivale::DeviceCodePolling {

int clampedInterval(int interval) {
  return std::clamp(interval, 1, 60);
}

int slowedDown(int interval) {
  return std::min(interval + 5, 60);
}

Outcome waitForApproval(const DeviceCode& code, const Poll& poll, const Sleep& sleep,
                        const Clock& now, const OnTransient& onTransient) {
  const double deadline = now() + code.expiresIn;
  int interval = clampedInterval(code.interval);
  for (;;) {
    double remaining = deadline - now();
    if (remaining <= 0) return {Outcome::Kind::expired, {}};
    sleep(std::min(remaining, static_cast<double>(interval)));
    DeviceTokenAnswer answer;
    try {
      answer = poll();
    } catch (const PortmarkUnavailable& error) {
      onTransient(error);
      continue;
    } catch (const NetworkFailure& error) {  // timeouts included
      onTransient(error);
      continue;
    }
    switch (answer.kind) {
      case DeviceTokenAnswer::Kind::approved:
        return {Outcome::Kind::approved, answer.sessionToken};
      case DeviceTokenAnswer::Kind::expired:
        return {Outcome::Kind::expired, {}};
      case DeviceTokenAnswer::Kind::denied:
        return {Outcome::Kind::denied, {}};
      case DeviceTokenAnswer::Kind::slowDown:
        interval = slowedDown(interval);
        break;
      case DeviceTokenAnswer::Kind::pending:
        break;
    }
  }
}

Outcome waitForApproval(PortmarkClient& portmark, const DeviceCode& code, const Sleep& sleep,
                        const Clock& now, const OnTransient& onTransient) {
  std::string clientId(PortmarkClient::deviceFlowClientId);
  return waitForApproval(
      code, [&] { return portmark.pollDeviceToken(code.deviceCode, clientId); }, sleep, now,
      onTransient);
}

}  // namespace lumivale::DeviceCodePolling
