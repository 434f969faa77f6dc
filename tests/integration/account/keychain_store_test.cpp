#include <gtest/gtest.h>

#include "platform/keychain_session_store.h"
#include "tests/integration/account/account_test_support.h"

namespace lumivale::testing {
namespace {

class KeychainStore : public ::testing::Test {
 protected:
  void SetUp() override {
    if (auto reason = secretServiceMissing()) GTEST_SKIP() << *reason;
  }
};

TEST_F(KeychainStore, StoresReadsReplacesAndClearsAToken) {
  platform::KeychainSessionStore store("com.lumivale.tests.portmark", "session", std::nullopt);
  store.clearSessionToken();  // clearing nothing is not a failure
  EXPECT_EQ(store.loadSessionToken(), std::nullopt);

  store.saveSessionToken("first.SiGnAtUrE+/=");
  EXPECT_EQ(store.loadSessionToken(), "first.SiGnAtUrE+/=");
  store.saveSessionToken("second");
  EXPECT_EQ(store.loadSessionToken(), "second");

  // Another item of the same service is a separate secret.
  platform::KeychainSessionStore other("com.lumivale.tests.portmark", "other", std::nullopt);
  EXPECT_EQ(other.loadSessionToken(), std::nullopt);
  other.saveSessionToken("other token");

  store.clearSessionToken();
  EXPECT_EQ(store.loadSessionToken(), std::nullopt);
  EXPECT_EQ(other.loadSessionToken(), "other token");
  other.clearSessionToken();
  EXPECT_EQ(store.locationDescription(),
            "In this Mac’s login keychain (com.lumivale.tests.portmark)");
}

}  // namespace
}  // namespace lumivale::testing
