#include <gtest/gtest.h>

#include "core/account/auth_error.h"
#include "core/account/auth_messages.h"
#include "core/account/keychain_policy.h"
#include "core/account/retry_after.h"
#include "core/account/session_check.h"
#include "core/account/session_store.h"

namespace lumivale {
namespace {

using AuthMessages::signInRefusal;

const std::string wrongPassword =
    "That email and password do not match a Lumivale account. Check them and try again.";

TEST(SignInRefusal, KnownCodesDecideWhateverTheStatus) {
  for (const char* code : {"INVALID_EMAIL_OR_PASSWORD", "USER_NOT_FOUND", "INVALID_PASSWORD",
                           "CREDENTIAL_ACCOUNT_NOT_FOUND"}) {
    EXPECT_EQ(signInRefusal(400, code), wrongPassword) << code;
  }
  EXPECT_EQ(signInRefusal(403, "EMAIL_NOT_VERIFIED"),
            "Confirm your email address first (open the link Lumivale sent you), then sign in.");
  EXPECT_EQ(signInRefusal(400, "INVALID_EMAIL"), "That does not look like an email address.");
  EXPECT_EQ(signInRefusal(422, "USER_ALREADY_EXISTS_USE_ANOTHER_EMAIL"),
            "There is already a Lumivale account with that email. Sign in instead.");
  EXPECT_EQ(signInRefusal(422, "USER_ALREADY_EXISTS"),
            "There is already a Lumivale account with that email. Sign in instead.");
  EXPECT_EQ(signInRefusal(400, "PASSWORD_TOO_SHORT"), "That password is too short.");
  EXPECT_EQ(signInRefusal(400, "PASSWORD_TOO_LONG"), "That password is too long.");
  // A known code wins over the status that would otherwise decide.
  EXPECT_EQ(signInRefusal(429, "PASSWORD_TOO_SHORT"), "That password is too short.");
}

TEST(SignInRefusal, WithoutAKnownCodeTheStatusDecides) {
  EXPECT_EQ(signInRefusal(429, ""), "Too many tries. Wait a minute, then try again.");
  EXPECT_EQ(signInRefusal(401, "SOMETHING_NEW"), wrongPassword);
  EXPECT_EQ(signInRefusal(502, "BAD_GATEWAY_THING"),
            "Lumivale’s server did not accept the sign-in. Try again in a minute; if it keeps "
            "happening, contact Lumivale support (code 502).");
}

TEST(SignInRefusal, CodesOfAnotherShapeAreNoCodes) {
  // Lower case, too long, or with other characters: the status decides.
  EXPECT_EQ(signInRefusal(401, "invalid_email_or_password"), wrongPassword);
  EXPECT_EQ(signInRefusal(429, "INVALID_EMAIL "), "Too many tries. Wait a minute, then try again.");
  EXPECT_EQ(signInRefusal(429, std::string(61, 'A')),
            "Too many tries. Wait a minute, then try again.");
}

TEST(SignInRefusal, OnlySafeCodesReachTheLog) {
  EXPECT_EQ(AuthMessages::safeCode("INVALID_EMAIL"), "invalid_email");
  EXPECT_EQ(AuthMessages::safeCode("<script>"), "");
  EXPECT_EQ(AuthMessages::safeCode(std::string(41, 'A')), "");
  EXPECT_EQ(AuthMessages::safeCode(""), "");
}

TEST(AuthForm, EmailAndPasswordAreCheckedBeforeSending) {
  EXPECT_EQ(AuthMessages::formProblem("reader@example.org", "secret"), "");
  EXPECT_EQ(AuthMessages::formProblem("reader", "secret"),
            "That does not look like an email address.");
  EXPECT_EQ(AuthMessages::formProblem("a@b@c.org", "secret"),
            "That does not look like an email address.");
  EXPECT_EQ(AuthMessages::formProblem("reader@example.org", ""), "Enter your password.");
}

TEST(AuthErrors, UnavailableServerMessagesNameTheStatus) {
  EXPECT_EQ(PortmarkUnavailable(429, 10).message(),
            "Lumivale’s sign-in server is busy. Wait a minute, then try again.");
  EXPECT_EQ(PortmarkUnavailable(503, std::nullopt).message(),
            "Lumivale’s sign-in server had a problem (503). Try again in a minute.");
  EXPECT_EQ(EndpointRefused("evil.example").reason(),
            "refused to send the account’s credentials to evil.example");
  EXPECT_NE(ResponseTooLarge(262144).reason().find(" bytes and was not read"), std::string::npos);
}

TEST(RetryAfter, SecondsAndHttpDatesGiveADelay) {
  const double now = 784111777;  // Sun, 06 Nov 1994 08:49:37 GMT
  EXPECT_EQ(retryAfterSeconds("120", now), 120.0);
  EXPECT_EQ(retryAfterSeconds(" 0 ", now), 0.0);
  EXPECT_EQ(retryAfterSeconds("Sun, 06 Nov 1994 08:51:37 GMT", now), 120.0);
  // A date already past asks for no wait at all.
  EXPECT_EQ(retryAfterSeconds("Sun, 06 Nov 1994 08:00:00 GMT", now), 0.0);
}

TEST(RetryAfter, MalformedValuesGiveNone) {
  for (const char* value :
       {"", "-5", "1.5e3", "soon", "Sun, 06 Nov 1994 08:51:37", "Sun, 06 Nov 1994 08:51:37 PST",
        "Sunday, 06-Nov-94 08:49:37 GMT", "Sun, 06 Nov 1994 08:51:37 GMT trailing"}) {
    EXPECT_EQ(retryAfterSeconds(value, 0), std::nullopt) << value;
  }
}

TEST(KeychainPolicy, OnlyTrustedProgramsOrAOneRunRequestUseTheKeychain) {
  EXPECT_TRUE(KeychainPolicy::allowsKeychain({}, true));
  EXPECT_FALSE(KeychainPolicy::allowsKeychain({}, false));
  EXPECT_FALSE(KeychainPolicy::allowsKeychain({{"LUMIVALE_RESTORE", "yes"}}, false));
  EXPECT_TRUE(KeychainPolicy::allowsKeychain({{"LUMIVALE_RESTORE", "1"}}, false));
  EXPECT_NE(std::string(KeychainPolicy::unsignedRefusal)
                .find("every run would raise the keychain password dialog"),
            std::string::npos);
}

TEST(SessionStores, FailuresAndTheMemoryStore) {
  EXPECT_EQ(keychainErrorDescription(-25300), "Keychain error -25300");
  UnavailableSessionStore unavailable("no secret service");
  EXPECT_THROW(unavailable.loadSessionToken(), SessionStoreFailure);
  EXPECT_THROW(unavailable.saveSessionToken("t"), SessionStoreFailure);
  MemorySessionStore memory;
  memory.saveSessionToken("first");
  memory.saveSessionToken("second");
  EXPECT_EQ(memory.loadSessionToken(), "second");
  memory.clearSessionToken();
  EXPECT_EQ(memory.loadSessionToken(), std::nullopt);
  // What the settings screen shows for each.
  EXPECT_EQ(memory.locationDescription(),
            "this development build keeps the sign-in in memory only");
  EXPECT_EQ(unavailable.locationDescription(), "no secret service");
}

}  // namespace
}  // namespace lumivale
