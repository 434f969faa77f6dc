#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/settings/url.h"

namespace lumivale {

// A tablet remembered for Wi-Fi. The optional booleans keep "not set" apart from
// false: a check that was never planted is not the same as one that finished.
struct RememberedTablet {
  std::string serial{};
  std::string model{};
  std::string name{};
  std::string lastIP{};
  std::int64_t lastPort = 0;
  std::string pairedAt{};
  std::optional<std::string> accountUserId{};
  std::string transport{};
  std::optional<std::string> mdnsName{};
  std::optional<std::string> checkId{};
  std::optional<std::string> checkToken{};
  std::optional<bool> checkPending{};
  std::optional<bool> turnedOnWirelessDebugging{};

  bool operator==(const RememberedTablet&) const = default;
};

// The settings shared by the app, the core and the command line ("config.json").
struct LumivaleConfig {
  std::string portmarkBaseUrl{};
  std::string workerOrigin{};
  std::string powerSyncEndpoint{};
  std::optional<std::string> email{};
  std::optional<std::string> userId{};
  std::string clientSessionId{};
  std::optional<std::string> deviceSerial{};
  bool adbEnabled = false;
  bool wifiAfterPlugIn = true;
  bool wifiAllowUnencrypted = false;
  std::vector<RememberedTablet> wifiTablets{};

  bool operator==(const LumivaleConfig&) const = default;

  // The built-in servers and a fresh "mac-" session id. Built once per process, so
  // the session id stays the same for the whole run until it is written to disk.
  static const LumivaleConfig& devDefaults();

  // The endpoint as a URL when it is usable: http(s) with a host, without user,
  // password, query or fragment; plain http only to this computer.
  static std::optional<Url> endpointURL(std::string_view text);
};

}  // namespace lumivale
