#include "tests/integration/account/loopback_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace lumivale::testing {

namespace {

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

void sendAll(int connection, const std::string& data) {
  size_t sent = 0;
  while (sent < data.size()) {
    ssize_t count = send(connection, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return;
    sent += static_cast<size_t>(count);
  }
}

// Reads one request: the head up to the blank line, then Content-Length bytes.
bool readRequest(int connection, LoopbackServer::Request& request) {
  std::string data;
  char buffer[4096];
  size_t headEnd;
  while ((headEnd = data.find("\r\n\r\n")) == std::string::npos) {
    ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) return false;
    data.append(buffer, static_cast<size_t>(count));
    // Not HTTP (a TLS hello, say): answer as a plain HTTP server would.
    if (!std::isupper(static_cast<unsigned char>(data[0]))) {
      sendAll(connection, "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
      return false;
    }
  }
  std::string head = data.substr(0, headEnd);
  size_t lineEnd = head.find("\r\n");
  std::string requestLine = head.substr(0, lineEnd);
  size_t space = requestLine.find(' ');
  request.method = requestLine.substr(0, space);
  request.path = requestLine.substr(space + 1, requestLine.rfind(' ') - space - 1);
  size_t position = lineEnd;
  while (position != std::string::npos && position < head.size()) {
    size_t next = head.find("\r\n", position + 2);
    std::string line = head.substr(position + 2, next - position - 2);
    size_t colon = line.find(':');
    if (colon != std::string::npos) {
      size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
      request.headers[lowered(line.substr(0, colon))] = line.substr(value);
    }
    position = next;
  }
  request.body = data.substr(headEnd + 4);
  size_t length =
      request.headers.count("content-length") ? std::stoul(request.headers["content-length"]) : 0;
  while (request.body.size() < length) {
    ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) return false;
    request.body.append(buffer, static_cast<size_t>(count));
  }
  return true;
}

}  // namespace

LoopbackServer::LoopbackServer(Handler handler) : handler_(std::move(handler)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 16) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("the loopback test server could not listen");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptLoop(); });
}

LoopbackServer::~LoopbackServer() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopped_.notify_all();
  acceptor_.join();
  for (auto& connection : connections_)
    connection.join();
  close(listener_);
}

std::string LoopbackServer::baseUrl() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

void LoopbackServer::stall(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  stopped_.wait_for(lock, limit, [this] { return stopping_.load(); });
}

void LoopbackServer::acceptLoop() {
  while (!stopping_) {
    pollfd ready{listener_, POLLIN, 0};
    if (poll(&ready, 1, 50) <= 0) continue;
    int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    std::lock_guard lock(mutex_);
    connections_.emplace_back([this, connection] { serve(connection); });
  }
}

void LoopbackServer::serve(int connection) {
  Request request;
  if (readRequest(connection, request)) {
    ++requests_;
    Response response = handler_(request);
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + " Test\r\n";
    response.headers.emplace("Content-Type", "application/json");
    for (const auto& [name, value] : response.headers)
      head += name + ": " + value + "\r\n";
    // A length of the handler's own, longer than the body, makes a transfer cut off midway.
    if (!response.headers.contains("Content-Length"))
      head += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
    head += "Connection: close\r\n\r\n";
    sendAll(connection, head + response.body);
  }
  close(connection);
}

}  // namespace lumivale::testing
