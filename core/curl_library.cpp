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

}  // namespace lumivale
