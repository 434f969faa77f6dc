#include "core/shared_library.h"

#include <dlfcn.h>

namespace lumivale {

namespace {

[[noreturn]] void fail(const std::string& name) {
  const char* reason = dlerror();
  throw SharedLibraryError("could not load " + name + ": " + (reason ? reason : "unknown reason"));
}

}  // namespace

SharedLibrary::SharedLibrary(const char* file, std::string name)
    : name_(std::move(name)), handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
  if (!handle_) fail(name_);
}

void* SharedLibrary::address(const char* symbol) const {
  void* found = dlsym(handle_, symbol);
  if (!found) fail(name_);
  return found;
}

}  // namespace lumivale
