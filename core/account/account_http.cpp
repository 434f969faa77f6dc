#include "core/account/account_http.h"

#include <algorithm>
#include <cctype>

#include "core/account/auth_error.h"
#include "core/cancelled.h"
#include "core/curl_library.h"

namespace lumivale {

namespace {

constexpr int maxRedirects = 5;

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

struct Transfer {
  long maxBytes = 0;
  bool tooLarge = false;
  const StopToken* stop = nullptr;
  HttpResponse response;
};

// Called by curl while it waits as well as while it moves bytes; non-zero aborts.
int onProgress(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto* transfer = static_cast<Transfer*>(context);
  return transfer->stop && transfer->stop->isCancelled() ? 1 : 0;
}

size_t onBody(char* data, size_t size, size_t count, void* context) {
  auto* transfer = static_cast<Transfer*>(context);
  size_t length = size * count;
  if (transfer->response.body.size() + length > static_cast<size_t>(transfer->maxBytes)) {
    transfer->tooLarge = true;
    return 0;  // makes curl stop reading
  }
  transfer->response.body.append(data, length);
  return length;
}

size_t onHeader(char* data, size_t size, size_t count, void* context) {
  auto* transfer = static_cast<Transfer*>(context);
  std::string line(data, size * count);
  if (line.rfind("HTTP/", 0) == 0) transfer->response.headers.clear();  // a new answer
  size_t colon = line.find(':');
  if (colon != std::string::npos) {
    std::string value = line.substr(colon + 1);
    size_t start = value.find_first_not_of(" \t");
    size_t end = value.find_last_not_of(" \t\r\n");
    value = start == std::string::npos ? "" : value.substr(start, end - start + 1);
    transfer->response.headers[lowered(line.substr(0, colon))] = value;
  }
  return size * count;
}

struct HeaderList {
  const CurlLibrary& curl;
  curl_slist* list = nullptr;
  ~HeaderList() { curl.slistFreeAll(list); }
  void add(const std::string& line) { list = curl.slistAppend(list, line.c_str()); }
};

long millisecondsUntil(Deadline deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  return left.count();
}

bool isTlsFailure(CURLcode code) {
  switch (code) {
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
      return true;
    default:
      return false;
  }
}

// One request, no redirects followed.
Transfer send(const HttpRequest& request, HttpSession& session, Deadline deadline, long maxBytes,
              const StopToken* stop) {
  if (stop) stop->throwIfCancelled();
  long left = millisecondsUntil(deadline);
  if (left <= 0) throw AccountTimeout();
  const CurlLibrary& library = curlLibrary();
  CURL* curl = static_cast<CURL*>(session.handle());
  library.easyReset(curl);
  Transfer transfer;
  transfer.maxBytes = maxBytes;
  transfer.stop = stop;
  std::string url = request.url.text();
  HeaderList headers{library};
  for (const auto& [name, value] : request.headers)
    headers.add(name + ": " + value);
  headers.add("Expect:");  // no 100-continue round trip for small bodies
  library.easySetopt(curl, CURLOPT_HTTPHEADER, headers.list);
  library.easySetopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  if (request.body) {
    library.easySetopt(curl, CURLOPT_POSTFIELDS, request.body->data());
    library.easySetopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body->size()));
  } else if (request.method == "POST") {
    library.easySetopt(curl, CURLOPT_POSTFIELDS, "");
    library.easySetopt(curl, CURLOPT_POSTFIELDSIZE, 0L);
  }
  setTransferOptions(library, curl, url.c_str(), left, onBody, onProgress, &transfer);
  library.easySetopt(curl, CURLOPT_HEADERFUNCTION, onHeader);
  library.easySetopt(curl, CURLOPT_HEADERDATA, &transfer);
  CURLcode code = library.easyPerform(curl);
  if (code == CURLE_ABORTED_BY_CALLBACK) throw Cancelled();
  if (transfer.tooLarge) throw ResponseTooLarge(maxBytes);
  if (code == CURLE_OPERATION_TIMEDOUT) throw AccountTimeout();
  if (isTlsFailure(code)) throw TlsFailure(library.easyStrerror(code));
  if (code != CURLE_OK) throw NetworkFailure(library.easyStrerror(code));
  long status = 0;
  library.easyGetinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  transfer.response.status = static_cast<int>(status);
  return transfer;
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::optional<HttpUrl> redirectTarget(const HttpUrl& from, const std::string& location) {
  if (location.find("://") != std::string::npos) return HttpUrl::parse(location);
  std::string base = from.origin();
  if (!location.empty() && location.front() == '/') return HttpUrl::parse(base + location);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> HttpResponse::header(const std::string& lowerCaseName) const {
  auto found = headers.find(lowerCaseName);
  if (found == headers.end()) return std::nullopt;
  return found->second;
}

HttpSession::HttpSession() : handle_(curlLibrary().easyInit()) {
  if (!handle_) throw NetworkFailure("the HTTP library could not start");
}

HttpSession::~HttpSession() {
  curlLibrary().easyCleanup(static_cast<CURL*>(handle_));
}

namespace AccountHTTP {

HttpResponse fetch(const HttpRequest& request, HttpSession& session,
                   const RedirectPolicy& redirects, Deadline deadline, long maxBytes,
                   bool expectsJSON, const StopToken* stop) {
  if (auto budget = stop ? stop->deadline() : std::nullopt) deadline = std::min(deadline, *budget);
  HttpRequest current = request;
  for (int hop = 0;; ++hop) {
    HttpResponse response = send(current, session, deadline, maxBytes, stop).response;
    if (looksLikeNetworkLogin(response, expectsJSON)) throw NetworkLoginRequired();
    if (!isRedirect(response.status) || hop == maxRedirects) return response;
    auto location = response.header("location");
    auto target = location ? redirectTarget(current.url, *location) : std::nullopt;
    if (!target || !redirects.follows(current.url, *target)) return response;
    // 303, and 301/302 after a POST, continue as a GET as browsers do.
    if (response.status == 303 || (response.status <= 302 && current.method == "POST")) {
      current.method = "GET";
      current.body.reset();
      current.headers.erase("Content-Type");
    }
    current.url = *target;
  }
}

bool looksLikeNetworkLogin(const HttpResponse& response, bool expectsJSON) {
  if (!expectsJSON) return false;
  std::string type = lowered(response.header("content-type").value_or(""));
  return type.rfind("text/html", 0) == 0;
}

}  // namespace AccountHTTP
}  // namespace lumivale
