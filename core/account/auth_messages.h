#pragma once

#include <string>
#include <string_view>

namespace lumivale::AuthMessages {

// Sentences of the account client, shown to the user as they stand.
inline constexpr std::string_view timeout =
    "Lumivale’s server did not answer in time. Check your connection, then try again.";
inline constexpr std::string_view unexpectedAnswer =
    "Lumivale’s server sent an answer this app does not expect. Try again later.";
inline constexpr std::string_view busy =
    "Lumivale’s sign-in server is busy. Wait a minute, then try again.";
inline constexpr std::string_view captivePortal =
    "Your network is asking you to sign in to it (hotel or café Wi-Fi). Open Safari, then try "
    "again.";
inline constexpr std::string_view tlsFailure =
    "A secure connection to Lumivale’s server could not be made. On hotel or café Wi-Fi, open "
    "Safari and sign in to the network, then try again.";
inline constexpr std::string_view refusedEndpoint =
    "This version of Lumivale for Mac only talks to Lumivale’s servers. Reset the server addresses "
    "in Settings.";
inline constexpr std::string_view notAnEmail = "That does not look like an email address.";
inline constexpr std::string_view enterPassword = "Enter your password.";
inline constexpr std::string_view wrongCredentials =
    "That email and password do not match a Lumivale account. Check them and try again.";
inline constexpr std::string_view tooManyTries = "Too many tries. Wait a minute, then try again.";
inline constexpr std::string_view sessionTokenRejected = "Session token rejected";

// "Lumivale’s sign-in server had a problem ({status}). Try again in a minute."
std::string serverProblem(int status);

// What a refused sign-in or sign-up means: the server's error code when it is one we
// know, otherwise the HTTP status.
std::string signInRefusal(int status, std::string_view code);

// The server's error code as far as it may be logged, or empty.
std::string safeCode(std::string_view code);

// The form check before anything is sent: empty when the form may be sent.
std::string formProblem(std::string_view email, std::string_view password);

}  // namespace lumivale::AuthMessages
