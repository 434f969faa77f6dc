#include "core/account/auth_error.h"

#include <fmt/format.h>

#include "core/account/auth_messages.h"

namespace lumivale {

namespace {
std::string text(std::string_view sentence) {
  return std::string(sentence);
}
}  // namespace

NetworkFailure::NetworkFailure(std::string reason)
    : AuthError(text(AuthMessages::timeout), std::move(reason)) {}

AccountTimeout::AccountTimeout() : NetworkFailure("the request ran past its deadline") {}

TlsFailure::TlsFailure(std::string reason)
    : AuthError(text(AuthMessages::tlsFailure), std::move(reason)) {}

NetworkLoginRequired::NetworkLoginRequired()
    : AuthError(text(AuthMessages::captivePortal), "an HTML page answered instead of the server") {}

UnexpectedAnswer::UnexpectedAnswer(std::string reason)
    : AuthError(text(AuthMessages::unexpectedAnswer), std::move(reason)) {}

ResponseTooLarge::ResponseTooLarge(long limit)
    : UnexpectedAnswer(fmt::format("the answer was longer than {} bytes and was not read", limit)),
      limit_(limit) {}

EndpointRefused::EndpointRefused(std::string host)
    : AuthError(text(AuthMessages::refusedEndpoint),
                fmt::format("refused to send the account’s credentials to {}", host)),
      host_(std::move(host)) {}

PortmarkUnavailable::PortmarkUnavailable(int status, std::optional<double> retryAfter)
    : AuthError(status == 429 ? text(AuthMessages::busy) : AuthMessages::serverProblem(status),
                fmt::format("the server answered {}", status)),
      status_(status),
      retryAfter_(retryAfter) {}

SessionExpired::SessionExpired() : AuthError(text(AuthMessages::sessionTokenRejected)) {}

NotSignedIn::NotSignedIn() : AuthError("Not signed in.") {}

}  // namespace lumivale
