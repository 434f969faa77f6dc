#include "tests/integration/account/auth_server.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "core/settings/environment.h"

namespace lumivale::testing {

namespace {

std::string nodePath() {
  for (const char* candidate : {"/usr/bin/node", "/usr/local/bin/node"}) {
    if (access(candidate, X_OK) == 0) return candidate;
  }
  throw std::runtime_error("node is not installed; run scripts/setup");
}

// Reads the server's first line ("listening PORT"), waiting at most 20 s.
std::string firstLine(int fd) {
  std::string text;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (text.find('\n') == std::string::npos) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd ready{fd, POLLIN, 0};
    if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) break;
    char buffer[256];
    ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) break;
    text.append(buffer, static_cast<size_t>(count));
  }
  return text.substr(0, text.find('\n'));
}

}  // namespace

AuthServer::AuthServer(const std::vector<std::string>& flags) {
  std::filesystem::path folder = LUMIVALE_AUTH_SERVER_DIR;
  if (!std::filesystem::exists(folder / "node_modules" / "better-auth")) {
    throw std::runtime_error("the account test server is not installed; run scripts/setup");
  }
  std::vector<std::string> arguments{(folder / "server.mjs").string(), "--parent",
                                     std::to_string(getpid())};
  arguments.insert(arguments.end(), flags.begin(), flags.end());
  child_ = Spawn::launch(nodePath(), arguments, productEnvironment(), true, false);
  std::string line = firstLine(child_->stdoutPipe()->get());
  if (line.rfind("listening ", 0) != 0) {
    throw std::runtime_error("the account test server did not start: '" + line + "'");
  }
  port_ = std::stoi(line.substr(10));
}

AuthServer::~AuthServer() {
  child_->signalIfRunning(SIGTERM);
  child_->wait();
}

std::string AuthServer::baseUrl() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

}  // namespace lumivale::testing
