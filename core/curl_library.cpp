#include "core/curl_library.h"

#include "core/shared_library.h"

namespace lumivale {

CurlLibrary::CurlLibrary(const SharedLibrary& library)
    : easyInit(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_init)),
      easySetopt(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_setopt)),
      easyPerform(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_perform)),
      easyGetinfo(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_getinfo)),
      easyReset(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_reset)),
      easyCleanup(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_cleanup)),
      easyStrerror(LUMIVALE_LIBRARY_FUNCTION(library, curl_easy_strerror)),
      slistAppend(LUMIVALE_LIBRARY_FUNCTION(library, curl_slist_append)),
      slistFreeAll(LUMIVALE_LIBRARY_FUNCTION(library, curl_slist_free_all)) {}

const CurlLibrary& curlLibrary() {
  // Initialised once even when several threads ask first; a failure is retried next time.
  static const CurlLibrary library(SharedLibrary("libcurl.so.4", "libcurl"));
  return library;
}

void setTransferOptions(const CurlLibrary& curl, CURL* handle, const char* url,
                        long timeoutMilliseconds, curl_write_callback onBody,
                        curl_xferinfo_callback onProgress, void* context) {
  curl.easySetopt(handle, CURLOPT_URL, url);
  curl.easySetopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
  curl.easySetopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl.easySetopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl.easySetopt(handle, CURLOPT_TIMEOUT_MS, timeoutMilliseconds);
  curl.easySetopt(handle, CURLOPT_WRITEFUNCTION, onBody);
  curl.easySetopt(handle, CURLOPT_WRITEDATA, context);
  curl.easySetopt(handle, CURLOPT_XFERINFOFUNCTION, onProgress);
  curl.easySetopt(handle, CURLOPT_XFERINFODATA, context);
  curl.easySetopt(handle, CURLOPT_NOPROGRESS, 0L);
}

}  // namespace lumivale
