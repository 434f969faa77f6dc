#include "core/account/portmark_client.h"

#include "core/settings/log.h"

#include <chrono>
#include <mutex>
#include <nlohmann/json.hpp>
#include <vector>

#include "core/account/auth_error.h"
#include "core/account/auth_messages.h"
#include "core/account/endpoint_policy.h"
#include "core/account/jwt_decoder.h"
#include "core/account/retry_after.h"
#include "core/build_flavour.h"
#include "core/checked_number.h"

namespace lumivale {

using nlohmann::json;

struct PortmarkClient::Call {
  std::string method;
  std::string path;
  std::optional<json> body;
  const std::string* bearer = nullptr;
  double seconds = 0;
};

// An HttpSession serves one request at a time; a call takes an idle one, or opens
// another when all are busy, and gives it back when done. The mutex guards the list
// only, never a request.
class PortmarkClient::Sessions {
 public:
  explicit Sessions(std::shared_ptr<HttpSession> first) { idle_.push_back(std::move(first)); }

  class Lease {
   public:
    Lease(Sessions& owner, std::shared_ptr<HttpSession> session)
        : owner_(owner), session_(std::move(session)) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() { owner_.giveBack(std::move(session_)); }
    HttpSession& operator*() { return *session_; }

   private:
    Sessions& owner_;
    std::shared_ptr<HttpSession> session_;
  };

  Lease take() {
    {
      std::lock_guard lock(mutex_);
      if (!idle_.empty()) {
        auto session = std::move(idle_.back());
        idle_.pop_back();
        return Lease(*this, std::move(session));
      }
    }
    return Lease(*this, std::make_shared<HttpSession>());
  }

 private:
  void giveBack(std::shared_ptr<HttpSession> session) {
    std::lock_guard lock(mutex_);
    idle_.push_back(std::move(session));
  }

  std::mutex mutex_;
  std::vector<std::shared_ptr<HttpSession>> idle_;
};

namespace {

HttpUrl configuredBaseUrl(const LumivaleConfig& config, bool internalBuild) {
  auto url = LumivaleConfig::endpointURL(config.portmarkBaseUrl)
                 ? HttpUrl::parse(config.portmarkBaseUrl)
                 : std::nullopt;
  if (!url) throw EndpointRefused(config.portmarkBaseUrl);
  if (!EndpointPolicy::mayCarryCredentials(*url, internalBuild)) {
    throw EndpointRefused(url->host);
  }
  return *url;
}

json objectBody(const HttpResponse& response) {
  auto body = json::parse(response.body, nullptr, false);
  if (!body.is_object()) throw UnexpectedAnswer("Portmark response was not a JSON object");
  return body;
}

std::string stringAt(const json& body, const char* key) {
  auto found = body.find(key);
  if (found == body.end() || !found->is_string()) {
    throw UnexpectedAnswer(fmt::format("Portmark response carried no \"{}\"", key));
  }
  return found->get<std::string>();
}

int intAt(const json& body, const char* key) {
  auto found = body.find(key);
  std::optional<int> value;
  if (found != body.end() && found->is_number_unsigned())
    value = CheckedNumber::narrowed<int>(found->get<std::uint64_t>());
  else if (found != body.end() && found->is_number_integer())
    value = CheckedNumber::narrowed<int>(found->get<std::int64_t>());
  if (!value) throw UnexpectedAnswer(fmt::format("Portmark response carried no \"{}\"", key));
  return *value;
}

AuthUser userFrom(const json& user) {
  return AuthUser{stringAt(user, "id"), stringAt(user, "email"),
                  user.value("name", json()).is_string() ? user["name"].get<std::string>() : ""};
}

std::string errorCode(const HttpResponse& response) {
  auto body = json::parse(response.body, nullptr, false);
  if (!body.is_object()) return {};
  for (const char* key : {"code", "error"}) {
    if (body.contains(key) && body[key].is_string()) return body[key].get<std::string>();
  }
  return {};
}

bool isSuccess(int status) {
  return status >= 200 && status < 300;
}

// 429 and 5xx mean "not now"; anything else this operation did not expect is odd.
[[noreturn]] void failForStatus(const HttpResponse& response) {
  if (response.status == 429 || response.status >= 500) {
    auto header = response.header("retry-after");
    if (!header) header = response.header("x-retry-after");
    double now =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    throw PortmarkUnavailable(response.status,
                              header ? retryAfterSeconds(*header, now) : std::nullopt);
  }
  throw UnexpectedAnswer(fmt::format("the server answered {}", response.status));
}

}  // namespace

PortmarkClient::PortmarkClient(HttpUrl baseUrl, std::shared_ptr<HttpSession> session,
                               PortmarkTimeouts timeouts, bool internalBuild)
    : baseUrl_(std::move(baseUrl)),
      sessions_(std::make_shared<Sessions>(std::move(session))),
      timeouts_(timeouts),
      internalBuild_(internalBuild) {}

PortmarkClient::PortmarkClient(const LumivaleConfig& config, std::shared_ptr<HttpSession> session)
    : PortmarkClient(configuredBaseUrl(config, developmentHooks(buildFlavour)), std::move(session),
                     PortmarkTimeouts::standard(), developmentHooks(buildFlavour)) {}

HttpResponse PortmarkClient::execute(const Call& call) {
  HttpUrl url = baseUrl_.appending(call.path);
  bool allowed = call.bearer ? EndpointPolicy::mayCarrySessionToken(url, internalBuild_)
                             : EndpointPolicy::mayCarryCredentials(url, internalBuild_);
  if (!allowed) {
    EndpointRefused refused(url.host);
    logWarning("{}", refused.reason());
    throw refused;
  }
  HttpRequest request{call.method,
                      url,
                      {{"Origin", baseUrl_.origin()}, {"Accept", "application/json"}},
                      std::nullopt};
  if (call.bearer) request.headers["Authorization"] = "Bearer " + *call.bearer;
  if (call.body) {
    request.headers["Content-Type"] = "application/json; charset=utf-8";
    request.body = call.body->dump();
  }
  try {
    auto session = sessions_->take();
    return AccountHTTP::withDeadline(call.seconds, [&](Deadline deadline) {
      return AccountHTTP::fetch(request, *session, SameOriginRedirects::shared, deadline,
                                maxResponseBytes, true, stop_ ? &*stop_ : nullptr);
    });
  } catch (const AuthError& error) {
    logWarning("{} {}: {}", call.method, call.path, error.reason());
    throw;
  }
}

PortmarkClient PortmarkClient::stoppedBy(StopToken stop) const {
  PortmarkClient copy = *this;
  copy.stop_ = std::move(stop);
  return copy;
}

SignInResult PortmarkClient::signInOrUp(const std::string& path, const json& body, bool signingUp) {
  HttpResponse response = execute({"POST", path, body, nullptr, timeouts_.signIn});
  if (!isSuccess(response.status)) {
    std::string code = errorCode(response);
    std::string loggable = AuthMessages::safeCode(code);
    logInfo("sign-in refused with status {}{}", response.status,
            loggable.empty() ? "" : " (" + loggable + ")");
    throw AuthError(AuthMessages::signInRefusal(response.status, code));
  }
  auto token = response.header("set-auth-token");
  if (!token || token->empty()) {
    // A new account that must confirm its email first gets no session yet.
    if (signingUp)
      throw AuthError(AuthMessages::signInRefusal(response.status, "EMAIL_NOT_VERIFIED"));
    throw UnexpectedAnswer("sign-in response carried no session token");
  }
  json answer = objectBody(response);
  if (!answer.contains("user") || !answer["user"].is_object()) {
    throw UnexpectedAnswer("sign-in response carried no user");
  }
  return SignInResult{*token, userFrom(answer["user"])};
}

SignInResult PortmarkClient::signInEmail(const std::string& email, const std::string& password) {
  return signInOrUp("/api/auth/sign-in/email", {{"email", email}, {"password", password}}, false);
}

SignInResult PortmarkClient::signUpEmail(const std::string& email, const std::string& password,
                                         const std::optional<std::string>& name) {
  // The server insists on a name; an empty one stands for "not given".
  return signInOrUp("/api/auth/sign-up/email",
                    {{"email", email}, {"password", password}, {"name", name.value_or("")}}, true);
}

std::optional<AuthUser> PortmarkClient::getSession(const std::string& sessionToken) {
  HttpResponse response =
      execute({"GET", "/api/auth/get-session", std::nullopt, &sessionToken, timeouts_.session});
  if (response.status == 401) return std::nullopt;
  if (!isSuccess(response.status)) failForStatus(response);
  auto body = json::parse(response.body, nullptr, false);
  if (body.is_null()) return std::nullopt;  // how the server says "no such session"
  if (!body.is_object()) throw UnexpectedAnswer("Portmark response was not a JSON object");
  auto user = body.find("user");
  if (user == body.end() || user->is_null()) return std::nullopt;
  if (!user->is_object()) throw UnexpectedAnswer("Portmark response carried no \"user\"");
  return userFrom(*user);
}

PortmarkJWT PortmarkClient::mintJwt(const std::string& sessionToken) {
  HttpResponse response =
      execute({"GET", "/api/auth/token", std::nullopt, &sessionToken, timeouts_.session});
  if (response.status == 401) throw SessionExpired();
  if (!isSuccess(response.status)) failForStatus(response);
  std::string token = stringAt(objectBody(response), "token");
  try {
    return JWTDecoder::parse(token);
  } catch (const JWTDecoder::DecodeError& error) {
    throw UnexpectedAnswer(fmt::format("Portmark minted an unreadable JWT: {}", error.message()));
  }
}

bool PortmarkClient::signOut(const std::string& sessionToken) {
  try {
    HttpResponse response =
        execute({"POST", "/api/auth/sign-out", std::nullopt, &sessionToken, timeouts_.signOut});
    return isSuccess(response.status);
  } catch (const AuthError&) {
    return false;  // already logged; the session then ends by itself on the server
  }
}

DeviceCode PortmarkClient::startDeviceFlow(std::string_view clientId) {
  HttpResponse response = execute({"POST", "/api/auth/device/code", json{{"client_id", clientId}},
                                   nullptr, timeouts_.deviceCode});
  if (!isSuccess(response.status)) failForStatus(response);
  json body = objectBody(response);
  return DeviceCode{stringAt(body, "device_code"),
                    stringAt(body, "user_code"),
                    stringAt(body, "verification_uri"),
                    stringAt(body, "verification_uri_complete"),
                    intAt(body, "interval"),
                    intAt(body, "expires_in")};
}

DeviceTokenAnswer PortmarkClient::pollDeviceToken(const std::string& deviceCode,
                                                  std::string_view clientId) {
  json body{{"grant_type", "urn:ietf:params:oauth:grant-type:device_code"},
            {"device_code", deviceCode},
            {"client_id", clientId}};
  HttpResponse response =
      execute({"POST", "/api/auth/device/token", body, nullptr, timeouts_.deviceCode});
  using Kind = DeviceTokenAnswer::Kind;
  if (isSuccess(response.status)) {
    return {Kind::approved, stringAt(objectBody(response), "access_token")};
  }
  if (response.status == 400) {
    std::string error = stringAt(objectBody(response), "error");
    if (error == "authorization_pending") return {Kind::pending, {}};
    if (error == "slow_down") return {Kind::slowDown, {}};
    // An unknown or spent code can no longer be approved either.
    if (error == "expired_token" || error == "invalid_grant") return {Kind::expired, {}};
    if (error == "access_denied") return {Kind::denied, {}};
    throw UnexpectedAnswer(
        fmt::format("the device code was refused ({})", AuthMessages::safeCode(error)));
  }
  failForStatus(response);
}

}  // namespace lumivale
