#pragma once

#include <string>

#include "core/error.h"

namespace lumivale {

class SharedLibraryError : public Error {
 public:
  using Error::Error;
};

// A library opened when first needed rather than at start-up, so that commands which
// never use it do not pay for loading and relocating it and its dependencies. It is
// never closed: the functions taken from it stay valid for the rest of the process.
class SharedLibrary {
 public:
  // `name` is what failures call it: "could not load NAME: REASON".
  SharedLibrary(const char* file, std::string name);

  // The function `symbol`, typed as Function (e.g. decltype(curl_easy_init)).
  template <typename Function>
  Function* function(const char* symbol) const {
    return reinterpret_cast<Function*>(address(symbol));
  }

 private:
  void* address(const char* symbol) const;

  std::string name_;
  void* handle_;
};

}  // namespace lumivale

// The function named `symbol` from `library`, typed as its declaration in the header.
#define LUMIVALE_LIBRARY_FUNCTION(library, symbol) (library).function<decltype(symbol)>(#symbol)
