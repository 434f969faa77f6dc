#include "core/tablet/tools/tools_download.h"

#include <cmath>
#include <exception>

#include <fmt/format.h>

#include "core/cancelled.h"
#include "core/curl_library.h"
#include "core/tablet/tools/tools_error.h"

namespace lumivale {

namespace {

struct Download {
  const std::function<void(std::string_view)>& sink;
  std::uint64_t maxBytes;
  std::optional<std::uint64_t> expectedBytes;
  TransferObserver* progress;
  const StopToken* stop;
  std::uint64_t received = 0;
  bool tooLarge = false;
  std::exception_ptr sinkFailure;
};

size_t onBody(char* data, size_t size, size_t count, void* context) {
  auto* download = static_cast<Download*>(context);
  size_t length = size * count;
  if (download->received + length > download->maxBytes) {
    download->tooLarge = true;
    return 0;
  }
  try {
    download->sink(std::string_view(data, length));
  } catch (...) {
    download->sinkFailure = std::current_exception();
    return 0;  // makes curl stop; the failure is thrown once it has returned
  }
  download->received += length;
  if (download->progress) {
    std::optional<std::int64_t> total;
    if (download->expectedBytes) total = static_cast<std::int64_t>(*download->expectedBytes);
    download->progress->notify({static_cast<std::int64_t>(download->received), total});
  }
  return length;
}

// Called while curl waits as well as while bytes move; non-zero aborts the transfer.
int onProgress(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto* download = static_cast<Download*>(context);
  return download->stop && download->stop->isCancelled() ? 1 : 0;
}

std::string tookTooLong(const std::string& what, Seconds timeout) {
  return fmt::format(
      "Getting {} took longer than {} seconds, so it was stopped. Check the connection, then "
      "try again.",
      what, static_cast<long>(std::ceil(timeout.count())));
}

struct Handle {
  const CurlLibrary& curl;
  CURL* handle;
  ~Handle() {
    if (handle) curl.easyCleanup(handle);
  }
};

}  // namespace

void fetchInto(const std::string& url, const std::string& what,
               const std::function<void(std::string_view)>& sink, std::uint64_t maxBytes,
               std::optional<std::uint64_t> expectedBytes, TransferObserver* progress,
               Seconds timeout, const StopToken* stop) {
  if (stop) stop->throwIfCancelled();
  const Seconds budget = stop ? stop->budget(timeout) : timeout;
  const long milliseconds = static_cast<long>(budget.count() * 1000);
  if (milliseconds <= 0) throw ToolsError(tookTooLong(what, timeout));
  const CurlLibrary& curl = curlLibrary();
  Handle handle{curl, curl.easyInit()};
  if (!handle.handle) throw ToolsError("The HTTP library could not start.");
  Download download{sink, maxBytes, expectedBytes, progress, stop, 0, false, nullptr};
  CURL* easy = handle.handle;
  setTransferOptions(curl, easy, url.c_str(), milliseconds, onBody, onProgress, &download);
  // An error status ends the transfer before its body is taken for the download.
  curl.easySetopt(easy, CURLOPT_FAILONERROR, 1L);
  CURLcode code = curl.easyPerform(easy);
  if (download.sinkFailure) std::rethrow_exception(download.sinkFailure);
  if (code == CURLE_ABORTED_BY_CALLBACK) throw Cancelled();
  if (download.tooLarge)
    throw ToolsError(fmt::format("{} is larger than the {} bytes expected, so it was not used.",
                                 what, maxBytes));
  if (code == CURLE_OPERATION_TIMEDOUT) throw ToolsError(tookTooLong(what, budget));
  long status = 0;
  curl.easyGetinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  if (code == CURLE_HTTP_RETURNED_ERROR || (code == CURLE_OK && status != 200))
    throw ToolsError(fmt::format("Google’s server answered {} when asked for {}. Try again later.",
                                 status, what));
  if (code == CURLE_PARTIAL_FILE)
    throw ToolsError(fmt::format(
        "The download of {} was cut off after {} bytes. Check the connection, then try again.",
        what, download.received));
  if (code != CURLE_OK)
    throw ToolsError(
        fmt::format("Could not reach Google for {} ({}). Check the connection, then try again.",
                    what, curl.easyStrerror(code)));
}

}  // namespace lumivale
