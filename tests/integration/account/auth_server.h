#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/tablet/spawn.h"

namespace lumivale::testing {

// The real account server (auth-server/server.mjs under Node) on a free loopback
// port, for the life of this object.
class AuthServer {
 public:
  // `flags`: "--verify" (sign-in needs a confirmed email), "--rate-limit".
  explicit AuthServer(const std::vector<std::string>& flags = {});
  AuthServer(const AuthServer&) = delete;
  AuthServer& operator=(const AuthServer&) = delete;
  ~AuthServer();

  int port() const { return port_; }
  // "http://127.0.0.1:PORT", the server's own origin.
  std::string baseUrl() const;

 private:
  std::shared_ptr<Spawn::Child> child_;
  int port_ = 0;
};

}  // namespace lumivale::testing
