#include "core/account/auth_messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <regex>

namespace lumivale::AuthMessages {

namespace {

struct Refusal {
  std::array<std::string_view, 4> codes;
  std::string_view message;
};

// Compared in this order; the first row naming the code decides.
constexpr std::array<Refusal, 6> refusals{{
    {{"INVALID_EMAIL_OR_PASSWORD", "USER_NOT_FOUND", "INVALID_PASSWORD",
      "CREDENTIAL_ACCOUNT_NOT_FOUND"},
     wrongCredentials},
    {{"EMAIL_NOT_VERIFIED"},
     "Confirm your email address first (open the link Lumivale sent you), then sign in."},
    {{"INVALID_EMAIL"}, notAnEmail},
    {{"USER_ALREADY_EXISTS", "USER_ALREADY_EXISTS_USE_ANOTHER_EMAIL"},
     "There is already a Lumivale account with that email. Sign in instead."},
    {{"PASSWORD_TOO_SHORT"}, "That password is too short."},
    {{"PASSWORD_TOO_LONG"}, "That password is too long."},
}};

bool matches(std::string_view text, const std::regex& pattern) {
  return std::regex_match(text.begin(), text.end(), pattern);
}

}  // namespace

std::string serverProblem(int status) {
  return fmt::format("Lumivale’s sign-in server had a problem ({}). Try again in a minute.",
                     status);
}

std::string signInRefusal(int status, std::string_view code) {
  static const std::regex codeShape("^[A-Z_]{1,60}$");
  if (matches(code, codeShape)) {
    for (const Refusal& refusal : refusals) {
      if (std::find(refusal.codes.begin(), refusal.codes.end(), code) != refusal.codes.end()) {
        return std::string(refusal.message);
      }
    }
  }
  if (status == 429) return std::string(tooManyTries);
  if (status == 401) return std::string(wrongCredentials);
  // The status, never the server's code: the code is the server's text, not ours.
  return fmt::format(
      "Lumivale’s server did not accept the sign-in. Try again in a minute; if it keeps "
      "happening, contact Lumivale support (code {}).",
      status);
}

std::string safeCode(std::string_view code) {
  static const std::regex loggable("^[a-z_]{1,40}$");
  std::string lower(code);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return matches(lower, loggable) ? lower : std::string();
}

std::string formProblem(std::string_view email, std::string_view password) {
  static const std::regex emailShape(R"(^[^@\s]+@[^@\s]+\.[^@\s]+$)");
  if (!matches(email, emailShape)) return std::string(notAnEmail);
  if (password.empty()) return std::string(enterPassword);
  return {};
}

}  // namespace lumivale::AuthMessages
