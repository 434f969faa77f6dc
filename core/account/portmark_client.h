#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "core/account/account_http.h"
#include "core/account/portmark_types.h"
#include "core/settings/lumivale_config.h"

namespace lumivale {

// One answer of the device-token poll.
struct DeviceTokenAnswer {
  enum class Kind { approved, pending, slowDown, expired, denied };
  Kind kind = Kind::pending;
  std::string sessionToken;  // when approved

  bool operator==(const DeviceTokenAnswer&) const = default;
};

// The account service's client. Every operation runs under its own deadline from
// `timeouts`. Calls may come from several threads: each takes a connection of its own
// for the request, so none waits on another's network.
class PortmarkClient {
 public:
  static constexpr long maxResponseBytes = 262144;
  static constexpr std::string_view deviceFlowClientId = "lumivale-device";
  // Device-code sign-in is built but not offered: the email form is the only way in.
  static constexpr bool deviceCodeSignInAvailable = false;

  PortmarkClient(HttpUrl baseUrl, std::shared_ptr<HttpSession> session, PortmarkTimeouts timeouts,
                 bool internalBuild);
  // From the settings; fails with EndpointRefused when this build may not use the
  // configured address.
  PortmarkClient(const LumivaleConfig& config, std::shared_ptr<HttpSession> session);

  const HttpUrl& baseUrl() const { return baseUrl_; }
  const PortmarkTimeouts& timeouts() const { return timeouts_; }
  // A client on the same connections whose every operation is stopped by `stop`
  // (Cancelled), and whose deadlines are cut to `stop`'s.
  PortmarkClient stoppedBy(StopToken stop) const;

  SignInResult signInEmail(const std::string& email, const std::string& password);
  SignInResult signUpEmail(const std::string& email, const std::string& password,
                           const std::optional<std::string>& name);
  // None when the server no longer accepts the token.
  std::optional<AuthUser> getSession(const std::string& sessionToken);
  // Fails with SessionExpired when the server rejects the token.
  PortmarkJWT mintJwt(const std::string& sessionToken);
  // True when the server confirmed the sign-out in time; never fails.
  bool signOut(const std::string& sessionToken);
  DeviceCode startDeviceFlow(std::string_view clientId);
  DeviceTokenAnswer pollDeviceToken(const std::string& deviceCode, std::string_view clientId);

 private:
  struct Call;
  HttpResponse execute(const Call& call);
  SignInResult signInOrUp(const std::string& path, const nlohmann::json& body, bool signingUp);

  // Idle connections, shared by the copies of a client.
  class Sessions;

  HttpUrl baseUrl_;
  std::shared_ptr<Sessions> sessions_;
  PortmarkTimeouts timeouts_;
  bool internalBuild_;
  std::optional<StopToken> stop_;
};

}  // namespace lumivale
