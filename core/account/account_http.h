#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/account/http_url.h"
#include "core/account/redirect_policy.h"
#include "core/stop_token.h"

namespace lumivale {

struct HttpRequest {
  std::string method = "GET";
  HttpUrl url;
  std::map<std::string, std::string> headers;
  std::optional<std::string> body;
};

struct HttpResponse {
  int status = 0;
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;

  std::optional<std::string> header(const std::string& lowerCaseName) const;
};

// The connection state requests are sent through (kept-alive connections, TLS
// sessions). Not thread-safe: its owner serialises the requests.
class HttpSession {
 public:
  HttpSession();
  ~HttpSession();
  HttpSession(const HttpSession&) = delete;
  HttpSession& operator=(const HttpSession&) = delete;

  void* handle() { return handle_; }

 private:
  void* handle_;
};

using Deadline = std::chrono::steady_clock::time_point;

namespace AccountHTTP {

// Sends `request` and reads the answer, following redirects only as `redirects`
// allows. Fails with AccountTimeout past `deadline` (or `stop`'s, when earlier),
// ResponseTooLarge for a body longer than `maxBytes`, NetworkLoginRequired for an HTML
// page where JSON was expected, TlsFailure or NetworkFailure when no answer came, and
// Cancelled when `stop` is cancelled (the transfer is aborted from its progress check).
HttpResponse fetch(const HttpRequest& request, HttpSession& session,
                   const RedirectPolicy& redirects, Deadline deadline, long maxBytes,
                   bool expectsJSON, const StopToken* stop = nullptr);

// Runs `operation` with a deadline `seconds` from now. The operation hands the
// deadline to each request it sends, so the whole operation (redirects included)
// fails with AccountTimeout once it has passed.
template <typename Operation>
auto withDeadline(double seconds, Operation&& operation) {
  Deadline deadline = std::chrono::steady_clock::now() +
                      std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                          std::chrono::duration<double>(seconds));
  return operation(deadline);
}

// An HTML page answering where JSON was expected: a network's own login page.
bool looksLikeNetworkLogin(const HttpResponse& response, bool expectsJSON);

}  // namespace AccountHTTP
}  // namespace lumivale
