#pragma once

#include <optional>
#include <string>

#include "core/error.h"

namespace lumivale {

// A failure of an account request. message() is the sentence shown to the user as it
// stands; reason() is the detail written to the log (never a secret).
class AuthError : public Error {
 public:
  explicit AuthError(std::string message) : Error(message), reason_(std::move(message)) {}
  AuthError(std::string message, std::string reason)
      : Error(std::move(message)), reason_(std::move(reason)) {}

  const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
};

// The server could not be reached (no route, refused, name not resolved).
class NetworkFailure : public AuthError {
 public:
  explicit NetworkFailure(std::string reason);
};

// The server did not answer within the operation's deadline.
class AccountTimeout : public NetworkFailure {
 public:
  AccountTimeout();
};

// The secure connection could not be set up (often a network that intercepts it).
class TlsFailure : public AuthError {
 public:
  explicit TlsFailure(std::string reason);
};

// A captive-portal page answered instead of the server.
class NetworkLoginRequired : public AuthError {
 public:
  NetworkLoginRequired();
};

// The answer was not one this client understands.
class UnexpectedAnswer : public AuthError {
 public:
  explicit UnexpectedAnswer(std::string reason);
};

// The answer's body was longer than the client reads.
class ResponseTooLarge : public UnexpectedAnswer {
 public:
  explicit ResponseTooLarge(long limit);
  long limit() const { return limit_; }

 private:
  long limit_;
};

// Credentials or a session token would have gone to a host this build may not use.
class EndpointRefused : public AuthError {
 public:
  explicit EndpointRefused(std::string host);
  const std::string& host() const { return host_; }

 private:
  std::string host_;
};

// The server said it is busy (429) or failing (5xx).
class PortmarkUnavailable : public AuthError {
 public:
  PortmarkUnavailable(int status, std::optional<double> retryAfter);
  int status() const { return status_; }
  std::optional<double> retryAfter() const { return retryAfter_; }

 private:
  int status_;
  std::optional<double> retryAfter_;
};

// The server no longer accepts the stored session token.
class SessionExpired : public AuthError {
 public:
  SessionExpired();
};

// No session token is stored.
class NotSignedIn : public AuthError {
 public:
  NotSignedIn();
};

}  // namespace lumivale
