#pragma once

#include <string>

namespace lumivale {

// How long each account operation may take as a whole, in seconds.
struct PortmarkTimeouts {
  double signIn = 30;
  double session = 15;
  double signOut = 5;
  double deviceCode = 15;

  bool operator==(const PortmarkTimeouts&) const = default;

  static PortmarkTimeouts standard() { return {}; }
};

// The signed-in user as the account service reports it.
struct AuthUser {
  std::string id;  // the account user id (the settings file's userId)
  std::string email;
  std::string name;

  bool operator==(const AuthUser&) const = default;
};

struct SignInResult {
  std::string sessionToken;
  AuthUser user;

  bool operator==(const SignInResult&) const = default;
};

// A short-lived token for the library service.
struct PortmarkJWT {
  std::string token;
  std::string sub;
  double expiresAt = 0;  // seconds since 1970

  bool operator==(const PortmarkJWT&) const = default;
};

struct DeviceCode {
  std::string deviceCode;
  std::string userCode;
  std::string verificationUri;
  std::string verificationUriComplete;
  int interval = 0;   // seconds
  int expiresIn = 0;  // seconds

  bool operator==(const DeviceCode&) const = default;
};

}  // namespace lumivale
