#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lumivale::testing {

// A small HTTP/1.1 server on a free loopback port that answers what a test tells it
// to: the faults the real account server never produces.
class LoopbackServer {
 public:
  struct Request {
    std::string method;
    std::string path;
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
  };
  struct Response {
    int status = 200;
    std::map<std::string, std::string> headers;
    std::string body;
  };
  using Handler = std::function<Response(const Request&)>;

  explicit LoopbackServer(Handler handler);
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer();

  int port() const { return port_; }
  std::string baseUrl() const;
  int requestCount() const { return requests_; }

  // Lets a handler stall: returns after `limit`, or at once when the server stops.
  void stall(std::chrono::milliseconds limit);

 private:
  void acceptLoop();
  void serve(int connection);

  Handler handler_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::atomic<int> requests_{0};
  std::mutex mutex_;
  std::condition_variable stopped_;
  std::vector<std::thread> connections_;
  std::thread acceptor_;
};

}  // namespace lumivale::testing
