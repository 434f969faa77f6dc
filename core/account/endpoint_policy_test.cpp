#include "core/account/endpoint_policy.h"

#include <gtest/gtest.h>

#include "core/account/redirect_policy.h"
#include "core/account/transport_policy.h"

namespace lumivale {
namespace {

HttpUrl url(const std::string& text) {
  auto parsed = HttpUrl::parse(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value_or(HttpUrl{});
}

std::string builtInAccountServer() {
  return EndpointPolicy::lumivale().portmarkBaseUrl;
}

TEST(TransportPolicy, HttpsAnywhereHttpOnlyToThisMachine) {
  EXPECT_TRUE(TransportPolicy::isAllowedDestination(url("https://uploads.example.net/a")));
  EXPECT_TRUE(TransportPolicy::isAllowedDestination(url("http://localhost:8080/")));
  EXPECT_TRUE(TransportPolicy::isAllowedDestination(url("http://127.0.0.1:9/")));
  EXPECT_TRUE(TransportPolicy::isAllowedDestination(url("http://127.5.6.7/")));
  EXPECT_FALSE(TransportPolicy::isAllowedDestination(url("http://example.net/")));
  EXPECT_FALSE(TransportPolicy::isAllowedDestination(url("http://127.example.net/")));
  EXPECT_FALSE(TransportPolicy::isAllowedDestination(url("ftp://localhost/")));
  EXPECT_EQ(TransportPolicy::forbiddenPresignedHeaders.size(), 4u);
}

TEST(EndpointPolicy, CustomerBuildsSendSecretsOnlyToTheBuiltInServersOverHttps) {
  HttpUrl builtIn = url(builtInAccountServer());
  ASSERT_EQ(builtIn.scheme, "https");
  EXPECT_TRUE(EndpointPolicy::lumivaleHosts().count(builtIn.host));
  EXPECT_TRUE(
      EndpointPolicy::mayCarryCredentials(builtIn.appending("/api/auth/sign-in/email"), false));
  EXPECT_TRUE(EndpointPolicy::mayCarrySessionToken(builtIn, false));

  HttpUrl plain = builtIn;
  plain.scheme = "http";
  EXPECT_FALSE(EndpointPolicy::mayCarryCredentials(plain, false));
  EXPECT_FALSE(EndpointPolicy::mayCarryCredentials(url("https://elsewhere.example/"), false));
  EXPECT_FALSE(EndpointPolicy::mayCarryCredentials(url("https://elsewhere.example/"), true));
  EXPECT_FALSE(EndpointPolicy::mayCarrySessionToken(url("http://127.0.0.1:4000/"), false));
}

TEST(EndpointPolicy, StaffBuildsMayAlsoUseATestServerOnThisMachine) {
  EXPECT_TRUE(EndpointPolicy::mayCarryCredentials(url("http://127.0.0.1:4000/"), true));
  EXPECT_TRUE(EndpointPolicy::mayCarrySessionToken(url("https://localhost:4000/"), true));
  EXPECT_FALSE(EndpointPolicy::mayCarrySessionToken(url("http://192.168.1.2:4000/"), true));
  EXPECT_TRUE(EndpointPolicy::isTestServer("http://127.0.0.1:8787"));
  EXPECT_FALSE(EndpointPolicy::isTestServer("https://worker.example"));
}

TEST(EndpointPolicy, ProblemsNameEachUnusableEndpoint) {
  EXPECT_TRUE(EndpointPolicy::problems(EndpointPolicy::lumivale(), false).empty());
  EXPECT_TRUE(EndpointPolicy::usesLumivaleServers(EndpointPolicy::lumivale()));

  LumivaleConfig local = EndpointPolicy::lumivale();
  local.portmarkBaseUrl = "http://127.0.0.1:4000";
  EXPECT_FALSE(EndpointPolicy::usesLumivaleServers(local));
  EXPECT_TRUE(EndpointPolicy::problems(local, true).empty());
  ASSERT_EQ(EndpointPolicy::problems(local, false).size(), 1u);
  EXPECT_EQ(EndpointPolicy::problems(local, false)[0],
            "The sign-in server address 127.0.0.1 is not one of Lumivale’s servers.");

  LumivaleConfig broken = EndpointPolicy::lumivale();
  broken.workerOrigin = "https://worker.example/?x=1";
  ASSERT_EQ(EndpointPolicy::problems(broken, true).size(), 1u);
  EXPECT_NE(EndpointPolicy::problems(broken, true)[0].find("reader sync"), std::string::npos);
}

TEST(EndpointPolicy, SameServerMeansSameSchemeHostAndPort) {
  EXPECT_TRUE(
      EndpointPolicy::sameServer(url("https://a.example/x"), url("https://A.example:443/y")));
  EXPECT_FALSE(EndpointPolicy::sameServer(url("https://a.example"), url("http://a.example")));
  EXPECT_FALSE(EndpointPolicy::sameServer(url("https://a.example"), url("https://a.example:8443")));
  EXPECT_FALSE(EndpointPolicy::sameServer(url("https://a.example"), url("https://b.example")));
}

TEST(Redirects, SameOriginFollowsOnlyWithinTheOriginNoRedirectsNever) {
  HttpUrl from = url("http://127.0.0.1:4000/api/auth/token");
  const RedirectPolicy& sameOrigin = SameOriginRedirects::shared;
  EXPECT_TRUE(sameOrigin.follows(from, url("http://127.0.0.1:4000/elsewhere")));
  EXPECT_FALSE(sameOrigin.follows(from, url("http://127.0.0.1:4001/api/auth/token")));
  EXPECT_FALSE(sameOrigin.follows(from, url("https://127.0.0.1:4000/api/auth/token")));
  EXPECT_FALSE(sameOrigin.follows(from, url("http://localhost:4000/api/auth/token")));
  EXPECT_FALSE(NoRedirects::shared.follows(from, url("http://127.0.0.1:4000/elsewhere")));
}

TEST(HttpUrl, OriginsAndPaths) {
  HttpUrl base = url("http://127.0.0.1:4000/prefix/");
  EXPECT_EQ(base.origin(), "http://127.0.0.1:4000");
  EXPECT_EQ(base.appending("/api/auth/ok").text(), "http://127.0.0.1:4000/prefix/api/auth/ok");
  EXPECT_EQ(url("https://a.example").appending("/api").text(), "https://a.example/api");
  EXPECT_TRUE(url("https://u:p@a.example/").hasUserInfo);
  EXPECT_TRUE(url("https://a.example/#x").hasQueryOrFragment);
}

}  // namespace
}  // namespace lumivale
