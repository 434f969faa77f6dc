#include <gtest/gtest.h>

#include "core/settings/lumivale_config.h"
#include "core/settings/url.h"

namespace lumivale {
namespace {

TEST(UrlTest, SplitsEveryPart) {
  auto url = Url::parse("HTTPS://me:pw@Host.example:8443/a/b?x=1&y#top");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->scheme, "HTTPS");
  EXPECT_EQ(url->user, "me");
  EXPECT_EQ(url->password, "pw");
  EXPECT_EQ(url->host, "Host.example");
  EXPECT_EQ(url->port, 8443);
  EXPECT_EQ(url->path, "/a/b");
  EXPECT_EQ(url->query, "x=1&y");
  EXPECT_EQ(url->fragment, "top");
}

TEST(UrlTest, ReadsIpv6LiteralsAndKeepsEmptyPartsApartFromAbsentOnes) {
  auto v6 = Url::parse("http://[::1]:3000");
  ASSERT_TRUE(v6);
  EXPECT_EQ(v6->host, "::1");
  EXPECT_EQ(v6->port, 3000);
  EXPECT_EQ(v6->path, "");

  auto bare = Url::parse("https://host.example/?#");
  ASSERT_TRUE(bare);
  EXPECT_EQ(bare->query, "");
  EXPECT_EQ(bare->fragment, "");
  EXPECT_FALSE(bare->user);
  EXPECT_FALSE(bare->port);

  auto noAuthority = Url::parse("mailto:reader@lumivale.example");
  ASSERT_TRUE(noAuthority);
  EXPECT_FALSE(noAuthority->host);
  EXPECT_EQ(noAuthority->path, "reader@lumivale.example");
}

TEST(UrlTest, RefusesTextThatIsNotAUrl) {
  for (const char* text : {"", "no scheme", "host.example", "1http://x", "https://ho st",
                           "https://x/%zz", "https://[::1", "https://[::g]", "https://x:port",
                           "https://x:65536", "https://x:-1", "https://a]b", "https://x/{y}"}) {
    EXPECT_FALSE(Url::parse(text)) << text;
  }
}

TEST(EndpointUrlTest, AcceptsHttpsAnywhereAndPlainHttpOnlyToThisComputer) {
  for (const char* text : {"https://portmark.lumivale.example", "  https://sync.example/path/ \n\t",
                           "https://10.0.0.8:8443", "HTTPS://Upper.Example", "http://127.0.0.1",
                           "http://127.0.0.1:65535", "http://localhost:8080/api",
                           "http://LOCALHOST", "http://[::1]:3000"}) {
    EXPECT_TRUE(LumivaleConfig::endpointURL(text)) << text;
  }
  EXPECT_EQ(LumivaleConfig::endpointURL(" https://a.example/x ")->text, "https://a.example/x");
}

TEST(EndpointUrlTest, RefusesEverythingElse) {
  for (const char* text :
       {"", "   ", "not a url", "ftp://files.example", "wss://sync.example", "file:///etc",
        "http://10.0.0.8", "http://example.com", "http://127.0.0.2", "http://[::2]",
        "https://user@host.example", "https://user:pw@host.example", "https://:pw@host.example",
        "https://host.example?x=1", "https://host.example/?", "https://host.example#top",
        "https://", "https:///path", "https:host.example"}) {
    EXPECT_FALSE(LumivaleConfig::endpointURL(text)) << text;
  }
}

}  // namespace
}  // namespace lumivale
