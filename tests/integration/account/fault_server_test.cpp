#include <future>
#include <thread>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/account/account_session.h"
#include "core/account/auth_error.h"
#include "core/cancelled.h"
#include "core/settings/testing/temporary_settings_folder.h"
#include "tests/integration/account/account_test_support.h"
#include "tests/integration/account/loopback_server.h"

namespace lumivale::testing {
namespace {

using Response = LoopbackServer::Response;

const std::string userJson = R"({"session":{},"user":{"id":"u-1","email":"a@example.org"}})";

// `{"user":null,"pad":"xxx..."}` of exactly `size` bytes: a valid "no user" answer.
std::string answerOfSize(size_t size) {
  std::string head = R"({"user":null,"pad":")";
  std::string tail = R"("})";
  return head + std::string(size - head.size() - tail.size(), 'x') + tail;
}

TEST(FaultServer, BusyOrFailingServersGiveTheirRetryDelay) {
  LoopbackServer server([](const LoopbackServer::Request& request) {
    if (request.path == "/api/auth/device/token") {
      return Response{503, {{"Retry-After", "120"}}, "{}"};
    }
    if (request.path == "/api/auth/token") {
      return Response{429, {{"Retry-After", "Fri, 01 Jan 2100 00:00:00 GMT"}}, "{}"};
    }
    return Response{502, {{"Retry-After", "later"}}, "{}"};
  });
  PortmarkClient client = clientFor(server.baseUrl());
  try {
    client.pollDeviceToken("device", PortmarkClient::deviceFlowClientId);
    FAIL() << "a 503 was taken as an answer";
  } catch (const PortmarkUnavailable& error) {
    EXPECT_EQ(error.status(), 503);
    EXPECT_EQ(error.retryAfter(), 120.0);
    EXPECT_EQ(error.message(),
              "Lumivale’s sign-in server had a problem (503). Try again in a minute.");
  }
  try {
    client.mintJwt("token");
    FAIL() << "a 429 was taken as an answer";
  } catch (const PortmarkUnavailable& error) {
    EXPECT_EQ(error.status(), 429);
    EXPECT_GT(error.retryAfter().value_or(0), 0);
    EXPECT_EQ(error.message(), "Lumivale’s sign-in server is busy. Wait a minute, then try again.");
  }
  try {
    client.getSession("token");
    FAIL() << "a 502 was taken as an answer";
  } catch (const PortmarkUnavailable& error) {
    EXPECT_EQ(error.retryAfter(), std::nullopt);
  }
  // A check that cannot reach the server keeps the session and says so.
  MemorySessionStore store;
  store.saveSessionToken("token");
  SessionHome home{store, SessionLock::inProcess(), [](const std::optional<AuthUser>&) {}};
  SessionCheck check = AccountSession::check(home, client);
  EXPECT_EQ(check.kind, SessionCheck::Kind::offline);
  EXPECT_EQ(check.userMessage(),
            "Lumivale’s servers did not answer, so the account can’t be checked. The tablet "
            "controls here still work.");
  EXPECT_EQ(store.loadSessionToken(), "token");
}

TEST(FaultServer, ACaptivePortalPageIsRecognised) {
  LoopbackServer portal([](const LoopbackServer::Request&) {
    return Response{200,
                    {{"Content-Type", "text/html; charset=utf-8"}},
                    "<!doctype html><title>Welcome to the hotel</title>"};
  });
  PortmarkClient client = clientFor(portal.baseUrl());
  try {
    client.signInEmail("a@example.org", testPassword);
    FAIL() << "a portal page was taken as an answer";
  } catch (const NetworkLoginRequired& error) {
    EXPECT_EQ(error.message(),
              "Your network is asking you to sign in to it (hotel or café Wi-Fi). Open Safari, "
              "then try again.");
  }
}

TEST(FaultServer, AServerThatCannotSpeakTlsIsATlsFailure) {
  LoopbackServer plain([](const LoopbackServer::Request&) { return Response{200, {}, userJson}; });
  PortmarkClient client = clientFor("https://127.0.0.1:" + std::to_string(plain.port()));
  try {
    client.getSession("token");
    FAIL() << "a plain-http server passed for https";
  } catch (const TlsFailure& error) {
    EXPECT_EQ(error.message(),
              "A secure connection to Lumivale’s server could not be made. On hotel or café "
              "Wi-Fi, open Safari and sign in to the network, then try again.");
  }
}

TEST(FaultServer, NoAnswerLongerThanTheLimitIsRead) {
  LoopbackServer server([](const LoopbackServer::Request& request) {
    size_t size = request.headers.at("authorization") == "Bearer large" ? 262145 : 262144;
    return Response{200, {}, answerOfSize(size)};
  });
  PortmarkClient client = clientFor(server.baseUrl());
  EXPECT_EQ(client.getSession("fits"), std::nullopt);
  try {
    client.getSession("large");
    FAIL() << "an answer over the limit was read";
  } catch (const ResponseTooLarge& error) {
    EXPECT_EQ(error.limit(), 262144);
    EXPECT_EQ(error.message(),
              "Lumivale’s server sent an answer this app does not expect. Try again later.");
  }
}

TEST(FaultServer, RedirectsAreFollowedOnlyWithinTheServer) {
  LoopbackServer elsewhere([](const LoopbackServer::Request&) {
    return Response{200, {}, userJson};
  });
  LoopbackServer server([&](const LoopbackServer::Request& request) {
    if (request.path == "/api/auth/get-session") {
      return Response{302, {{"Location", elsewhere.baseUrl() + "/api/auth/get-session"}}, ""};
    }
    if (request.path == "/api/auth/token") {
      return Response{307, {{"Location", "/moved/token"}}, ""};
    }
    return Response{200, {}, R"({"token":"h.eyJzdWIiOiJ1LTEiLCJleHAiOjF9.s"})"};
  });
  PortmarkClient client = clientFor(server.baseUrl());
  EXPECT_THROW(client.getSession("token"), UnexpectedAnswer);
  EXPECT_EQ(elsewhere.requestCount(), 0);
  EXPECT_EQ(client.mintJwt("token").sub, "u-1");

  HttpSession session;
  HttpRequest request{"GET", *HttpUrl::parse(server.baseUrl() + "/api/auth/token"), {}, {}};
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  EXPECT_EQ(AccountHTTP::fetch(request, session, NoRedirects::shared, deadline, 1024, true).status,
            307);
}

TEST(FaultServer, AnAnswerSlowerThanTheDeadlineTimesOut) {
  LoopbackServer* self = nullptr;
  LoopbackServer slow([&](const LoopbackServer::Request&) {
    self->stall(std::chrono::seconds(20));
    return Response{200, {}, userJson};
  });
  self = &slow;
  PortmarkTimeouts timeouts;
  timeouts.session = 0.3;
  PortmarkClient client = clientFor(slow.baseUrl(), timeouts);
  try {
    client.getSession("token");
    FAIL() << "the deadline did not hold";
  } catch (const AccountTimeout& error) {
    EXPECT_EQ(error.message(),
              "Lumivale’s server did not answer in time. Check your connection, then try again.");
  }
}

TEST(FaultServer, RequestsCarryTheOriginTokenAndJsonHeaders) {
  std::vector<LoopbackServer::Request> seen;
  std::mutex mutex;
  LoopbackServer server([&](const LoopbackServer::Request& request) {
    std::lock_guard lock(mutex);
    seen.push_back(request);
    return Response{200,
                    {{"set-auth-token", "abc.def+/="}},
                    R"({"token":"abc","user":{"id":"u-1","email":"a@example.org"}})"};
  });
  PortmarkClient client = clientFor(server.baseUrl() + "/");
  EXPECT_EQ(client.signInEmail("a@example.org", "pass word").sessionToken, "abc.def+/=");
  EXPECT_TRUE(client.signOut("abc.def+/="));
  ASSERT_EQ(seen.size(), 2u);

  const auto& signIn = seen[0];
  EXPECT_EQ(signIn.method, "POST");
  EXPECT_EQ(signIn.path, "/api/auth/sign-in/email");
  EXPECT_EQ(signIn.headers.at("origin"), server.baseUrl());
  EXPECT_EQ(signIn.headers.at("content-type"), "application/json; charset=utf-8");
  EXPECT_EQ(signIn.headers.count("authorization"), 0u);
  EXPECT_EQ(nlohmann::json::parse(signIn.body),
            (nlohmann::json{{"email", "a@example.org"}, {"password", "pass word"}}));

  const auto& signOut = seen[1];
  EXPECT_EQ(signOut.method, "POST");
  EXPECT_EQ(signOut.path, "/api/auth/sign-out");
  EXPECT_EQ(signOut.headers.at("authorization"), "Bearer abc.def+/=");
  EXPECT_TRUE(signOut.body.empty());
}

TEST(FaultServer, CustomerBuildsSendNothingToATestServer) {
  LoopbackServer server([](const LoopbackServer::Request&) { return Response{200, {}, userJson}; });
  PortmarkClient customer(*HttpUrl::parse(server.baseUrl()), std::make_shared<HttpSession>(),
                          PortmarkTimeouts::standard(), false);
  EXPECT_THROW(customer.signInEmail("a@example.org", testPassword), EndpointRefused);
  EXPECT_THROW(customer.getSession("token"), EndpointRefused);
  EXPECT_EQ(server.requestCount(), 0);
}

// A store whose changes are announced through a generation file.
class AnnouncingStore : public MemorySessionStore {
 public:
  explicit AnnouncingStore(SessionGenerationFile file) : file_(std::move(file)) {}
  std::optional<SessionGenerationFile> generationFile() const override { return file_; }

 private:
  SessionGenerationFile file_;
};

TEST(FaultServer, ACheckGivesUpOnASessionThatKeepsChanging) {
  TemporaryFolder folder;
  AnnouncingStore store(SessionGenerationFile::in(folder.path()));
  store.saveSessionToken("token");
  // Every answer comes back while another program changes the sign-in.
  LoopbackServer server([&](const LoopbackServer::Request&) {
    store.generationFile()->advance();
    return Response{200, {}, "null"};
  });
  PortmarkClient client = clientFor(server.baseUrl());
  SessionHome home{store, SessionLock::inProcess(), [](const std::optional<AuthUser>&) {}};
  try {
    AccountSession::check(home, client);
    FAIL() << "the check settled on a session that kept changing";
  } catch (const AuthError& error) {
    EXPECT_EQ(error.message(),
              "Your sign-in changed in another window or in Terminal while it was being checked. "
              "Try again.");
  }
  EXPECT_EQ(store.loadSessionToken(), "token");
}

TEST(FaultServer, ACancelledSignInEndsWhileTheServerSaysNothing) {
  std::unique_ptr<LoopbackServer> server;
  server = std::make_unique<LoopbackServer>([&](const LoopbackServer::Request&) {
    server->stall(std::chrono::minutes(10));  // accepts, never answers
    return Response{};
  });
  PortmarkClient client = clientFor(server->baseUrl());
  StopToken cancel;
  auto signingIn = std::async(std::launch::async, [&] {
    return client.stoppedBy(cancel).signInEmail("a@example.org", "password");
  });
  while (server->requestCount() == 0)
    std::this_thread::yield();  // the request has reached the server
  cancel.cancel();
  EXPECT_THROW(signingIn.get(), Cancelled);
}

}  // namespace
}  // namespace lumivale::testing
