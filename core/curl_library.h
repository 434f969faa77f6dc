#pragma once

#include <curl/curl.h>

namespace lumivale {

class SharedLibrary;

// libcurl's functions, loaded on first use: linking it would load its whole TLS,
// LDAP and Kerberos tree at the start of every command.
struct CurlLibrary {
  explicit CurlLibrary(const SharedLibrary& library);

  decltype(&curl_easy_init) easyInit;
  decltype(&curl_easy_setopt) easySetopt;
  decltype(&curl_easy_perform) easyPerform;
  decltype(&curl_easy_getinfo) easyGetinfo;
  decltype(&curl_easy_reset) easyReset;
  decltype(&curl_easy_cleanup) easyCleanup;
  decltype(&curl_easy_strerror) easyStrerror;
  decltype(&curl_slist_append) slistAppend;
  decltype(&curl_slist_free_all) slistFreeAll;
};

// Loads libcurl once; throws SharedLibraryError when it cannot be loaded.
const CurlLibrary& curlLibrary();

// What every request of the program sets on `handle`: `url`, http(s) only, redirects left
// to the caller, no signals, a time limit, and the body and progress callbacks, both
// given `context` (a progress callback that answers non-zero stops the transfer).
void setTransferOptions(const CurlLibrary& curl, CURL* handle, const char* url,
                        long timeoutMilliseconds, curl_write_callback onBody,
                        curl_xferinfo_callback onProgress, void* context);

}  // namespace lumivale
